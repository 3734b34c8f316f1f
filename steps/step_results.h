// What the step analysis hands out: the results text of "Save TXT", the
// tables for scripts (one row per object, the traces in long form, the maps
// per pixel) and the amplitude and time distributions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/report.h"
#include "steps/drop_rise_maps.h"
#include "steps/step_passes.h"
#include "steps/step_tests.h"

namespace lumetra {

enum class StepTest { kS, kP, kMS };

// The results text: kResultsHeader, then one row per object: drTm (drop
// frame), dropA, rsTm (rise frame), riseA, downA (the level after the drop),
// upSD, dnSD, S-test, P-test, Xpos, Ypos. Amplitudes and deviations follow the
// test on show (the P-test's pair for the P-test, the MS-test's total drop for
// the MS-test); numbers have two decimals, as the track texts' intensities.
std::string ResultsText(const TraceSet& traces, const std::vector<StepScores>& scores,
                        StepTest shown);
// kStepTableHeader and one row per object, every test's scores.
std::string StepTableText(const TraceSet& traces, const std::vector<StepScores>& scores);
// kTraceTableHeader and one row per object and played frame.
std::string TraceTableText(const TraceSet& traces);
// kMapTableHeader and one row per pixel, row after row.
std::string MapTableText(const StepMaps& maps);

// Writes the text under a temporary name beside `path` and renames it when
// complete, so a failed write never leaves a half file under the real name.
// False after reporting "Can not Open File for Writing" or "File Writing Error".
bool WriteTextAtomically(const std::string& path, const std::string& text, Reporter& reporter);

// A distribution: counts[k] holds the values v with
// start + k * bin <= v < start + (k + 1) * bin; start is a whole multiple of bin.
struct Histogram {
  double bin = 1;
  double start = 0;
  std::vector<int32_t> counts;
};
Histogram MakeHistogram(const std::vector<float>& values, double bin);

}  // namespace lumetra
