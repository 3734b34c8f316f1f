// What a user of the main window sees and reaches: the scale bar beside or
// above the header lines at every zoom, input boxes as wide as their titles,
// tool windows wholly on the screen, the import window in front after its
// save dialog, and the keypad keys and bead tracks of the key rules.
#include <gtest/gtest.h>

#include <QAction>
#include <QFontDatabase>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QScreen>
#include <QSlider>

#include "app/image_view.h"
#include "app/main_form.h"
#include "steps/gui/detect_form.h"
#include "display/gui/input_box.h"
#include "record/gui/com_form.h"
#include "spots/gui/spot_form.h"
#include "spots/xki_file.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

class MainWindowLayout : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    form_ = std::make_unique<TMainForm>();
    form_->Messages().show_modal = [this](const QString& t) { modals_ << t; };
    form_->AskOpenFile = [this](const QString&, const QString&) { return open_path_; };
    form_->resize(700, 560);
    form_->move(0, 0);
    form_->show();
    ASSERT_TRUE(form_->OpenRecord(QString::fromStdString(testing::SimulatedRecord("layout.xkv"))));
  }

  std::unique_ptr<TMainForm> form_;
  QStringList modals_;
  QString open_path_;
};

TEST_F(MainWindowLayout, ScaleBarIsShownAtEveryZoomAndNeverCoversTheHeaderLines) {
  for (int zoom = 1; zoom <= 30; ++zoom) {
    SCOPED_TRACE(zoom);
    while (form_->View()->Zoom() < zoom) form_->ZoomInClick();
    const ScaleBarLayout bar = form_->View()->ShownScaleBar();
    ASSERT_TRUE(bar.shown);
    const QRect info = form_->View()->ShownInfoBox();
    ASSERT_FALSE(info.isEmpty());
    const QRect box(bar.box.left, bar.box.top, bar.box.width, bar.box.height);
    EXPECT_FALSE(box.intersects(info));
    EXPECT_TRUE(form_->View()->viewport()->rect().contains(box));
  }
}

TEST(InputBox, IsWideEnoughForItsTitle) {
  testing::App();
  const QFontMetrics title_font(QFontDatabase::systemFont(QFontDatabase::TitleFont));
  for (const char* title : {"Set Strength for Sharpening filter (0.2-20)",
                            "The radius of Local Background Filter is Out of Order (1-20)", "N"}) {
    SCOPED_TRACE(title);
    const auto box = MakeInputBox(nullptr, title, "Strength=", "16");
    box->show();
    EXPECT_GE(box->width(), title_font.horizontalAdvance(title));
    EXPECT_EQ(box->windowTitle(), title);
    EXPECT_EQ(box->textValue(), "16");
  }
}

TEST_F(MainWindowLayout, ToolWindowsOpenWhollyOnTheScreen) {
  const QRect screen = form_->screen()->availableGeometry();
  form_->SpotingClick();
  ASSERT_NE(form_->SpotForm(), nullptr);
  form_->ImportDataClick();
  form_->DetectingClick();
  ASSERT_NE(form_->DetectForm(), nullptr);
  for (QWidget* tool :
       {static_cast<QWidget*>(form_->SpotForm()), static_cast<QWidget*>(form_->ComForm()),
        static_cast<QWidget*>(form_->DetectForm())}) {
    SCOPED_TRACE(tool->windowTitle().toStdString());
    EXPECT_TRUE(screen.contains(tool->frameGeometry()))
        << tool->frameGeometry().x() << "," << tool->frameGeometry().y() << " "
        << tool->frameGeometry().width() << "x" << tool->frameGeometry().height();
  }
}

TEST_F(MainWindowLayout, ImportWindowStaysInFrontAfterItsSaveDialog) {
  const std::string source = testing::TempPath("layout.raw");
  testing::XkvBuilder::SaveBytes(source, std::vector<uint8_t>(400, 9));
  form_->AskOpenFile = [&](const QString&, const QString&) {
    return QString::fromStdString(source);
  };
  // The dialog gives the focus back to the main window when it closes.
  QString offered;
  form_->AskSaveFile = [&](const QString&, const QString&, const QString&) {
    offered = form_->SaveDialogName();
    form_->activateWindow();
    return QString::fromStdString(testing::TempPath("layout_import.xkv"));
  };
  form_->ImportDataClick();
  TComForm* window = form_->ComForm();
  window->show_modal = [this](const QString& t) { modals_ << t; };
  window->WidthEdit->setText("10");
  window->HeightEdit->setText("10");
  QApplication::setActiveWindow(window);
  window->GoBtClick();
  EXPECT_EQ(QApplication::activeWindow(), window);
  EXPECT_EQ(offered, QString::fromStdString(source).replace(".raw", ".xkv"));
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
}

