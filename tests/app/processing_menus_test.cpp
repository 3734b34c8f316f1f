// The main window's processing menus driven through their handlers with
// scripted input boxes and save dialogs: the temporal filter caption, the
// "Save Record As" items on a small simulated record, refused values, the
// record still usable afterwards, and "Fuse Records".
#include <gtest/gtest.h>

#include <QAction>
#include <QDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QRegularExpression>
#include <filesystem>

#include "app/main_form.h"
#include "processing/temporal_median.h"
#include "record/gui/record_busy.h"
#include "spots/gui/spot_form.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

// Every frame of a record, as the store reads it without filters.
struct ReadBack {
  std::vector<PRM_INFO> headers;
  std::vector<std::vector<uint16_t>> frames;
};

ReadBack ReadRecord(const std::string& path) {
  ReadBack r;
  NullReporter quiet;
  auto store = RecordStore::Create(quiet);
  if (!store->Open(path, quiet)) return r;
  for (int32_t f = 0; f < store->FrameCount(); ++f) {
    if (f > 0 && !store->NextFrame(quiet)) break;
    r.headers.push_back(store->Prm());
    const size_t n = static_cast<size_t>(store->Width()) * store->Height();
    r.frames.emplace_back(store->FrameBuffer(), store->FrameBuffer() + n);
  }
  return r;
}

class ProcessingMenus : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    record_ = testing::SimulatedRecord("processing_menus.xkv", 5);
    form_ = std::make_unique<TMainForm>();
    form_->Messages().show_modal = [this](const QString& t) { modals_ << t; };
    form_->AskText = [this](const QString& title, const QString& prompt,
                            const QString& offered) -> std::optional<QString> {
      asked_ << title + "|" + prompt + "|" + offered;
      if (answers_.isEmpty()) return std::nullopt;
      return answers_.takeFirst();
    };
    form_->AskSaveFile = [this](const QString& title, const QString& filter,
                                const QString& suffix) {
      dialogs_ << title + "|" + filter + "|" + suffix;
      return save_path_;
    };
    form_->AskOpenFiles = [this](const QString&, const QString&) { return open_paths_; };
    form_->resize(700, 600);
    form_->show();
    ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(record_)));
    original_ = ReadRecord(record_);
    ASSERT_EQ(original_.frames.size(), 5u);
  }

  QString Out(const std::string& name) {
    const std::string p = testing::TempPath(name);
    fs::remove(p);
    return QString::fromStdString(p);
  }

  std::string record_;
  ReadBack original_;
  std::unique_ptr<TMainForm> form_;
  QStringList modals_, asked_, answers_, dialogs_, open_paths_;
  QString save_path_;
};

TEST_F(ProcessingMenus, TempFiltCaptionFollowsTheCheckedItems) {
  auto* menu = qobject_cast<QMenu*>(form_->MenuItem("By3frames")->parent());
  ASSERT_NE(menu, nullptr);
  EXPECT_EQ(menu->title(), "TempFilt");
  form_->By3framesClick();
  EXPECT_EQ(menu->title(), "TempFilt(Med3)");
  EXPECT_EQ(form_->Median().MedianFrames(), 3);
  form_->By7framesClick();  // independent items: the longest wins, both are named
  EXPECT_EQ(menu->title(), "TempFilt(Med3)(Med7)");
  EXPECT_EQ(form_->Median().MedianFrames(), 7);
  form_->By3framesClick();
  form_->By7framesClick();
  EXPECT_EQ(menu->title(), "TempFilt");
  EXPECT_EQ(form_->Median().MedianFrames(), 0);

  // With 3 frames the window shows frame 2 as the per-pixel median of frames 0 to 2.
  form_->By3framesClick();
  form_->OpenRecord(QString::fromStdString(record_));
  form_->NextFrClick();
  form_->NextFrClick();
  ASSERT_EQ(form_->Store()->CurrentFrame(), 2);
  const uint16_t* shown = form_->Store()->FrameBuffer();
  for (size_t i = 0; i < original_.frames[0].size(); ++i) {
    uint16_t v[3] = {original_.frames[0][i], original_.frames[1][i], original_.frames[2][i]};
    std::sort(v, v + 3);
    ASSERT_EQ(shown[i], v[1]) << i;
  }
}

