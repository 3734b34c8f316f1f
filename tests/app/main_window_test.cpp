// The main window driven through its handlers: palettes, settings through
// scripted input boxes, the settings file, playback, keys, the mouse tools,
// saving a frame, drops and recent files.
#include <gtest/gtest.h>

#include <QAction>
#include <QElapsedTimer>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSlider>
#include <QUrl>
#include <filesystem>
#include <fstream>

#include "app/image_view.h"
#include "app/main_form.h"
#include "settings/ini_file.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

class MainWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    record_ = testing::SimulatedRecord("main_window.xkv");
    form_ = std::make_unique<TMainForm>();
    form_->Messages().show_modal = [this](const QString& t) { modals_ << t; };
    form_->AskText = [this](const QString& title, const QString& prompt,
                            const QString& offered) -> std::optional<QString> {
      asked_ << title + "|" + prompt + "|" + offered;
      if (answers_.isEmpty()) return std::nullopt;  // cancel
      return answers_.takeFirst();
    };
    form_->AskOpenFile = [this](const QString&, const QString&) {
      ++open_dialogs_;
      return open_path_;
    };
    form_->AskSaveFile = [this](const QString&, const QString&, const QString&) {
      return save_path_;
    };
    form_->resize(700, 600);
    form_->show();
    ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(record_)));
  }

  // Runs the event loop until `done` or two seconds pass.
  template <typename Done>
  void RunUntil(Done done) {
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < 2000)
      QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
  }

  QString Caption(const char* control) { return form_->MenuItem(control)->text(); }

  std::string record_;
  std::unique_ptr<TMainForm> form_;
  QStringList modals_, asked_, answers_;
  QString open_path_, save_path_;
  int open_dialogs_ = 0;
};

TEST_F(MainWindow, FrameIsPaintedThroughTheChosenPalette) {
  const RecordStore& store = *form_->Store();
  ASSERT_EQ(form_->Palette().size(), static_cast<size_t>(store.MaxLevel()));
  auto check = [&] {
    const QImage& img = form_->FrameImage();
    ASSERT_EQ(img.width(), 64);
    for (int y = 0; y < 40; y += 7)
      for (int x = 0; x < 64; x += 5) {
        const uint16_t c = store.FrameBuffer()[y * 64 + x];
        ASSERT_EQ(img.pixel(x, y), form_->Palette()[c] | 0xFF000000u) << x << "," << y;
      }
  };
  EXPECT_EQ(form_->PaletteType(), kPaletteRYW);
  EXPECT_TRUE(form_->MenuItem("RYWpal")->isChecked());
  check();
  form_->GreyPalClick();
  EXPECT_EQ(form_->PaletteType(), kPaletteGrey);
  EXPECT_TRUE(form_->MenuItem("GreyPal")->isChecked());
  EXPECT_FALSE(form_->MenuItem("RYWpal")->isChecked());
  check();
  const uint32_t top = form_->Palette().back();
  EXPECT_EQ(qRed(top), qGreen(top));
  // The palette type survives opening the record again.
  ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(record_)));
  EXPECT_EQ(form_->PaletteType(), kPaletteGrey);
  EXPECT_EQ(Caption("RYWpal"), "red-yellow-white");
  EXPECT_EQ(Caption("BGYRpal"), "blue-green-yellow-red");
}

TEST_F(MainWindow, SettingsThroughScriptedInputBoxes) {
  EXPECT_EQ(Caption("SetFWHM"), "Set FWHM (250nm)");
  EXPECT_EQ(Caption("SetPrintZoom"), "Print Zoom (4)");
  answers_ = {"9"};
  form_->SetFWHMClick();
  EXPECT_EQ(modals_, QStringList{"Too small FWHM"});
  EXPECT_EQ(Caption("SetFWHM"), "Set FWHM (250nm)");
  answers_ = {"300"};
  form_->SetFWHMClick();
  EXPECT_EQ(Caption("SetFWHM"), "Set FWHM (300nm)");
  EXPECT_EQ(form_->CurrentSettings().FwhmNm, 300);
  // The preview spot sits in the top-left 11 x 11 pixels: 100 counts at its centre.
  EXPECT_EQ(form_->Store()->FrameBuffer()[5 * 64 + 5], 100);
  answers_ = {"5"};
  form_->SetPrintZoomClick();
  EXPECT_EQ(Caption("SetPrintZoom"), "Print Zom(5)");
  answers_ = {"50"};
  form_->ProfileWidthClick();
  EXPECT_EQ(Caption("ProfileWidth"), "Profile Width (51)");
  form_->Shift68Click();  // cancelled: nothing changes
  EXPECT_EQ(Caption("Shift68"), "68deg Shift=0(c/p)");
  EXPECT_EQ(asked_,
            (QStringList{"Set new FWHM value|FWHM (nm)=|250", "Set new FWHM value|FWHM (nm)=|250",
                         "Set print zoom (1-10)|Zoom=|4",
                         "Set Profile Width (ODD NUMBER 1-49)|Width (in pixels)|3",
                         "Set Shift for 68deg imahe|counts/pix|0"}));
  EXPECT_EQ(modals_.size(), 1);
}

