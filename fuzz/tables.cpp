// The tab-separated tables the commands read (eval's track and truth tables,
// stats's tidy tracks, plot's table, eval-steps' results and true steps) on
// any text; the first byte picks the reader. What a reader accepts has the
// shape it promises, read from a file or from memory alike.
#include <string>
#include <string_view>
#include <vector>

#include "common/line_reader.h"
#include "fuzz/fuzz_support.h"
#include "graph/plot_table.h"
#include "spots/step_eval.h"
#include "spots/track_eval.h"
#include "spots/track_series.h"

namespace lumetra {
namespace {

enum Reader { kTrack, kTruth, kTidy, kPlot, kSteps, kTrueSteps, kReaders };

// One reader's result as text, so the two line sources can be compared.
std::string Read(uint8_t which, LineSource& lines, bool& ok) {
  std::string error, shape;
  switch (static_cast<Reader>(which % kReaders)) {
    case kTrack: {
      std::vector<TrackPoint> v;
      ok = ParseTrackTable(lines, v, error);
      for (const TrackPoint& p : v)
        shape += std::to_string(p.track) + ' ' + std::to_string(p.frame) + ';';
      break;
    }
    case kTruth: {
      std::vector<TruthPoint> v;
      ok = ParseTruthTable(lines, v, error);
      for (const TruthPoint& p : v) shape += std::to_string(p.particle) + ';';
      break;
    }
    case kTidy: {
      std::vector<TidyPoint> v;
      ok = ParseTidyTracks(lines, v, error);
      TrackSet set;
      if (ok && TrackSetFromTidy(v, 100.0, set, error)) {
        for (const TrackSeries& t : set.tracks) {
          FUZZ_CHECK(t.y_um.size() == t.x_um.size() && t.intensity.size() == t.x_um.size());
          FUZZ_CHECK(t.Frames() <= kMaxTrackFrames);
        }
        FrameIntervalFromTidy(v);
      }
      shape = std::to_string(v.size());
      break;
    }
    case kPlot: {
      const std::optional<PlotTable> t = ParsePlotTable(lines, error);
      ok = t.has_value();
      if (ok) {
        FUZZ_CHECK(t->names.size() >= 1);
        FUZZ_CHECK(t->matrix.size() == t->names.size() * static_cast<size_t>(t->points));
        shape = std::to_string(t->points) + 'x' + std::to_string(t->names.size());
      }
      break;
    }
    case kSteps: {
      std::vector<DetectedStep> v;
      ok = ReadStepResults(lines, StepTest::kS, v, error);
      shape = std::to_string(v.size());
      break;
    }
    case kTrueSteps: {
      std::vector<TrueStep> v;
      ok = ReadTrueSteps(lines, v, error);
      shape = std::to_string(v.size());
      break;
    }
    case kReaders:
      break;
  }
  // A refusal names what is wrong.
  if (!ok) FUZZ_CHECK(!error.empty());
  return shape;
}

}  // namespace
}  // namespace lumetra

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  lumetra::fuzz::ReadBothWays(data, size, lumetra::Read);
  return 0;
}