// Switching the filter repaints the frame shown through the new chain at
// once, at the same frame index; switching it off shows the frame as stored.
TEST_F(ProcessingMenus, TempFiltRepaintsTheCurrentFrameAtOnce) {
  form_->FrameTrackBarChange(3);
  ASSERT_EQ(form_->Store()->CurrentFrame(), 3);
  auto shown_is = [&](auto want) {
    const QImage& image = form_->FrameImage();
    for (size_t i = 0; i < original_.frames[3].size(); ++i) {
      const uint16_t w = want(i);
      ASSERT_EQ(form_->Store()->FrameBuffer()[i], w) << i;
      ASSERT_EQ(image.pixel(static_cast<int>(i % 64), static_cast<int>(i / 64)),
                form_->Palette()[w] | 0xFF000000u)
          << i;
    }
  };
  form_->By3framesClick();
  EXPECT_EQ(form_->Store()->CurrentFrame(), 3);
  shown_is([&](size_t i) {
    uint16_t v[3] = {original_.frames[1][i], original_.frames[2][i], original_.frames[3][i]};
    std::sort(v, v + 3);
    return v[1];
  });
  form_->By3framesClick();
  EXPECT_EQ(form_->Store()->CurrentFrame(), 3);
  shown_is([&](size_t i) { return original_.frames[3][i]; });
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
}

// A detection reading the record keeps its stream: the switch takes effect
// with the next frame it reads, and nothing is read again behind its back.
TEST_F(ProcessingMenus, TempFiltLeavesARunningDetectionAlone) {
  form_->SpotingClick();
  TSpotForm* spots = form_->SpotForm();
  ASSERT_NE(spots, nullptr);
  spots->Messages().show_modal = [this](const QString& t) { modals_ << t; };
  spots->DetectClick();
  ASSERT_TRUE(spots->Playing());
  const int32_t at = form_->Store()->CurrentFrame();
  int shown = 0;
  QObject::connect(form_.get(), &TMainForm::FrameShown, [&] { ++shown; });
  form_->By3framesClick();
  EXPECT_EQ(shown, 0);
  EXPECT_EQ(form_->Store()->CurrentFrame(), at);
  EXPECT_EQ(form_->Median().MedianFrames(), 3);
  spots->FinishPlayback();
  EXPECT_FALSE(spots->Playing());
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
}

// Each save dialog offers its extension and a name made from the record's.
TEST_F(ProcessingMenus, SaveDialogsOfferANameFromTheRecord) {
  QStringList names;
  form_->AskSaveFile = [&](const QString&, const QString&, const QString& suffix) {
    names << QFileInfo(form_->SaveDialogName()).fileName() + "|" + suffix;
    return QString();  // cancelled: nothing is written
  };
  form_->NextFrClick();
  form_->SaveAsClick();
  form_->N10frClick();
  form_->SaveSeqMed5Click();
  form_->bin2X2Click();
  form_->SaveAsRAWClick();
  form_->SaveAsBMPSeqClick();
  const QString base = QFileInfo(QString::fromStdString(record_)).completeBaseName();
  EXPECT_EQ(names.join(' ').toStdString(),
            (QStringList{"_frame1.xkv|xkv", "_sum10.xkv|xkv", "_med5.xkv|xkv", "_bin2.xkv|xkv",
                         ".raw|raw", "_frame.bmp|bmp"}
                 .replaceInStrings(QRegularExpression("^"), base)
                 .join(' ')
                 .toStdString()));
  EXPECT_TRUE(form_->SaveDialogName().isEmpty());
}

TEST_F(ProcessingMenus, SumOfTwoWritesTwoFramesAndTheRecordStaysUsable) {
  form_->FrameTrackBarChange(3);
  ASSERT_EQ(form_->Store()->CurrentFrame(), 3);
  save_path_ = Out("sum2.xkv");
  form_->N2frClick();
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
  ASSERT_EQ(dialogs_.size(), 1);
  EXPECT_EQ(dialogs_[0],
            "Save Record as XKV Data File (AVERAGING)|Data as 'XKV' 1-2 byte/pixel (*.xkv)|xkv");
  const ReadBack sum = ReadRecord(save_path_.toStdString());
  ASSERT_EQ(sum.frames.size(), 2u);  // frames 1+2 and 3+4; frame 5 is dropped
  for (size_t i = 0; i < sum.frames[1].size(); i += 37)
    EXPECT_EQ(sum.frames[1][i], original_.frames[2][i] + original_.frames[3][i]);

  // The frame shown before is shown again, and stepping goes on from it.
  RecordStore& store = *form_->Store();
  EXPECT_EQ(store.CurrentFrame(), 3);
  EXPECT_TRUE(
      std::equal(original_.frames[3].begin(), original_.frames[3].end(), store.FrameBuffer()));
  form_->NextFrClick();
  EXPECT_EQ(store.CurrentFrame(), 4);
  EXPECT_TRUE(
      std::equal(original_.frames[4].begin(), original_.frames[4].end(), store.FrameBuffer()));
  EXPECT_TRUE(form_->MenuItem("SaveRecordAs")->isEnabled());
}

