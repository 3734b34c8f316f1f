// The tracking window under the offscreen platform: Detect and Link Tracks
// through its playback, the setting commands, XKI files and the key commands.
#include "spots/gui/spot_form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <filesystem>
#include <fstream>

#include "graph/gui/xk_graph.h"
#include "record/simulator.h"
#include "spots/gui/spot_view.h"
#include "spots/spots_messages.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

QApplication& App() {
  static int argc = 1;
  static char name[] = "spots_gui_tests";
  static char* argv[] = {name, nullptr};
  static QApplication app(argc, argv);
  return app;
}

TEST(SpotForm, DetectLinkSaveAndReadTracks) {
  App();
  const fs::path dir = fs::temp_directory_path() / "lumetra_spot_form_test";
  fs::create_directories(dir);
  SimulationParams p;
  p.width = p.height = 128;
  p.frames = 20;
  p.spots = 6;
  p.seed = 4;
  const std::string path = (dir / "sim.xkv").string();
  CollectingReporter sim;
  ASSERT_TRUE(SimulateRecord(p, path, sim));
  auto record = RecordStore::Create(sim);
  ASSERT_TRUE(record->Open(path, sim));

  TSpotForm form(*record);
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  EXPECT_EQ(form.windowTitle(), "Lumetra - Automatic Single Particle Tracking (ASPT) ");
  form.DetectClick();
  EXPECT_TRUE(form.Playing());
  form.FinishPlayback();
  EXPECT_FALSE(form.Playing());
  EXPECT_TRUE(form.StatusText().endsWith(" completed tracks"));
  const int32_t completed = form.Tracks().completed_count;
  EXPECT_EQ(form.DistanceGraph().TitleX, "Min. Distance (um)");
  EXPECT_EQ(form.DistanceGraph().Data.RowLength, 50);
  EXPECT_GE(completed, 3);
  form.LinkTracksClick();
  form.FinishPlayback();
  EXPECT_TRUE(form.StatusText().endsWith(" - truncated)")) << form.StatusText().toStdString();
  EXPECT_TRUE(form.Tracks().refined);

  // XKI out and back in.
  const QString xki = QString::fromStdString((dir / "t.xki").string());
  form.AskSaveFile = [&](const QString&, const QString&) { return xki; };
  form.SaveXKIfileClick();
  form.AskOpenFile = [&](const QString&, const QString&) { return xki; };
  form.ReadXKIfileClick();
  EXPECT_EQ(form.Tracks().completed_count, form.Tracks().track_count);
  EXPECT_GE(form.Tracks().completed_count, 1);
  EXPECT_TRUE(modals.isEmpty()) << modals.join("|").toStdString();

  // Settings through scripted input boxes.
  QStringList answers = {"1", "4"};
  QStringList asked;
  form.AskText = [&](const QString& title, const QString& label,
                     const QString& offered) -> std::optional<QString> {
    asked << title + "|" + label + "|" + offered;
    return answers.takeFirst();
  };
  form.SensThrClick();
  EXPECT_EQ(modals, QStringList{"Threshold Out of Order"});
  form.SensThrClick();
  EXPECT_EQ(asked.front(), "Set Sensetivity Threshold|Q-Thresh(A.U.)=|8");
  EXPECT_EQ(form.Params().q_threshold, 4);
  bool found = false;
  for (QAction* a : form.menuBar()->actions()) found |= a->text() == "Settings(R5,FWHM250)";
  EXPECT_TRUE(found);

  // "Resolve Close Spots": a checkable item of the settings menu, off at the
  // start, that sets the tracking parameters (and so the next Detect).
  QAction* resolve = nullptr;
  for (QAction* menu : form.menuBar()->actions())
    if (menu->menu())
      for (QAction* a : menu->menu()->actions())
        if (a->text() == "Resolve Close Spots") resolve = a;
  ASSERT_NE(resolve, nullptr);
  EXPECT_TRUE(resolve->isCheckable());
  EXPECT_FALSE(resolve->isChecked());
  EXPECT_FALSE(form.Params().resolve_close);
  resolve->trigger();
  EXPECT_TRUE(form.Params().resolve_close);
  form.DetectClick();
  form.FinishPlayback();
  EXPECT_TRUE(form.StatusText().endsWith(" completed tracks"));
  resolve->trigger();
  EXPECT_FALSE(form.Params().resolve_close);

  // The main window's keys reach the views.
  auto* view = form.findChild<SpotView*>();
  ASSERT_NE(view, nullptr);
  form.RunKeyCommand(SpotWindowCommand::kCurrentSpots);
  EXPECT_EQ(view->Mode(), SpotViewMode::kCurrentSpots);
  form.RunKeyCommand(SpotWindowCommand::kTracksInTime);
  EXPECT_EQ(view->Mode(), SpotViewMode::kTracksInTime);
  form.RunKeyCommand(SpotWindowCommand::kRefresh);
  EXPECT_EQ(view->Frame().width(), 128);
  view->resize(200, 200);
  QImage shot(200, 200, QImage::Format_RGB32);
  view->render(&shot);  // paints the tracks over the frame without failing
  fs::remove_all(dir);
}

