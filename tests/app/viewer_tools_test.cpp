// The viewer's tools driven through the main window's handlers: the filter
// menu items in the chain (captions, the frame shown, the BMP export), the
// LUT editor's curve on the screen image, its refusals, and the colour bar.
#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <QStatusBar>

#include "app/image_view.h"
#include "app/main_form.h"
#include "display/gui/lut_form.h"
#include "processing/frame_filters.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

class ViewerTools : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    record_ = testing::SimulatedRecord("viewer_tools.xkv", 6);
    form_ = std::make_unique<TMainForm>();
    form_->Messages().show_modal = [this](const QString& t) { modals_ << t; };
    form_->resize(700, 600);
    form_->show();
    ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(record_)));
    NullReporter quiet;
    auto store = RecordStore::Create(quiet);
    ASSERT_TRUE(store->Open(record_, quiet));
    for (int f = 0; f < 6; ++f) {
      if (f > 0) {
        ASSERT_TRUE(store->NextFrame(quiet));
      }
      frames_.emplace_back(store->FrameBuffer(), store->FrameBuffer() + 64 * 40);
    }
  }
  void Tick(const char* control) { form_->MenuItem(control)->trigger(); }

  std::string record_;
  std::vector<std::vector<uint16_t>> frames_;
  std::unique_ptr<TMainForm> form_;
  QStringList modals_;
};

// Ticked at frame 4 in the opposite of their chain order, the running sum
// and the smoothing show smooth(4) + smooth(3) at once; the captions name them.
TEST_F(ViewerTools, FilterItemsRunInTheChainAndNameThemselves) {
  form_->FrameTrackBarChange(4);
  Tick("RunningSum");
  Tick("Smoothing");
  EXPECT_EQ(form_->Store()->CurrentFrame(), 4);
  auto* temp = qobject_cast<QMenu*>(form_->MenuItem("RunningSum")->parent());
  auto* filters = qobject_cast<QMenu*>(form_->MenuItem("Smoothing")->parent());
  EXPECT_EQ(temp->title(), "TempFilt(Sum3)");
  EXPECT_EQ(filters->title(), "Filters(Smooth)");
  FilterScratch s;
  std::vector<std::vector<uint16_t>> smooth = frames_;
  for (auto& f : smooth) Smooth3(f.data(), 64, 40, s);
  for (size_t i = 0; i < 64 * 40; ++i)
    ASSERT_EQ(form_->Store()->FrameBuffer()[i],
              std::min(65535, smooth[2][i] + smooth[3][i] + smooth[4][i]))
        << i;
  // The running buffer size is the ring's length.
  EXPECT_TRUE(form_->Filters().Choice()[FrameFilter::kRunningSum]);
  Tick("RunningSum");
  Tick("Smoothing");
  EXPECT_EQ(filters->title(), "Filters");
  EXPECT_TRUE(std::equal(frames_[4].begin(), frames_[4].end(), form_->Store()->FrameBuffer()));
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
}

TEST_F(ViewerTools, LutEditorCurveReachesTheScreenAndRefusesBadValues) {
  form_->LutFormClick();
  TLUTform* lut = form_->LutForm();
  ASSERT_NE(lut, nullptr);
  // The editor's histogram is the frame's.
  uint64_t total = 0;
  for (uint32_t h : lut->Histogram()) total += h;
  EXPECT_EQ(total, 64u * 40u);
  QStringList answers = {"100", "50", "0.05"};
  lut->AskText = [&](const QString&, const QString&, const QString&) -> std::optional<QString> {
    return answers.takeFirst();
  };
  lut->SetMinClick();   // 100
  lut->SetMaxClick();   // 50: below the minimum, refused
  lut->SetGammaClick();  // 0.05: refused
  EXPECT_EQ(modals_, QStringList({"Maximum must be above Minimum (1-65535)",
                                  "Gamma is out of range (0.1-10)"}));
  EXPECT_EQ(form_->Lut().min, 100);
  lut->MoveHandle(1, 300);
  EXPECT_EQ(form_->Lut().max, 300);
  // Every pixel of the screen image is the palette through the curve.
  const QImage& image = form_->FrameImage();
  const std::vector<uint32_t> table = ApplyLut(form_->Palette(), form_->Lut());
  for (int i = 0; i < 64 * 40; ++i)
    ASSERT_EQ(image.pixel(i % 64, i / 64), table[frames_[0][i]] | 0xFF000000u) << i;
  // Auto-contrast and the threshold; the threshold is what "Rec with Thresh. subtr." offers.
  lut->AutoClick();
  EXPECT_LT(form_->Lut().min, form_->Lut().max);
  answers = {"150"};
  lut->SetThresholdClick();
  EXPECT_TRUE(form_->Lut().threshold_on);
  EXPECT_EQ(form_->LutThreshold(), 150);
  // The colour bar shows the range.
  form_->MenuItem("ColourBar")->trigger();
  EXPECT_TRUE(form_->View()->ShowsColourBar());
  form_->MenuItem("ColourBar")->trigger();
  EXPECT_FALSE(form_->View()->ShowsColourBar());
  // Another record starts with its whole range, the shape kept.
  ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(record_)));
  EXPECT_EQ(form_->Lut().min, 0);
  EXPECT_EQ(form_->Lut().max, form_->Store()->MaxLevel() - 1);
}

}  // namespace
}  // namespace lumetra