TEST_F(ProcessingMenus, RefusedValuesShowTheirMessageAndWriteNothing) {
  save_path_ = Out("refused.xkv");
  answers_ = {"9"};  // first frame past the 5-frame record
  form_->SavePartOfSeqClick();
  answers_ = {"2", "2"};  // last not after first
  form_->SavePartOfSeqClick();
  answers_ = {"4"};  // thin out: first must stay below frame count - 1
  form_->ThinOutRecClick();
  answers_ = {"0", "5"};  // one of N must stay below frame count - first
  form_->ThinOutRecClick();
  answers_ = {"70000"};
  form_->SaveSeqThreshClick();
  EXPECT_EQ(modals_,
            QStringList({"First Frame Out of Range", "Last Frame Out of Range",
                         "First Frame is Out of Range", "One Frame Of N value is Out of Range",
                         "Threshold is out of scope (0-65535)"}));
  EXPECT_TRUE(dialogs_.isEmpty());
  EXPECT_FALSE(fs::exists(save_path_.toStdString()));

  // A cancelled input box ends the command without a word.
  modals_.clear();
  answers_.clear();
  form_->SavePartOfSeqClick();
  EXPECT_TRUE(modals_.isEmpty());

  // The thin-out values typed are offered again, the refused one included.
  asked_.clear();
  form_->ThinOutRecClick();
  ASSERT_EQ(asked_.size(), 1);
  EXPECT_EQ(asked_[0], "Save Thin Out Record|Save From Frame N=|0");
}

TEST_F(ProcessingMenus, PartOfTheRecordFromFrameThree) {
  save_path_ = Out("part.xkv");
  answers_ = {"3", "5"};
  form_->SavePartOfSeqClick();
  EXPECT_EQ(asked_, QStringList({"Save Part of Record|Save From Frame N=|0",
                                 "Save Part of Record|Save To Frame N=|5"}));
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
  const ReadBack part = ReadRecord(save_path_.toStdString());
  ASSERT_EQ(part.frames.size(), 2u);
  EXPECT_EQ(part.frames[0], original_.frames[3]);
  // Time stamps are measured from the frame before the first saved one.
  EXPECT_EQ(part.headers[0].TimeMs, original_.headers[3].TimeMs - original_.headers[2].TimeMs);
  EXPECT_GT(part.headers[0].TimeMs, 0);
  EXPECT_EQ(form_->Store()->CurrentFrame(), 0);
}

TEST_F(ProcessingMenus, TheOpenRecordIsNeverItsOwnOutput) {
  const auto before = testing::ReadBytes(record_);
  save_path_ = QString::fromStdString(record_);
  form_->bin2X2Click();
  EXPECT_EQ(modals_, QStringList({"The output file is the open record: choose another file name"}));
  EXPECT_EQ(testing::ReadBytes(record_), before);
  form_->NextFrClick();
  EXPECT_EQ(form_->Store()->CurrentFrame(), 1);
}

