// The tracking window under the offscreen platform: Detect and Link Tracks
// through its playback, the setting commands, XKI files and the key commands.
#include "spots/gui/spot_form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <filesystem>

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

}  // namespace
}  // namespace lumetra