TEST_F(MainWindowLayout, KeypadPlusAndMinusResizeTheRegionWithOrWithoutCtrl) {
  struct Case {
    const char* what;
    int key;
    Qt::KeyboardModifiers mods;
    int32_t left, top;  // after the key, from 10, 10
  };
  const Case cases[] = {
      {"keypad plus", Qt::Key_Plus, Qt::KeypadModifier, 9, 9},
      {"Ctrl + keypad plus", Qt::Key_Plus, Qt::KeypadModifier | Qt::ControlModifier, 9, 9},
      {"keypad minus", Qt::Key_Minus, Qt::KeypadModifier, 11, 11},
      {"Ctrl + keypad minus", Qt::Key_Minus, Qt::KeypadModifier | Qt::ControlModifier, 11, 11},
      {"main keyboard plus", Qt::Key_Plus, Qt::NoModifier, 10, 10},
      {"main keyboard minus", Qt::Key_Minus, Qt::NoModifier, 10, 10},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    form_->SetRegion(Region{10, 10, 20, 20, true});
    QKeyEvent press(QEvent::KeyPress, c.key, c.mods);
    QCoreApplication::sendEvent(form_->View(), &press);
    EXPECT_EQ(form_->UserRegion().left, c.left);
    EXPECT_EQ(form_->UserRegion().top, c.top);
    EXPECT_EQ(form_->UserRegion().right, 20);
    EXPECT_EQ(form_->View()->Zoom(), 1);
    // The keypad keys win over the zoom shortcuts; the main keyboard's do not.
    const bool keypad = (c.mods & Qt::KeypadModifier) != 0;
    QKeyEvent shortcut(QEvent::ShortcutOverride, c.key, c.mods | Qt::ControlModifier);
    shortcut.ignore();
    QCoreApplication::sendEvent(form_->View(), &shortcut);
    EXPECT_EQ(shortcut.isAccepted(), keypad);
  }
}

// Three bead tracks of four points from frame 1: bead t at x = 10 + 10 t.
std::string WriteBeads() {
  TrackStore beads;
  beads.Reset(6);
  for (int32_t t = 0; t < 3; ++t) {
    TrackRec& r = beads.Use(t);
    r.completed = 1;
    r.X = 10 + 10 * t;
    r.Y = 20;
    r.point_count = 4;
    r.first_frame = 1;
    for (int32_t f = 1; f <= 4; ++f) {
      r.intensity[f] = 100;
      r.x[f] = 0.1f * f;  // um from the start: one pixel of 100 nm a frame
      r.y[f] = 0.05f;
    }
  }
  beads.track_count = beads.completed_count = 3;
  beads.refined = true;
  const std::string path = testing::TempPath("layout_beads.xki");
  NullReporter quiet;
  WriteXkiFile(path, beads, XkiWriteOptions{}, quiet);
  return path;
}

TEST_F(MainWindowLayout, PageKeysStepThroughBeadTracksWhileShowBeadsIsChecked) {
  QList<int> requested;
  QObject::connect(form_.get(), &TMainForm::BeadViewsRequested,
                   [&](int index) { requested << index; });
  auto* track_bar = form_->findChild<QSlider*>("FrameTrackBar");
  auto page = [&](int key) {
    QKeyEvent e(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(track_bar, &e);
  };
  page(Qt::Key_PageUp);  // no beads shown: the track bar steps frames as usual
  EXPECT_TRUE(requested.isEmpty());

  open_path_ = QString::fromStdString(WriteBeads());
  form_->LoadBeadTracksClick();
  ASSERT_EQ(form_->BeadCount(), 3);
  EXPECT_TRUE(form_->MenuItem("ShowBeads")->isChecked());
  EXPECT_EQ(requested, QList<int>{0});
  EXPECT_EQ(form_->View()->BeadTrack().size(), 4u);

  struct Step {
    int key;
    int32_t index;
  };
  const Step steps[] = {{Qt::Key_PageUp, 1},   {Qt::Key_PageUp, 2},   {Qt::Key_PageUp, 2},
                        {Qt::Key_PageDown, 1}, {Qt::Key_PageDown, 0}, {Qt::Key_PageDown, 0}};
  for (const Step& s : steps) {
    page(s.key);
    EXPECT_EQ(form_->BeadIndex(), s.index);
    EXPECT_EQ(requested.last(), s.index);
    ASSERT_FALSE(form_->View()->BeadTrack().empty());
    const double step = 0.1 / (form_->Store()->Prm().ScaleX * 0.001);  // pixels
    EXPECT_NEAR(form_->View()->BeadTrack().front().x(), 10 + 10 * s.index + step, 1e-3);
  }

  form_->MenuItem("ShowBeads")->trigger();  // unchecked: the keys leave the beads alone
  const qsizetype heard = requested.size();
  page(Qt::Key_PageUp);
  EXPECT_EQ(form_->BeadIndex(), 0);
  EXPECT_EQ(requested.size(), heard);
  EXPECT_TRUE(form_->View()->BeadTrack().empty());
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
}

}  // namespace
}  // namespace lumetra
