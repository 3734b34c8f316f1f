// The tracking window under the offscreen platform: Detect and Link Tracks
// through its playback, the setting commands, XKI files and the key commands.
#include "spots/gui/spot_form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCoreApplication>
#include <QMenu>
#include <QMenuBar>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "graph/gui/xk_graph.h"
#include "graph/ticks.h"
#include "record/simulator.h"
#include "spots/gui/spot_view.h"
#include "spots/spot_finder.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// A simulated 128 x 128 record in its own folder, open in a store.
struct SimRecord {
  explicit SimRecord(const char* name, int frames = 20) {
    dir = fs::temp_directory_path() / name;
    fs::create_directories(dir);
    SimulationParams p;
    p.width = p.height = 128;
    p.frames = frames;
    p.spots = 6;
    p.seed = 4;
    path = (dir / "sim.xkv").string();
    CollectingReporter rep;
    SimulateRecord(p, path, rep);
    record = RecordStore::Create(rep);
    record->Open(path, rep);
  }
  ~SimRecord() { fs::remove_all(dir); }
  fs::path dir;
  std::string path;
  std::unique_ptr<RecordStore> record;
};

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
  // Before Detect the empty graph has three Y labels, not eleven.
  EXPECT_EQ(form.DistanceGraph().Y0.Tick, 5);
  form.DetectClick();
  EXPECT_TRUE(form.Playing());
  form.FinishPlayback();
  EXPECT_FALSE(form.Playing());
  EXPECT_TRUE(form.StatusText().endsWith(" completed tracks"));
  const int32_t completed = form.Tracks().completed_count;
  EXPECT_EQ(form.DistanceGraph().TitleX, "Min. Distance (um)");
  EXPECT_EQ(form.DistanceGraph().Data.RowLength, 50);
  {
    // The histogram's Y labels keep apart in the short pane of a small
    // record: a few ticks, not the nine a wish of five can give.
    const GraphAxis& y = form.DistanceGraph().Y0;
    EXPECT_LE(AxisTicks(y.First, y.Last, y.Tick).Count(), 6);
  }
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

// The status bar counts the frames of a pass and says when it was stopped;
// the read-out of the pass stays the one of the tracking window.
TEST(SpotForm, PassesShowProgressAndStop) {
  App();
  SimRecord sim("lumetra_spot_form_progress", 30);
  TSpotForm form(*sim.record);
  form.DetectClick();
  EXPECT_EQ(form.ProgressText(), "frame 1 of 30 (Esc stops)");
  for (int i = 0; i < 5 && form.Playing(); ++i) QCoreApplication::processEvents();
  ASSERT_TRUE(form.Playing());
  EXPECT_TRUE(form.ProgressText().startsWith("frame ")) << form.ProgressText().toStdString();
  EXPECT_TRUE(form.ProgressText().endsWith(" of 30 (Esc stops)"));
  form.StopClick();
  form.FinishPlayback();
  EXPECT_TRUE(form.ProgressText().startsWith("stopped at frame "))
      << form.ProgressText().toStdString();
  EXPECT_TRUE(form.ProgressText().endsWith(" of 30"));
  EXPECT_TRUE(form.StatusText().endsWith(" completed tracks"));

  form.DetectClick();
  form.FinishPlayback();
  EXPECT_EQ(form.ProgressText(), "");
  form.LinkTracksClick();
  EXPECT_EQ(form.ProgressText(), "frame 1 of 30 (Esc stops)");
  form.FinishPlayback();
  EXPECT_EQ(form.ProgressText(), "");
  EXPECT_TRUE(form.StatusText().endsWith(" - truncated)"));
}