TEST_F(MainWindow, SettingsFileSavedAndReadBack) {
  save_path_ = QString::fromStdString(testing::TempPath("window.ini"));
  answers_ = {"7", "0.25"};
  form_->SetVelocityStepClick();
  form_->SetStepClick();
  form_->ZoomInClick();
  form_->SaveSettingsClick();
  std::ifstream in(save_path_.toStdString());
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(text, IniText(form_->CurrentSettings()));

  TMainForm other;
  other.Messages().show_modal = [this](const QString& t) { modals_ << t; };
  other.AskOpenFile = [this](const QString&, const QString&) { return save_path_; };
  other.ReadSettingsFileClick();
  EXPECT_EQ(other.CurrentSettings(), form_->CurrentSettings());
  EXPECT_EQ(other.MenuItem("SetVelocityStep")->text(), "Set Velocity Step (7)");
  EXPECT_EQ(other.MenuItem("SetStep")->text(), "Set Fitting Limit (0.25)");
  EXPECT_EQ(other.MenuItem("SetPrintZoom")->text(), "Print Zoom(4)");
  EXPECT_EQ(other.View()->Zoom(), 2);
  other.AskOpenFile = [](const QString&, const QString&) { return QStringLiteral("/no/such.ini"); };
  other.ReadSettingsFileClick();
  EXPECT_EQ(modals_, QStringList{"Can not open file"});
  save_path_ = QStringLiteral("/no/such/folder/x.ini");
  form_->SaveSettingsClick();
  EXPECT_EQ(modals_.last(), "Can not Open File for Writing");
}

// The open timer reads "Lumetra.ini" of the current folder silently; while
// none was read, "Read Settings (INI)" tries it again without a dialog.
TEST_F(MainWindow, StartupReadOfTheDefaultFile) {
  const fs::path dir = fs::path(testing::TempPath("startup"));
  fs::create_directories(dir);
  const fs::path old = fs::current_path();
  fs::current_path(dir);
  fs::remove(dir / "Lumetra.ini");
  {
    TMainForm missing;
    missing.Messages().show_modal = [this](const QString& t) { modals_ << t; };
    missing.AskOpenFile = [this](const QString&, const QString&) {
      ++open_dialogs_;
      return QString();
    };
    RunUntil([&] { return false; });  // lets the open timer fire
    missing.ReadSettingsFileClick();
    EXPECT_EQ(open_dialogs_, 0);
    EXPECT_TRUE(modals_.isEmpty());
    std::ofstream(dir / "Lumetra.ini") << "Zoom 3\nPrintZoom 6\n";
    missing.ReadSettingsFileClick();
    EXPECT_EQ(missing.CurrentSettings().Zoom, 3);
    missing.ReadSettingsFileClick();  // now the dialog is asked (and cancelled)
    EXPECT_EQ(open_dialogs_, 1);
  }
  TMainForm present;
  RunUntil([&] { return present.CurrentSettings().Zoom == 3; });
  EXPECT_EQ(present.CurrentSettings().PrintZoom, 6);
  EXPECT_EQ(present.MenuItem("SetPrintZoom")->text(), "Print Zoom(6)");
  fs::current_path(old);
  fs::remove_all(dir);
}

