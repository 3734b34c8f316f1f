// What a batch run is and the names of its outputs, which are written beside
// each record: the tracking window's XKI file, and the step-detection
// window's results text with the test and its thresholds in the name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "spots/spot_params.h"
#include "steps/step_analysis.h"

namespace lumetra {

enum class BatchKind { kTrack, kStest, kPtest, kMStest };

// "track", "stest", "ptest", "mstest".
std::optional<BatchKind> ParseBatchKind(std::string_view text);
std::string_view BatchKindName(BatchKind kind);

// The results text of a step batch: base + "-Stest" S-threshold (or "-Ptest"
// P-threshold, "-MStest" MS-threshold) + "w" W + "thr" drop threshold + ".txt",
// "cell3-Stest15w10thr10.txt" with the window's defaults.
std::string StepBatchFileName(const std::string& record_path, BatchKind kind,
                              const StepSettings& settings);

}  // namespace lumetra