// Before tracks that are not saved are lost the window asks: Cancel and a
// cancelled save keep them, Discard drops them, a save clears the question.
TEST(SpotForm, UnsavedTracksAreAskedFor) {
  App();
  SimRecord sim("lumetra_spot_form_unsaved");
  TSpotForm form(*sim.record);
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  int asked = 0;
  TSpotForm::UnsavedAnswer answer = TSpotForm::UnsavedAnswer::kCancel;
  form.AskUnsavedTracks = [&] {
    ++asked;
    return answer;
  };
  QString save_to;
  form.AskSaveFile = [&](const QString&, const QString&) { return save_to; };
  EXPECT_TRUE(form.MayDropTracks()) << "no tracks, nothing to ask";
  EXPECT_EQ(asked, 0);

  form.DetectClick();
  // A pass under way is stopped first; after one frame it has no track to lose.
  EXPECT_TRUE(form.Playing());
  EXPECT_TRUE(form.MayDropTracks());
  EXPECT_FALSE(form.Playing());
  EXPECT_EQ(asked, 0);
  form.DetectClick();
  form.FinishPlayback();
  ASSERT_GT(form.Tracks().completed_count, 0);
  struct Case {
    TSpotForm::UnsavedAnswer answer;
    const char* path;
    bool may_drop;
    bool unsaved_after;
  };
  const std::string xki = (sim.dir / "t.xki").string();
  const Case cases[] = {
      {TSpotForm::UnsavedAnswer::kCancel, "", false, true},
      {TSpotForm::UnsavedAnswer::kDiscard, "", true, true},
      {TSpotForm::UnsavedAnswer::kSave, "", false, true},  // the save dialog was cancelled
      {TSpotForm::UnsavedAnswer::kSave, xki.c_str(), true, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.answer));
    SCOPED_TRACE(c.path);
    answer = c.answer;
    save_to = QString::fromStdString(c.path);
    EXPECT_EQ(form.MayDropTracks(), c.may_drop);
    EXPECT_EQ(form.HasUnsavedTracks(), c.unsaved_after);
  }
  EXPECT_TRUE(fs::exists(xki));
  asked = 0;
  EXPECT_TRUE(form.MayDropTracks());
  EXPECT_EQ(asked, 0) << "saved tracks are not asked for";
  form.LinkTracksClick();
  form.FinishPlayback();
  EXPECT_TRUE(form.HasUnsavedTracks()) << "Link Tracks changed them";
  form.AskOpenFile = [&](const QString&, const QString&) { return QString::fromStdString(xki); };
  form.ReadXKIfileClick();
  EXPECT_FALSE(form.HasUnsavedTracks()) << "tracks read from a file";
  EXPECT_TRUE(modals.isEmpty()) << modals.join("|").toStdString();
}

// Current Spots shows the spots of the frame the record is at, and "Save
// Current Spots" writes them; the save dialog offers the record's name.
TEST(SpotForm, CurrentSpotsAreThoseOfTheShownFrame) {
  App();
  SimRecord sim("lumetra_spot_form_current");
  TSpotForm form(*sim.record);
  form.DetectClick();
  form.FinishPlayback();
  auto* view = form.findChild<SpotView*>();
  ASSERT_NE(view, nullptr);
  form.CurrentSpotsClick();
  EXPECT_EQ(view->SpotsFrame(), 19);
  CollectingReporter rep;
  ASSERT_TRUE(sim.record->GoToFrame(5, rep));
  form.ShowCurrentFrame();
  EXPECT_EQ(view->FrameShown(), 5);
  EXPECT_EQ(view->SpotsFrame(), 5);

  SpotFinder fresh;
  fresh.DetectFrame(sim.record->FrameBuffer(), 128, 128, sim.record->Prm().ScaleX, form.Params(),
                    rep);
  ASSERT_GT(fresh.ObjectCount(), 0);
  const fs::path out = sim.dir / "spots.txt";
  form.AskSaveFile = [&](const QString&, const QString&) {
    return QString::fromStdString(out.string());
  };
  form.SaveCurSpotsClick();
  EXPECT_EQ(ReadAll(out), CurrentSpotsText(fresh.Objects()));
  // A new threshold is seen at once: no spot reaches Q = 10000.
  form.AskText = [](const QString&, const QString&, const QString&) -> std::optional<QString> {
    return QStringLiteral("10000");
  };
  form.SensThrClick();
  ASSERT_NE(view->Spots(), nullptr);
  EXPECT_TRUE(view->Spots()->empty());
  EXPECT_EQ(view->SpotsFrame(), 5);

  struct Case {
    const char* filter;
    const char* name;
  };
  const Case cases[] = {
      {"XKI files (*.xki)", "sim.xki"}, {"Text files (*.txt)", "sim.txt"}, {"All Files", ""}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.filter);
    const QString offer = form.DefaultSaveName(QString::fromLatin1(c.filter));
    EXPECT_EQ(offer.isEmpty() ? std::string() : fs::path(offer.toStdString()).filename().string(),
              c.name);
  }
  EXPECT_EQ(fs::path(form.DefaultSaveName("XKI files (*.xki)").toStdString()).parent_path(),
            sim.dir);
}

