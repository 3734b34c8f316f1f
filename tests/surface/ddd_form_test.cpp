// The 3D surface window under the offscreen platform: it draws the region,
// follows the region and the view, and saves pictures at the size asked.
#include "surface/gui/ddd_form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <filesystem>

#include "record/simulator.h"
#include "surface/surface_messages.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

QApplication& App() {
  static int argc = 1;
  static char name[] = "surface_gui_tests";
  static char* argv[] = {name, nullptr};
  static QApplication app(argc, argv);
  return app;
}

TEST(DDDform, DrawsFollowsAndSaves) {
  App();
  const fs::path dir = fs::temp_directory_path() / "lumetra_ddd_form";
  fs::create_directories(dir);
  CollectingReporter rep;
  SimulationParams p;
  p.width = 40;
  p.height = 30;
  p.frames = 2;
  const std::string rec = (dir / "sim.xkv").string();
  ASSERT_TRUE(SimulateRecord(p, rec, rep));
  auto store = RecordStore::Create(rep);
  ASSERT_TRUE(store->Open(rec, rep));
  Region region;
  std::vector<uint32_t> palette(store->MaxLevel(), 0x808080);
  DDDFormHost host;
  host.region = [&] { return region; };
  host.palette = [&]() -> const std::vector<uint32_t>& { return palette; };
  TDDDform form(*store, rep, host);
  form.resize(700, 560);
  form.show();
  form.FrameShown();
  EXPECT_FALSE(form.Picture().isNull());
  EXPECT_TRUE(form.StatusText().startsWith(QString::fromUtf8(kNoRegionWholeFrame.data())));
  region = Region{5, 5, 25, 6, true};  // one pixel high
  form.FrameShown();
  EXPECT_TRUE(form.StatusText().contains("20 x 1 pixels"));
  region = Region{50, 50, 60, 60, true};
  form.FrameShown();
  EXPECT_EQ(form.StatusText(), QString::fromUtf8(kRegionOutsideFrame.data()));

  region = Region{0, 0, 20, 20, true};
  SurfaceView v;
  v.blocks = true;
  v.tilt_deg = 60;
  form.SetView(v);
  EXPECT_TRUE(form.View().blocks);
  QString size = "10 x 10";
  form.AskText = [&](const QString&, const QString&, const QString&) { return size; };
  form.AskSaveFile = [&](const QString&, const QString&, const QString&) {
    return QString::fromStdString((dir / "view.png").string());
  };
  form.SavePNGClick();
  EXPECT_TRUE(rep.Contains(kSizeError));
  EXPECT_FALSE(fs::exists(dir / "view.png"));
  size = "300 x 200";
  form.SavePNGClick();
  ASSERT_TRUE(fs::exists(dir / "view.png"));
  EXPECT_GT(fs::file_size(dir / "view.png"), 300u * 200u * 3u);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace lumetra