// A checkable or plain item of any menu of the window, by caption.
QAction* Item(TSpotForm& form, const QString& text) {
  for (QAction* menu : form.menuBar()->actions())
    if (menu->menu())
      for (QAction* a : menu->menu()->actions()) {
        if (a->text() == text) return a;
        if (a->menu())
          for (QAction* b : a->menu()->actions())
            if (b->text() == text) return b;
      }
  return nullptr;
}

std::string FirstLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  return line;
}

TEST(SpotForm, StatisticsExportsOptionsAndBatchFlag) {
  App();
  const fs::path dir = fs::temp_directory_path() / "lumetra_spot_form_exports_test";
  fs::create_directories(dir);
  SimulationParams p;
  p.width = p.height = 96;
  p.frames = 16;
  p.spots = 5;
  p.seed = 5;
  const std::string path = (dir / "cell.xkv").string();
  CollectingReporter sim;
  ASSERT_TRUE(SimulateRecord(p, path, sim));
  auto record = RecordStore::Create(sim);
  ASSERT_TRUE(record->Open(path, sim));
  TSpotForm form(*record);
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  QString next_file;
  int asked = 0;
  form.AskSaveFile = [&](const QString&, const QString&) {
    ++asked;
    return next_file;
  };

  // Before Detect the map is empty, and that is said.
  form.SaveSpotsInMapClick();
  EXPECT_EQ(modals, QStringList{QString::fromUtf8(kSpotMapEmpty.data(), kSpotMapEmpty.size())});
  modals.clear();

  QAction* map = Item(form, "Build Spot Map");
  QAction* filaments = Item(form, "Track Filaments");
  ASSERT_TRUE(map && filaments);
  EXPECT_FALSE(filaments->isChecked());
  map->trigger();
  form.DetectClick();
  form.FinishPlayback();
  form.LinkTracksClick();
  form.FinishPlayback();
  ASSERT_GE(form.Tracks().completed_count, 2);

  struct Case {
    const char* item;
    const char* file;
    const char* header;
  };
  for (const Case& c :
       {Case{"Save Velocity (TXT)", "v.txt", "Velocity(um/s)\tTrack_Length"},
        Case{"Save Dlat vs Distance to Outline (TXT)", "d.txt",
             "DistanceToEdge\tMobility(Dlat(um2/s)"},
        Case{"Save Distributions (TXT)", "dist.txt", "Intensity_Distribution"},
        Case{"Save Intensity Distribution in Record (TXT)", "i.txt", "Intensity_Distribution"},
        Case{"Save Spots in Map (TXT)", "m.txt", "FrNum\tInt(c/pix)\tX(um)\tY(um)"}}) {
    SCOPED_TRACE(c.item);
    QAction* a = Item(form, c.item);
    ASSERT_NE(a, nullptr);
    next_file = QString::fromStdString((dir / c.file).string());
    a->trigger();
    EXPECT_EQ(FirstLine((dir / c.file).string()), c.header);
  }
  EXPECT_TRUE(modals.isEmpty()) << modals.join("|").toStdString();

  // The column options through their handlers.
  QAction* time = Item(form, "Include Time");
  QAction* xy = Item(form, "X and Y");
  ASSERT_TRUE(time && xy);
  form.IncludeTimeClick();
  EXPECT_TRUE(time->isChecked());
  time->trigger();
  EXPECT_FALSE(time->isChecked());
  form.SaveXYasTXTClick();
  EXPECT_TRUE(xy->isChecked());
  EXPECT_FALSE(Item(form, "Intensity, X and Y")->isChecked());

  // With the batch flag the XKI file goes to its batch name without a dialog.
  asked = 0;
  form.SetBatchMode(true);
  const std::string batch = (dir / "cell-R5L10q8c500.xki").string();
  EXPECT_EQ(form.BatchXkiName().toStdString(), batch);
  form.SaveXKIfileClick();
  EXPECT_EQ(asked, 0);
  EXPECT_GT(fs::file_size(batch), 0u);
  form.SetBatchMode(false);

  // Reading tracks tells the main window to show the frame's time again.
  int reads = 0;
  QObject::connect(&form, &TSpotForm::TracksRead, [&] { ++reads; });
  form.AskOpenFile = [&](const QString&, const QString&) { return QString::fromStdString(batch); };
  form.ReadXKIfileClick();
  EXPECT_EQ(reads, 1);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace lumetra