// The settings items start with their captions of the start; a change from
// the main window or from the window's own setter rebuilds only its caption
// and the settings menu's.
TEST(SpotForm, SettingsCaptionsFollowTheSettings) {
  App();
  SimRecord sim("lumetra_spot_form_captions", 14);
  TSpotForm form(*sim.record);
  Settings settings;
  form.UseSettings(&settings);
  auto texts = [&] {
    QStringList t;
    for (QAction* menu : form.menuBar()->actions())
      if (menu->text().startsWith("Settings")) {
        t << menu->text();
        for (QAction* a : menu->menu()->actions())
          if (!a->isCheckable()) t << a->text();
      }
    return t.join("|").toStdString();
  };
  EXPECT_EQ(texts(),
            "Settings( R5 L10 Q8 C500 )|Max.Radius=5pix|TrackLen >=10 steps |Q-thresh=8|"
            "Cluster Thresh=500");
  settings.FwhmNm = 300;
  form.MainSettingsChanged();
  EXPECT_EQ(form.Params().fwhm_nm, 300);
  EXPECT_EQ(texts(),
            "Settings(R5,FWHM300)|Max.Radius=5pix|TrackLen >=10 steps |Q-thresh=8|"
            "Cluster Thresh=500");
  settings.MaxTrackingJump = 7;
  form.MainSettingsChanged();
  EXPECT_EQ(form.Params().max_radius, 7);
  EXPECT_EQ(texts(),
            "Settings(R7,FWHM300)|Max.(R)adius=7 pix|TrackLen >=10 steps |Q-thresh=8|"
            "Cluster Thresh=500");
  form.AskText = [](const QString&, const QString&, const QString&) -> std::optional<QString> {
    return QStringLiteral("600");
  };
  form.ClustThrClick();
  EXPECT_EQ(settings.ClusterThreshold, 600);
  EXPECT_EQ(texts(),
            "Settings(R7,FWHM300)|Max.(R)adius=7 pix|TrackLen >=10 steps |Q-thresh=8|"
            "(C)lastThr=600 counts/pixel");
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

namespace lumetra {
namespace {

TEST(SpotForm, StatisticsMenuDrawsViewsAndSavesTables) {
  App();
  SimRecord sim("lumetra_spot_form_statistics_test", 40);
  TSpotForm form(*sim.record);
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  QString next_file;
  form.AskSaveFile = [&](const QString&, const QString&) { return next_file; };
  // Without tracks every view says so and draws nothing.
  form.StatMsdClick();
  EXPECT_EQ(modals, QStringList{QString::fromUtf8(kStatNoTracks.data(), kStatNoTracks.size())});
  EXPECT_EQ(form.StatisticsGraph(), nullptr);
  modals.clear();

  form.DetectClick();
  form.FinishPlayback();
  form.LinkTracksClick();
  form.FinishPlayback();
  form.StatMsdClick();
  ASSERT_NE(form.StatisticsGraph(), nullptr);
  EXPECT_TRUE(form.StatisticsSummary().startsWith(QStringLiteral("D=")));
  EXPECT_NE(form.StatisticsGraph()->TitleX.find("lag"), std::string::npos);
  // The drift needs its option; with it checked the view draws.
  form.StatDriftClick();
  EXPECT_EQ(modals.size(), 1);
  QAction* drift = nullptr;
  for (QAction* menu : form.menuBar()->actions())
    for (QAction* a : menu->menu()->actions())
      if (a->text() == QStringLiteral("Correct Drift")) drift = a;
  ASSERT_NE(drift, nullptr);
  drift->trigger();
  form.StatDriftClick();
  EXPECT_EQ(modals.size(), 1);
  EXPECT_NE(form.StatisticsGraph()->TitleY0.find("drift"), std::string::npos);

  next_file = QString::fromStdString((sim.dir / "d.tsv").string());
  form.SaveDiffusionTSVClick();
  EXPECT_EQ(ReadAll(sim.dir / "d.tsv").substr(0, 16), "track\tpoints\tD_u");
  next_file = QString::fromStdString((sim.dir / "c.xki").string());
  form.SaveDriftCorrectedXKIClick();
  EXPECT_TRUE(fs::exists(sim.dir / "c.xki"));
  // The drift-corrected record: every frame written, the record back where it was.
  sim.record->GoToFrame(7, form.Messages());
  next_file = QString::fromStdString((sim.dir / "c.xkv").string());
  form.SaveDriftCorrectedRecordClick();
  EXPECT_EQ(modals.size(), 1);
  EXPECT_EQ(sim.record->CurrentFrame(), 7);
  CollectingReporter rep;
  auto corrected = RecordStore::Create(rep);
  ASSERT_TRUE(corrected && corrected->Open((sim.dir / "c.xkv").string(), rep));
  EXPECT_EQ(corrected->FrameCount(), 40);
  EXPECT_EQ(corrected->Width(), sim.record->Width());
}

}  // namespace
}  // namespace lumetra
