#include "area/gui/area_form.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <cmath>
#include <filesystem>
#include <memory>

#include "area/area_messages.h"
#include "graph/gui/xk_graph.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

QApplication& App() {
  static int argc = 1;
  static char name[] = "area_gui_tests";
  static char* argv[] = {name, nullptr};
  static QApplication app(argc, argv);
  return app;
}

std::string Record() {
  const std::string path = (std::filesystem::temp_directory_path() / "area_form.xkv").string();
  testing::XkvBuilder b;
  for (int f = 0; f < 20; ++f) {
    PRM_INFO p = testing::TestHeader(12, 12, 8, f * 200);
    std::vector<uint16_t> px(144, 10);
    for (int y = 4; y < 8; ++y)
      for (int x = 4; x < 8; ++x)
        px[y * 12 + x] = static_cast<uint16_t>(f < 5 ? 200 : 60 + 100 * (1 - std::exp(-(f - 5) / 4.0)));
    b.Frame(p, px);
  }
  b.Save(path);
  return path;
}

// The window on the test record, its message boxes collected.
struct Window {
  Window() {
    App();
    CollectingReporter open;
    store = RecordStore::Create(open);
    if (!store->Open(Record(), open)) {
      store.reset();
      return;
    }
    form = std::make_unique<TAreaForm>(*store);
    form->Messages().show_modal = [this](const QString& t) { boxes.push_back(t); };
  }
  std::unique_ptr<RecordStore> store;
  std::unique_ptr<TAreaForm> form;
  std::vector<QString> boxes;
};

TEST(AreaForm, CollectFitSaveAndBeads) {
  Window w;
  ASSERT_TRUE(w.store) << "the test record can not be opened";
  TAreaForm& form = *w.form;
  std::vector<QString>& boxes = w.boxes;
  AreaHost host;
  host.region = [] { return Region{3, 3, 9, 9, true}; };
  host.bead = [](int index) {
    TrackSeries t;
    t.id = index;
    t.x_um = {0.1, 0.2, 0.3};
    t.y_um = {0.5, 0.5, 0.6};
    t.intensity = {5, 5, 5};
    return t;
  };
  form.SetHost(host);

  // Every command of the list has its menu item.
  for (const char* name :
       {"ShowIntens", "ShowXY", "ShowIntXY", "ShowSpotInt", "ShowAbsVals", "Show1ver2",
        "ShowRMSDverTime", "ShowVelocity", "ShowStageXYZ", "Demp5", "Demp10", "Med3pt", "Med5pt",
        "Med7pt", "FirstDerivative", "FitBleaching", "FitRecovery", "FitSpotsCurve", "MSDver_dT",
        "CalcVar", "CalcKdiff", "CutTrack", "StretchedGraphs", "StretchGraph", "AutoScaling",
        "SetAxis", "SaveTXT", "SaveBmp", "Print"})
    EXPECT_NE(form.Item(QString::fromLatin1(name)), nullptr) << name;

  // Stop (Esc) ends the collection at once and says so.
  form.CollectClick();
  EXPECT_TRUE(form.Playing());
  form.StopClick();
  form.FinishPlayback();
  EXPECT_TRUE(form.ProgressText().startsWith(QStringLiteral("Stopped at frame"))) <<
      form.ProgressText().toStdString();
  form.Session().MarkSaved();

  form.CollectClick();
  EXPECT_TRUE(form.Playing());
  form.FinishPlayback();
  EXPECT_FALSE(form.Playing());
  ASSERT_EQ(form.Session().Trace().Points(), 20);
  EXPECT_TRUE(form.ProgressText().startsWith(QStringLiteral("Finished: 20")));

  form.FitRecoveryClick();
  EXPECT_EQ(form.Graph().Notes[3].rfind("Tau=", 0), 0u);
  EXPECT_EQ(form.Graph().Y0.First, 90.0);
  EXPECT_EQ(form.Graph().Y0.Last, 200.0);
  EXPECT_EQ(form.Graph().Y0.Tick, 10.0);

  const std::string out = (std::filesystem::temp_directory_path() / "area_form.txt").string();
  ASSERT_TRUE(form.SaveTable(QString::fromStdString(out)));
  EXPECT_FALSE(form.Session().Unsaved());

  // A bead from the main window's Page Up: its XY is drawn (the table was saved, no question).
  form.ShowBead(2);
  EXPECT_EQ(form.Session().View(), AreaView::kXY);
  EXPECT_EQ(form.Session().Source(), AreaSource::kBead);
  EXPECT_EQ(form.Graph().Notes[0], "Bead 3");

  // A new time course is unsaved: it is not dropped without asking.
  form.CollectClick();
  form.FinishPlayback();
  EXPECT_TRUE(form.Session().Unsaved());
  bool asked = false;
  form.AskYesNo = [&](const QString&, const QString&) {
    asked = true;
    return false;
  };
  form.CollectClick();
  EXPECT_TRUE(asked);
  EXPECT_FALSE(form.Playing());
  EXPECT_TRUE(boxes.empty());
}

// Collect > Tracked Object: the tracking window's track of the typed number
// becomes the time course; a wrong number or no tracks at all say why.
TEST(AreaForm, TrackedObjectTakesTheTypedTrack) {
  Window w;
  ASSERT_TRUE(w.store) << "the test record can not be opened";
  TAreaForm& form = *w.form;
  std::vector<QString>& boxes = w.boxes;
  QString typed = QStringLiteral("2");
  QString prompt;
  form.AskText = [&](const QString&, const QString& label, const QString&) {
    prompt = label;
    return std::optional<QString>(typed);
  };
  TrackSet set;
  AreaHost host;
  host.tracks = [&] { return set; };
  form.SetHost(host);

  form.TrackedObjectClick();
  ASSERT_EQ(boxes.size(), 1u);
  EXPECT_EQ(boxes[0], QStringLiteral("The tracking window holds no completed track"));

  set.timing.frame_s = 0.05;
  for (int id = 0; id < 2; ++id) {
    TrackSeries t;
    t.id = id;
    t.first_frame = 3;
    for (int k = 0; k < 12; ++k) {
      t.x_um.push_back(1.0 + 0.01 * k * (id + 1));
      t.y_um.push_back(2.0);
      t.intensity.push_back(100.0 + id);
    }
    set.tracks.push_back(t);
  }
  form.TrackedObjectClick();
  EXPECT_EQ(prompt, QStringLiteral("Track number (1-2)"));
  EXPECT_EQ(form.Session().Source(), AreaSource::kTrack);
  ASSERT_EQ(form.Session().Trace().Points(), 12);
  EXPECT_FLOAT_EQ(form.Session().Trace().intensity[0], 101.0f);
  EXPECT_FLOAT_EQ(form.Session().Trace().x_nm[1], 1020.0f) << "nm from the frame's corner";
  EXPECT_NEAR(form.Session().Trace().time[1] - form.Session().Trace().time[0], 0.05, 1e-6);
  // A track has positions: the diffusion commands take it.
  const size_t before = boxes.size();
  form.MSDver_dTClick();
  EXPECT_EQ(boxes.size(), before);

  form.Session().MarkSaved();
  typed = QStringLiteral("3");
  form.TrackedObjectClick();
  ASSERT_EQ(boxes.size(), before + 1);
  EXPECT_EQ(boxes.back(), QStringLiteral("Track number out of range (1-2)"));
  EXPECT_FLOAT_EQ(form.Session().Trace().intensity[0], 101.0f) << "the time course stays";
}

}  // namespace
}  // namespace lumetra
