// lumetra-cli render, run in-process on a simulated record and read back.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "cli/cli_common.h"
#include "display/lut_curve.h"
#include "display/palette.h"
#include "processing/frame_filters.h"
#include "record/record_store.h"
#include "record/simulator.h"
#include "tests/display/png_decode.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

class RenderCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    // One folder a test: CTest runs the tests of this fixture side by side.
    dir_ = fs::temp_directory_path() /
           (std::string("lumetra_render_") +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
    record_ = (dir_ / "sim.xkv").string();
    SimulationParams p;
    p.width = 40;
    p.height = 30;
    p.frames = 4;
    p.spots = 3;
    p.seed = 21;
    NullReporter quiet;
    ASSERT_TRUE(SimulateRecord(p, record_, quiet));
  }
  void TearDown() override { fs::remove_all(dir_); }

  fs::path dir_;
  std::string record_;
};

TEST_F(RenderCommand, WritesTheFrameAsTheWindowPaintsIt) {
  const std::string png = (dir_ / "f.png").string();
  ASSERT_EQ(
      cli::RunRender({record_, "--index", "2", "--palette", "grey", "--zoom", "3", "--out", png}),
      0);
  const Decoded d = DecodePng(png);
  ASSERT_EQ(d.width, 120u);
  ASSERT_EQ(d.height, 90u);

  NullReporter quiet;
  auto store = RecordStore::Create(quiet);
  ASSERT_TRUE(store->Open(record_, quiet));
  ASSERT_TRUE(store->GoToFrame(2, quiet));
  std::vector<uint32_t> pal;
  ASSERT_TRUE(BuildPalette(pal, store->MaxLevel(), kPaletteGrey, quiet));
  for (uint32_t y = 0; y < d.height; ++y) {
    for (uint32_t x = 0; x < d.width; ++x) {
      const uint16_t count = store->FrameBuffer()[(y / 3) * 40 + x / 3];
      ASSERT_EQ(d.pixels[y * d.width + x], pal[std::min<size_t>(count, pal.size() - 1)])
          << x << "," << y;
    }
  }
}

// Frame 2 through the 3-frame temporal median: each pixel the middle of its
// values in frames 0, 1 and 2, read without the filter.
TEST_F(RenderCommand, TemporalMedianFiltersTheFramesOnTheWay) {
  const std::string png = (dir_ / "m.png").string();
  ASSERT_EQ(cli::RunRender({record_, "--index", "2", "--palette", "grey", "--temporal-median", "3",
                            "--out", png}),
            0);
  const Decoded d = DecodePng(png);
  ASSERT_EQ(d.width, 40u);

  NullReporter quiet;
  auto store = RecordStore::Create(quiet);
  ASSERT_TRUE(store->Open(record_, quiet));
  std::vector<std::vector<uint16_t>> frames;
  for (int f = 0; f < 3; ++f) {
    if (f > 0) {
      ASSERT_TRUE(store->NextFrame(quiet));
    }
    frames.emplace_back(store->FrameBuffer(), store->FrameBuffer() + 40 * 30);
  }
  std::vector<uint32_t> pal;
  ASSERT_TRUE(BuildPalette(pal, store->MaxLevel(), kPaletteGrey, quiet));
  int differs_from_frame2 = 0;
  for (size_t i = 0; i < 40 * 30; ++i) {
    uint16_t v[3] = {frames[0][i], frames[1][i], frames[2][i]};
    std::sort(v, v + 3);
    ASSERT_EQ(d.pixels[i], pal[std::min<size_t>(v[1], pal.size() - 1)]) << i;
    differs_from_frame2 += v[1] != frames[2][i];
  }
  EXPECT_GT(differs_from_frame2, 0);  // the filter did something
}

// Frame 3 through a running sum of 2 and a 3 x 3 smoothing (smoothing first:
// its slot comes before the temporal ones), painted through a LUT range.
TEST_F(RenderCommand, FiltersAndLutCurveOnTheWay) {
  const std::string png = (dir_ / "f.png").string();
  ASSERT_EQ(cli::RunRender({record_, "--index", "3", "--palette", "grey", "--filter",
                            "sum:2,smooth", "--range", "100,900", "--out", png}),
            0);
  const Decoded d = DecodePng(png);
  NullReporter quiet;
  auto store = RecordStore::Create(quiet);
  ASSERT_TRUE(store->Open(record_, quiet));
  std::vector<std::vector<uint16_t>> frames;
  FilterScratch scratch;
  for (int f = 0; f < 4; ++f) {
    if (f > 0) {
      ASSERT_TRUE(store->NextFrame(quiet));
    }
    frames.emplace_back(store->FrameBuffer(), store->FrameBuffer() + 40 * 30);
    Smooth3(frames.back().data(), 40, 30, scratch);
  }
  std::vector<uint32_t> pal;
  ASSERT_TRUE(BuildPalette(pal, store->MaxLevel(), kPaletteGrey, quiet));
  LutCurve curve;
  curve.min = 100;
  curve.max = 900;
  const std::vector<uint32_t> table = ApplyLut(pal, curve);
  for (size_t i = 0; i < 40 * 30; ++i)
    ASSERT_EQ(d.pixels[i], table[std::min(65535, frames[2][i] + frames[3][i])]) << i;
}

TEST_F(RenderCommand, RefusesBadArguments) {
  const std::string png = (dir_ / "bad.png").string();
  EXPECT_EQ(cli::RunRender({record_, "--palette", "pink", "--out", png}), 2);
  EXPECT_EQ(cli::RunRender({record_, "--zoom", "0", "--out", png}), 2);
  EXPECT_EQ(cli::RunRender({record_, "--zoom", "31", "--out", png}), 2);
  EXPECT_EQ(cli::RunRender({record_}), 2);  // no --out
  EXPECT_EQ(cli::RunRender({record_, "--index", "4", "--out", png}), 1);
  EXPECT_EQ(cli::RunRender({record_, "--index", "-1", "--out", png}), 1);
  EXPECT_EQ(cli::RunRender({(dir_ / "none.xkv").string(), "--out", png}), 1);
  for (const char* m : {"0", "4", "9", "three"})
    EXPECT_EQ(cli::RunRender({record_, "--temporal-median", m, "--out", png}), 2) << m;
  for (const std::vector<std::string>& bad :
       {std::vector<std::string>{"--filter", "median9"}, {"--filter", "sum:99"},
        {"--lut", "gamma:99"}, {"--range", "9,3"}, {"--auto", "60"}, {"--threshold", "-2"},
        {"--auto", "1", "--range", "1,2"}}) {
    std::vector<std::string> args = {record_, "--out", png};
    args.insert(args.end(), bad.begin(), bad.end());
    EXPECT_EQ(cli::RunRender(args), 2) << bad[0] << " " << bad[1];
  }
  EXPECT_FALSE(fs::exists(png));
}

}  // namespace
}  // namespace lumetra