TEST_F(MainWindow, PlaysTheSelectedPartOfTheRecord) {
  answers_ = {"3", "1"};
  form_->UsePartOfRecordClick();
  form_->SelectLastFrameClick();
  form_->SelectFirstFrameClick();
  int shown = 0;
  bool completed = false;
  QObject::connect(form_.get(), &TMainForm::FrameShown, [&] { ++shown; });
  QObject::connect(form_.get(), &TMainForm::PlaybackFinished, [&](bool c) { completed = c; });
  form_->PlayClick();
  EXPECT_TRUE(form_->Playing());
  EXPECT_FALSE(form_->MenuItem("NextFr")->isEnabled());
  RunUntil([&] { return !form_->Playing(); });
  EXPECT_FALSE(form_->Playing());
  EXPECT_TRUE(completed);
  EXPECT_EQ(form_->Store()->CurrentFrame(), 3);
  EXPECT_GE(shown, 3);  // frames 1, 2 and 3, and the last one again when it ends
  EXPECT_EQ(form_->FramePanelText(), "Frame=3");
  EXPECT_TRUE(form_->MenuItem("NextFr")->isEnabled());
}

TEST_F(MainWindow, EscStopsPlaybackAtItsNextStep) {
  bool finished = false, completed = true;
  QObject::connect(form_.get(), &TMainForm::PlaybackFinished, [&](bool c) {
    finished = true;
    completed = c;
  });
  form_->PlayClick();
  ASSERT_TRUE(form_->Playing());
  EXPECT_TRUE(form_->FormKeyDown(Qt::Key_Escape, Qt::NoModifier));
  EXPECT_TRUE(form_->StopFlag());
  EXPECT_TRUE(form_->Playing());  // Esc only sets the flag
  RunUntil([&] { return finished; });
  EXPECT_FALSE(completed);
  EXPECT_EQ(form_->Store()->CurrentFrame(), 0);
  // Completions of long commands are drawn on the image for a moment.
  form_->Messages().Notice("Done");
  EXPECT_EQ(form_->View()->Notice(), "Done");
}

TEST_F(MainWindow, PlaybackEndsOnABrokenFrameWithOneMessage) {
  const std::string cut = testing::SimulatedRecord("cut.xkv", 4);
  fs::resize_file(cut, fs::file_size(cut) - 100);  // the last frame's pixels end early
  ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(cut)));
  bool finished = false, completed = true;
  QObject::connect(form_.get(), &TMainForm::PlaybackFinished, [&](bool c) {
    finished = true;
    completed = c;
  });
  form_->PlayClick();
  RunUntil([&] { return finished; });
  EXPECT_FALSE(completed);
  EXPECT_EQ(modals_, QStringList{"Frame Reading Error"});
  EXPECT_FALSE(form_->Playing());
  form_->NextFrClick();  // the record starts again at frame 0
  EXPECT_EQ(form_->Store()->CurrentFrame(), 0);
}

TEST_F(MainWindow, AFileWithoutAReadableFirstFrameKeepsTheOpenRecordOnScreen) {
  const QString caption = form_->windowTitle();
  const QStringList lines = form_->View()->InfoLines();
  std::vector<uint8_t> head = testing::ReadBytes(record_);
  head.resize(3000);  // inside frame 0's pixels
  const std::string cut = testing::TempPath("window_cut.xkv"),
                    text = testing::TempPath("window_text.xkv");
  testing::XkvBuilder::SaveBytes(cut, head);
  testing::XkvBuilder::SaveBytes(text, std::vector<uint8_t>(400, 'x'));
  struct Case {
    std::string path;
    QString message;
  };
  for (const Case& c : {Case{cut, "Frame Reading Error"}, Case{text, "Broken Frame Header"}}) {
    SCOPED_TRACE(c.path);
    modals_.clear();
    EXPECT_FALSE(form_->OpenRecord(QString::fromStdString(c.path)));
    ASSERT_EQ(modals_.size(), 1);
    EXPECT_TRUE(modals_[0].startsWith(c.message)) << modals_[0].toStdString();
    EXPECT_EQ(form_->windowTitle(), caption);
    EXPECT_EQ(form_->Store()->RecordFileName(), record_);
    EXPECT_TRUE(form_->View()->ShowsFrame());
    EXPECT_EQ(form_->View()->InfoLines(), lines);
  }
}