// Each item of "Save Record As" writes its file with the dialog it names.
TEST_F(ProcessingMenus, EveryItemWritesItsFile) {
  form_->SetLine(ProfileLine{5, 20, 50, 20});
  struct Item {
    void (TMainForm::*click)();
    const char* out;
    const char* written;  // the file to look for
    QStringList answers;
  };
  const Item items[] = {
      {&TMainForm::SaveSeqMed5Click, "med5.xkv", "med5.xkv", {}},
      {&TMainForm::ThinOutRecClick, "thin.xkv", "thin.xkv", {"1", "2"}},
      {&TMainForm::bin2X2Click, "bin2.xkv", "bin2.xkv", {}},
      {&TMainForm::Rev3x3binClick, "exp3.xkv", "exp3.xkv", {}},
      {&TMainForm::SaveSeqThreshClick, "thr.xkv", "thr.xkv", {"20"}},
      {&TMainForm::RecInverseIntensClick, "inv.xkv", "inv.xkv", {}},
      {&TMainForm::SaveAsRAWClick, "all.raw", "all.raw", {}},
      {&TMainForm::SaveAsRAWseqClick, "seq.raw", "seq5.raw", {}},
      {&TMainForm::SaveAsBMPSeqClick, "pic.bmp", "pic5.bmp", {}},
      {&TMainForm::SeqOnPageClick, "page.bmp", "page.bmp", {}},
      {&TMainForm::SaveProfileFileClick, "prof.xkv", "prof.xkv", {}},
  };
  for (const Item& it : items) {
    SCOPED_TRACE(it.out);
    modals_.clear();
    save_path_ = Out(it.out);
    fs::remove(testing::TempPath(it.written));
    answers_ = it.answers;
    (form_.get()->*it.click)();
    EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
    EXPECT_GT(fs::file_size(testing::TempPath(it.written)), 0u);
    EXPECT_EQ(form_->Store()->CurrentFrame(), 0);
  }
  const QStringList raw_dialog = dialogs_.filter("one RAW");
  ASSERT_EQ(raw_dialog.size(), 1);
  EXPECT_EQ(raw_dialog[0],
            "Save Record as one RAW (pixels only) File|Data as RAW (pixels data only "
            "(*.raw)|raw");
  EXPECT_EQ(ReadRecord(testing::TempPath("med5.xkv")).frames.size(), 1u);
  EXPECT_EQ(ReadRecord(testing::TempPath("thin.xkv")).frames.size(), 2u);  // frames 1 and 3
  EXPECT_EQ(ReadRecord(testing::TempPath("prof.xkv")).headers.at(0).Width, 45);
}

TEST_F(ProcessingMenus, FuseRecordsWithBlankFramesBetween) {
  const std::string second = testing::SimulatedRecord("processing_menus_b.xkv", 3);
  open_paths_ = {QString::fromStdString(record_), QString::fromStdString(second)};
  save_path_ = Out("fused.xkv");
  EXPECT_TRUE(form_->MenuItem("AddBlankFrame")->isChecked());
  form_->FuseRecordsClick();
  EXPECT_EQ(ReadRecord(save_path_.toStdString()).frames.size(), 5u + 2u + 3u);
  form_->AddBlankFrameClick();
  form_->FuseRecordsClick();
  EXPECT_EQ(ReadRecord(save_path_.toStdString()).frames.size(), 5u + 3u);
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
}

// While a record streams, Esc sets the stop flag and other input is held back.
TEST(RecordBusyState, EscStopsAndClicksAreHeldBack) {
  testing::App();
  std::atomic<bool> stop{true};
  QWidget target;
  int clicks = 0;
  struct Counter : QObject {
    int& n;
    explicit Counter(int& c) : n(c) {}
    bool eventFilter(QObject*, QEvent* e) override {
      if (e->type() == QEvent::MouseButtonPress) ++n;
      return false;
    }
  } counter(clicks);
  target.installEventFilter(&counter);
  QMouseEvent press(QEvent::MouseButtonPress, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton,
                    Qt::LeftButton, Qt::NoModifier);
  {
    RecordBusy busy(stop);
    EXPECT_FALSE(stop);
    QKeyEvent other(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier);
    QApplication::sendEvent(&target, &other);
    EXPECT_FALSE(stop);
    QApplication::sendEvent(&target, &press);
    EXPECT_EQ(clicks, 0);
    QKeyEvent esc(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(&target, &esc);
    EXPECT_TRUE(stop);
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    // A message box raised during the run still takes its clicks and keys.
    QDialog box;
    box.setModal(true);
    box.show();
    ASSERT_EQ(QApplication::activeModalWidget(), &box);
    stop = false;
    QApplication::sendEvent(&target, &press);
    QKeyEvent esc2(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(&target, &esc2);
    EXPECT_EQ(clicks, 1);
    EXPECT_FALSE(stop);
    box.hide();
    clicks = 0;
  }
  EXPECT_EQ(QApplication::overrideCursor(), nullptr);
  QApplication::sendEvent(&target, &press);
  EXPECT_EQ(clicks, 1);
}

}  // namespace
}  // namespace lumetra
