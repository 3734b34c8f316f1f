// The manual tracking window under the offscreen platform: clicks mark and
// advance, keys step back and switch objects, files are saved and read, and
// unsaved objects are not dropped without asking.
#include "manual/gui/track_form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTableWidget>
#include <filesystem>

#include "graph/gui/xk_graph.h"
#include "manual/manual_messages.h"
#include "record/simulator.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

QApplication& App() {
  static int argc = 1;
  static char name[] = "manual_gui_tests";
  static char* argv[] = {name, nullptr};
  static QApplication app(argc, argv);
  return app;
}

class TrackFormTest : public ::testing::Test {
 protected:
  void SetUp() override {
    App();
    // One folder a test: CTest runs the tests side by side.
    dir_ = fs::temp_directory_path() /
           (std::string("lumetra_track_form_") +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
    SimulationParams p;
    p.width = 64;
    p.height = 48;
    p.frames = 6;
    path_ = (dir_ / "sim.xkv").string();
    ASSERT_TRUE(SimulateRecord(p, path_, reporter_));
    record_ = RecordStore::Create(reporter_);
    ASSERT_TRUE(record_->Open(path_, reporter_));
    form_ = std::make_unique<TTrackForm>(*record_, reporter_);
    TrackFormHost host;
    host.go_to_frame = [this](int32_t f) { record_->GoToFrame(f, reporter_); };
    form_->SetHost(host);
    form_->AskSaveFile = [this](const QString&, const QString&, const QString& name) {
      offered_ = name;
      return QString::fromStdString((dir_ / "objects.xki").string());
    };
    form_->AskOpenFile = [this](const QString&, const QString&) {
      return QString::fromStdString((dir_ / "objects.xki").string());
    };
    form_->AskYesNo = [this](const QString&) { return ++asked_, answer_; };
    reporter_.Clear();
  }
  void TearDown() override {
    form_.reset();
    fs::remove_all(dir_);
  }

  fs::path dir_;
  std::string path_;
  CollectingReporter reporter_;
  std::unique_ptr<RecordStore> record_;
  std::unique_ptr<TTrackForm> form_;
  QString offered_;
  int asked_ = 0;
  bool answer_ = false;
};

TEST_F(TrackFormTest, ClicksMarkFrameByFrameAndKeysCorrect) {
  const double nm = record_->Prm().ScaleX;
  form_->ImageClickAt(10, 12);
  EXPECT_EQ(record_->CurrentFrame(), 1);  // moved on
  form_->ImageClickAt(11, 12);
  form_->StepBackClick();
  EXPECT_EQ(record_->CurrentFrame(), 1);
  form_->ImageClickAt(13, 12);  // corrects frame 1
  EXPECT_NEAR(form_->Objects().Object(0).x[1], 13.5 * nm, 1e-3);
  EXPECT_EQ(record_->CurrentFrame(), 2);
  form_->NextObjectClick();
  form_->ImageClickAt(30, 30);
  EXPECT_TRUE(form_->Objects().HasPoint(1, 2));
  EXPECT_EQ(form_->Objects().UsedCount(), 2);
  EXPECT_EQ(form_->Table()->rowCount(), 2);
  EXPECT_EQ(form_->PointTable()->rowCount(), 1);  // object 2's point in frame 2
  EXPECT_TRUE(form_->StatusText().contains("object 2, frame 2 of 6: point set"));
  form_->StepBackClick();
  form_->RemovePointClick();
  EXPECT_FALSE(form_->Objects().HasPoint(1, 2));
  form_->ImageClickAt(-1, 3);  // outside the frame: nothing
  EXPECT_EQ(record_->CurrentFrame(), 2);

  // The marks are drawn over the image: object 1's track up to frame 2.
  QImage img(64, 48, QImage::Format_RGB32);
  img.fill(Qt::black);
  {
    QPainter p(&img);
    form_->PaintMarks(p, 1);
  }
  EXPECT_NE(img.pixel(12, 12), QColor(Qt::black).rgb());
  EXPECT_EQ(form_->Graph().Notes[0], "NO DATA");  // object 2 has no point left
  form_->PrevObjectClick();
  EXPECT_EQ(form_->Graph().Notes[0], "");
}

TEST_F(TrackFormTest, SavesReadsAndAsksBeforeDropping) {
  form_->ImageClickAt(10, 12);
  form_->ImageClickAt(11, 12);
  ASSERT_TRUE(form_->SaveXKIfileClick());
  EXPECT_TRUE(offered_.endsWith("sim.xki"));
  EXPECT_FALSE(form_->Objects().unsaved);
  form_->ImageClickAt(12, 12);
  // Unsaved now: reading asks, and No keeps the objects.
  form_->ReadXKIfileClick();
  EXPECT_EQ(asked_, 1);
  EXPECT_TRUE(form_->Objects().HasPoint(0, 2));
  answer_ = true;
  form_->ReadXKIfileClick();
  EXPECT_FALSE(form_->Objects().HasPoint(0, 2));
  EXPECT_TRUE(form_->Objects().HasPoint(0, 1));
  EXPECT_TRUE(reporter_.messages().empty());
  // Taking tracks without the tracking window open says why.
  form_->TakeTrackingTracksClick();
  EXPECT_TRUE(reporter_.Contains(kNoLinkedTracks));
  // Closing with unsaved marks asks; No keeps the window.
  form_->show();
  form_->ImageClickAt(5, 5);
  answer_ = false;
  EXPECT_FALSE(form_->close());
  answer_ = true;
  EXPECT_TRUE(form_->close());
}

}  // namespace
}  // namespace lumetra
