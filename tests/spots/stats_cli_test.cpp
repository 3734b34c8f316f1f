// lumetra-cli stats on track tables and XKI files: the summary line, the
// per-track table, the refusals, and the simulator's populations and drift.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/cli_common.h"
#include "record/simulator.h"
#include "spots/track_simulation.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

std::string Slurp(const fs::path& p) {
  std::ifstream in(p);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class StatsCli : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("lumetra_stats_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
    TrackSimulation sim;
    sim.tracks = 200;
    sim.points = 40;
    sim.diffusion = {0.2};
    sim.frame_s = 0.05;
    sim.sigma_um = 0.02;
    sim.drift_x_um = 0.02;
    sim.seed = 9;
    TrackSet set = SimulateTracks(sim).set;
    set.tracks[0].x_um.resize(2);  // a track of 2 points, left out
    set.tracks[0].y_um.resize(2);
    set.tracks[0].intensity.resize(2);
    tsv_ = (dir_ / "t.tsv").string();
    std::ofstream(tsv_) << TidyTextFromTrackSet(set);
  }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path dir_;
  std::string tsv_;
};

TEST_F(StatsCli, SummaryTablesAndDriftCorrection) {
  const std::string d = (dir_ / "d.tsv").string(), drift = (dir_ / "drift.tsv").string(),
                    xki = (dir_ / "c.xki").string(), msd = (dir_ / "m.tsv").string();
  ::testing::internal::CaptureStdout();
  const int code = cli::RunStats({tsv_, "--frame-s", "0.05", "--nm-per-pixel", "100", "--diffusion",
                                  d, "--msd", msd, "--max-lag", "5", "--drift", drift,
                                  "--corrected", xki});
  const std::string out = ::testing::internal::GetCapturedStdout();
  ASSERT_EQ(code, 0) << out;
  const std::string first = out.substr(0, out.find('\n'));
  double d_mid = 0, d_low = 0, d_high = 0;
  char tail = 0;
  ASSERT_EQ(std::sscanf(first.c_str(), "D=%lf um2/s [%lf, %lf%c", &d_mid, &d_low, &d_high, &tail), 4)
      << first;
  EXPECT_EQ(tail, ']') << first;
  // Corrected for the drift, the tracks give the true D inside the interval.
  EXPECT_LE(d_low, 0.2);
  EXPECT_GE(d_high, 0.2);
  EXPECT_NE(out.find("tracks=199 "), std::string::npos) << out;
  const size_t at = out.find("drift=");
  ASSERT_NE(at, std::string::npos) << out;
  EXPECT_NEAR(std::stod(out.substr(at + 6)), 20, 5) << out;  // 1.6 nm/frame scatter here
  const std::string table = Slurp(d);
  EXPECT_EQ(table.substr(0, table.find('\n') + 1),
            "track\tpoints\tD_um2_s\tD_low\tD_high\tsigma_nm\tsnr\tmethod\n");
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 200);
  EXPECT_NE(Slurp(msd).find("ensemble\t5\t0.25\t"), std::string::npos);
  // The corrected XKI reads back with the drift gone.
  ::testing::internal::CaptureStdout();
  ASSERT_EQ(cli::RunStats({xki, "--frame-s", "0.05", "--drift", drift}), 0);
  const std::string again = ::testing::internal::GetCapturedStdout();
  EXPECT_NE(again.find("drift=0.000, 0.000"), std::string::npos) << again;
}

TEST_F(StatsCli, RefusesWhatItCannotUse) {
  const auto fails = [&](std::vector<std::string> args, const std::string& says) {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int code = cli::RunStats(args);
    ::testing::internal::GetCapturedStdout();
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(code, 0);
    EXPECT_NE(err.find(says), std::string::npos) << err;
  };
  fails({tsv_, "--nm-per-pixel", "100", "--frame-s", "0"}, "Frame interval must be above 0 s");
  fails({tsv_, "--frame-s", "0.05"}, "Pixel size unknown");
  const std::string cols = (dir_ / "cols.tsv").string();
  std::ofstream(cols) << "track\tframe\tx_px\n0\t0\t1\n";
  fails({cols, "--frame-s", "0.05", "--nm-per-pixel", "100"}, "no column y_px");
  fails({tsv_, "--frame-s", "0.05", "--nm-per-pixel", "100", "--corrected-record", "o.xkv"},
        "--corrected-record needs --record");
  // A record of 20 frames under tracks of 40.
  SimulationParams p;
  p.width = p.height = 32;
  p.frames = 20;
  p.spots = 1;
  const std::string rec = (dir_ / "r.xkv").string();
  NullReporter quiet;
  ASSERT_TRUE(SimulateRecord(p, rec, quiet));
  fails({tsv_, "--record", rec}, "the tracks reach frame 39 (40 frames), the record has 20 frames");
}

TEST(Simulator, MixturesAndDriftLeavePlainRecordsAlone) {
  SimulationParams p;
  p.width = p.height = 200;
  p.frames = 30;
  p.spots = 400;
  const std::vector<TruthRow> plain = SimulateTruth(p);
  p.diffusions = {0.05, 0.5};
  p.fractions = {0.7, 0.3};
  p.drift_x_nm = 5;
  ASSERT_FALSE(CheckSimulationParams(p));
  EXPECT_TRUE(HasPopulationTruth(p));
  const std::vector<TruthRow> mix = SimulateTruth(p);
  int fast = 0;
  double step_slow = 0, step_fast = 0;
  for (int32_t i = 0; i < p.spots; ++i) {
    const TruthRow& a = mix[size_t(i)];
    const TruthRow& b = mix[size_t(p.spots + i)];
    (a.population == 1 ? step_fast : step_slow) += std::abs(b.y - a.y);
    fast += a.population == 1;
  }
  EXPECT_NEAR(fast / double(p.spots), 0.3, 0.07);
  EXPECT_GT(step_fast / fast, 2 * step_slow / (p.spots - fast));  // sqrt(10) apart
  // Frame 0 is where the plain record starts; the drift moves x only.
  EXPECT_DOUBLE_EQ(mix[0].x, plain[0].x);
  p.diffusions.clear();
  p.fractions.clear();
  const std::vector<TruthRow> drifted = SimulateTruth(p);
  EXPECT_NEAR(drifted[size_t(29 * p.spots)].x - plain[size_t(29 * p.spots)].x, 29 * 0.05, 1e-9);
  EXPECT_DOUBLE_EQ(drifted[size_t(29 * p.spots)].y, plain[size_t(29 * p.spots)].y);
  p.fractions = {1};
  EXPECT_TRUE(CheckSimulationParams(p));  // a fraction without a coefficient
}

}  // namespace
}  // namespace lumetra
