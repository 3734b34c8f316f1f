// The template detector is the default and its results must never move by a
// bit: whole tracking runs on simulated records (plain, crowded, dim with a
// low Q, close spots resolved, both passes and detection only) hashed against
// digests recorded before the dense detector and the automatic Q were added.
// Only the columns the table had then are hashed; the error columns are new.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "common/report.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "record/simulator.h"
#include "spots/track_export.h"
#include "spots/tracking_passes.h"
#include "spots/xki_file.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

uint64_t Fnv1a(const void* data, size_t n, uint64_t h = 1469598103934665603ull) {
  const auto* p = static_cast<const uint8_t*>(data);
  for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
  return h;
}

// The first six columns of every line of the tidy table.
std::string FirstSixColumns(const std::string& table) {
  std::string out;
  size_t at = 0;
  while (at < table.size()) {
    size_t end = table.find('\n', at);
    if (end == std::string::npos) end = table.size();
    const std::string line = table.substr(at, end - at);
    size_t cut = 0;
    for (int tabs = 0; tabs < 6 && cut != std::string::npos; ++tabs)
      cut = line.find('\t', tabs == 0 ? 0 : cut + 1);
    out += line.substr(0, cut) + '\n';
    at = end + 1;
  }
  return out;
}

struct Case {
  const char* name;
  int32_t spots;
  double photons;
  double diffusion;
  int32_t q;
  bool resolve_close;
  bool link_pass;
  uint64_t digest;
};

uint64_t RunCase(const Case& c, const fs::path& dir, int workers) {
  SimulationParams sim;
  sim.width = sim.height = 128;
  sim.frames = 25;
  sim.spots = c.spots;
  sim.photons = c.photons;
  sim.diffusion = c.diffusion;
  sim.seed = 7;
  const std::string path = (dir / (std::string(c.name) + ".xkv")).string();
  CollectingReporter rep;
  if (!fs::exists(path)) {
    EXPECT_TRUE(SimulateRecord(sim, path, rep));
  }
  auto record = RecordStore::Create(rep);
  EXPECT_TRUE(record && record->Open(path, rep));
  auto tracks = std::make_unique<TrackStore>();
  TrackingParams params;
  params.q_threshold = c.q;
  params.resolve_close = c.resolve_close;
  DetectPass detect(*tracks, params, rep, workers);
  Playback(*record, {&detect}).Run(rep);
  uint64_t h = Fnv1a(detect.EndReadOut().data(), detect.EndReadOut().size());
  if (c.link_pass) {
    LinkTracksPass link(*tracks, params, rep, workers);
    Playback(*record, {&link}).Run(rep);
    h = Fnv1a(link.EndReadOut().data(), link.EndReadOut().size(), h);
  }
  const std::vector<uint8_t> xki = EncodeXki(*tracks, {});
  h = Fnv1a(xki.data(), xki.size(), h);
  const std::string table = FirstSixColumns(TidyTracksText(*tracks, 100, 100));
  return Fnv1a(table.data(), table.size(), h);
}

TEST(DefaultDetector, ResultsAreThoseOfBefore) {
  const fs::path dir = fs::temp_directory_path() /
                       ("lumetra_golden_" +
                        std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
  fs::create_directories(dir);
  const Case cases[] = {
      {"plain", 8, 2000, 0.1, 8, false, true, 0xb62fe1a98eb35d33ull},
      {"crowded", 40, 2000, 0.3, 8, false, true, 0x1bd974e01d887221ull},
      {"crowded_close", 40, 2000, 0.3, 8, true, true, 0x2df493e8853c5c6bull},
      {"dim", 8, 300, 0.1, 2, false, true, 0xeb646b797520a7e1ull},
      {"detect_only", 40, 2000, 0.3, 8, false, false, 0xf4fec36425d31eacull},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const uint64_t one = RunCase(c, dir, 1);
    EXPECT_EQ(one, c.digest) << std::hex << "0x" << one;
    EXPECT_EQ(RunCase(c, dir, 2), one);
  }
  fs::remove_all(dir);
}

}  // namespace
}  // namespace lumetra