TEST_F(MainWindow, AFrameRefusedLaterLeavesNoStaleImage) {
  const std::string shrinks = testing::SimulatedRecord("window_shrinks.xkv", 3);
  ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(shrinks)));
  ASSERT_TRUE(form_->View()->ShowsFrame());
  fs::resize_file(shrinks, 3000);  // cut on disk while open
  form_->FirstFrameClick();
  EXPECT_EQ(modals_, QStringList{"Frame Reading Error"});
  EXPECT_FALSE(form_->Store()->HasFrame());
  EXPECT_FALSE(form_->View()->ShowsFrame()) << "no image of a frame that was not read";
  EXPECT_TRUE(form_->View()->InfoLines().isEmpty());
}

TEST_F(MainWindow, KeysNudgeTheRegionAndTheLine) {
  form_->SetRegion(Region{10, 10, 20, 20, true});
  form_->SetLine(ProfileLine{5, 5, 30, 8});
  EXPECT_TRUE(form_->FormKeyDown(Qt::Key_Left, Qt::NoModifier));
  EXPECT_EQ(form_->UserRegion().left, 9);
  EXPECT_EQ(form_->UserRegion().right, 19);
  EXPECT_EQ(form_->Line(), (ProfileLine{4, 5, 29, 8}));
  form_->FormKeyDown(Qt::Key_Right, Qt::ControlModifier);
  EXPECT_EQ(form_->UserRegion().right, 20);
  EXPECT_EQ(form_->UserRegion().left, 9);
  form_->FormKeyDown(Qt::Key_Minus, Qt::KeypadModifier);
  EXPECT_EQ(form_->UserRegion().left, 10);
  EXPECT_EQ(form_->UserRegion().top, 11);
  EXPECT_TRUE(form_->RegionPanelText().startsWith("Left=10, Width=10, Top=11, Height=9 pixels, "));
  // Keys pressed on the track bar act the same and do not step frames.
  QKeyEvent up(QEvent::KeyPress, Qt::Key_Up, Qt::NoModifier);
  QCoreApplication::sendEvent(form_->findChild<QSlider*>("FrameTrackBar"), &up);
  EXPECT_EQ(form_->UserRegion().top, 10);
  EXPECT_EQ(form_->Store()->CurrentFrame(), 0);
  EXPECT_FALSE(form_->FormKeyDown(Qt::Key_A, Qt::NoModifier));
}

TEST_F(MainWindow, MouseDrawsTheRegionAndZoomFollowsTheView) {
  QWidget* vp = form_->View()->viewport();
  auto send = [&](QEvent::Type type, QPoint at, Qt::MouseButton button) {
    QMouseEvent e(type, QPointF(at), vp->mapToGlobal(QPointF(at)), button,
                  type == QEvent::MouseButtonRelease ? Qt::NoButton : button, Qt::NoModifier);
    QCoreApplication::sendEvent(vp, &e);
  };
  form_->ZoomInClick();
  form_->ZoomInClick();
  EXPECT_EQ(form_->CurrentSettings().Zoom, 3);
  EXPECT_EQ(form_->View()->Zoom(), 3);
  send(QEvent::MouseButtonPress, {30, 33}, Qt::LeftButton);
  send(QEvent::MouseMove, {61, 45}, Qt::LeftButton);
  send(QEvent::MouseButtonRelease, {61, 45}, Qt::LeftButton);
  const Region r = form_->UserRegion();
  EXPECT_TRUE(r.active);
  EXPECT_EQ(r.left, 10);
  EXPECT_EQ(r.top, 11);
  EXPECT_EQ(r.right, 21);
  EXPECT_EQ(r.bottom, 16);
  send(QEvent::MouseButtonPress, {300, 300}, Qt::LeftButton);  // beyond the frame: clamped
  send(QEvent::MouseButtonRelease, {300, 300}, Qt::LeftButton);
  EXPECT_FALSE(form_->UserRegion().active);  // a click clears the region
  send(QEvent::MouseButtonPress, {3, 3}, Qt::RightButton);
  send(QEvent::MouseMove, {90, 60}, Qt::RightButton);
  send(QEvent::MouseButtonRelease, {90, 60}, Qt::RightButton);
  EXPECT_EQ(form_->Line(), (ProfileLine{1, 1, 30, 20}));
  for (int i = 0; i < 40; ++i) form_->ZoomInClick();
  EXPECT_EQ(form_->CurrentSettings().Zoom, 30);
}

TEST_F(MainWindow, SavesTheCurrentFrameOrItsRegionAsXkv) {
  save_path_ = QString::fromStdString(testing::TempPath("saved.xkv"));
  form_->NextFrClick();
  form_->SetRegion(Region{4, 6, 24, 16, true});
  form_->SaveAsClick();
  EXPECT_TRUE(modals_.isEmpty());
  CollectingReporter rep;
  auto saved = RecordStore::Create(rep);
  ASSERT_TRUE(saved->Open(save_path_.toStdString(), rep));
  EXPECT_EQ(saved->FrameCount(), 1);
  EXPECT_EQ(saved->Width(), 20);
  EXPECT_EQ(saved->Height(), 10);
  for (int y = 0; y < 10; ++y)
    for (int x = 0; x < 20; ++x)
      ASSERT_EQ(saved->FrameBuffer()[y * 20 + x],
                form_->Store()->FrameBuffer()[(y + 6) * 64 + x + 4]);
  save_path_ = QString::fromStdString(record_);  // never over the open record
  form_->SaveAsClick();
  EXPECT_EQ(modals_, QStringList{"Can not Open File for Writing"});
}

TEST_F(MainWindow, DropsAndRecentFiles) {
  const std::string second = testing::SimulatedRecord("dropped.xkv", 3);
  QMimeData mime;
  mime.setUrls({QUrl::fromLocalFile(QString::fromStdString(second))});
  QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(form_.get(), &enter);
  EXPECT_TRUE(enter.isAccepted());
  QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(form_.get(), &drop);
  EXPECT_EQ(form_->Store()->FrameCount(), 3);
  EXPECT_TRUE(form_->windowTitle().contains("dropped.xkv"));
  EXPECT_TRUE(form_->RecentFiles().first().endsWith("dropped.xkv"));
  EXPECT_TRUE(form_->RecentFiles().at(1).endsWith("main_window.xkv"));
  QMimeData text;
  text.setUrls({QUrl::fromLocalFile("/tmp/notes.txt")});
  QDragEnterEvent refused(QPoint(10, 10), Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(form_.get(), &refused);
  EXPECT_FALSE(refused.isAccepted());
  QDropEvent other(QPointF(10, 10), Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(form_.get(), &other);
  EXPECT_EQ(form_->Store()->FrameCount(), 3);
}

TEST_F(MainWindow, RecentFilesDropARecordThatNoLongerOpens) {
  const std::string gone = testing::SimulatedRecord("gone.xkv", 2);
  ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(gone)));
  ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(record_)));
  ASSERT_TRUE(form_->RecentFiles().at(1).endsWith("gone.xkv"));
  fs::remove(gone);
  EXPECT_FALSE(form_->OpenRecord(QString::fromStdString(gone)));
  for (const QString& f : form_->RecentFiles()) EXPECT_FALSE(f.endsWith("gone.xkv"));
  EXPECT_TRUE(form_->RecentFiles().first().endsWith("main_window.xkv"));
  EXPECT_EQ(form_->Store()->FrameCount(), 6) << "the open record stays";
  // Play keeps to the record's own frame interval unless the user says otherwise.
  EXPECT_TRUE(form_->MenuItem("RealTimePlay")->isChecked());
  form_->PlayClick();
  EXPECT_GT(form_->PlayInterval(), 0);
  form_->StopClick();
  RunUntil([&] { return !form_->Playing(); });
  // A playback that feeds an analysis runs as fast as frames are read.
  struct Counter final : FrameConsumer {
    void OnFrame(const RecordStore&) override {}
  } counter;
  form_->SetPlaybackConsumers({&counter});
  form_->PlayClick();
  EXPECT_EQ(form_->PlayInterval(), 0);
  RunUntil([&] { return !form_->Playing(); });
  form_->SetPlaybackConsumers({});
}

TEST_F(MainWindow, RecordWithoutFramesShowsNoStaleImage) {
  const std::string empty = testing::TempPath("empty.xkv");
  std::ofstream(empty, std::ios::binary).close();
  ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(empty)));
  EXPECT_EQ(form_->Store()->FrameCount(), 0);
  EXPECT_FALSE(form_->MenuItem("Play")->isEnabled());
  EXPECT_FALSE(form_->MenuItem("SaveAs")->isEnabled());
  form_->NextFrClick();
  form_->PlayClick();
  EXPECT_FALSE(form_->Playing());
  EXPECT_TRUE(modals_.isEmpty());
}

}  // namespace
}  // namespace lumetra
