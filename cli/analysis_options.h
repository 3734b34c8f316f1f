// The options that set the tracking window's and the step-detection window's
// settings, shared by track, steps, batch and lumetra-mpi so that each takes
// the same names, ranges and refusals.
#pragma once

#include <string>

#include "cli/arg_parser.h"
#include "common/report.h"
#include "spots/spot_params.h"
#include "steps/step_analysis.h"

namespace lumetra::cli {

// --fwhm-nm, --radius, --min-length, --q, --cluster, --ini and the
// detection switches (--subtract-background, --resolve-close, --filaments).
ArgParser& AddTrackingOptions(ArgParser& p);
// The settings file first (with its own ranges), then the options given,
// checked against the window's ranges. False with `error` set.
bool ReadTrackingOptions(const ArgParser& p, TrackingParams& params, Reporter& reporter,
                         std::string& error);

// --spot, --window, --drop-threshold, --objects, --max-steps, --ini and
// --no-background.
ArgParser& AddStepOptions(ArgParser& p);
// The settings file first, then each option through its window command. False
// after a refusal: `error` holds the reason, or is empty when the window's
// own message went to the analysis's reporter. The settings file's
// messages go to `reporter`.
bool ReadStepOptions(const ArgParser& p, StepAnalysis& analysis, Reporter& reporter,
                     std::string& error);

}  // namespace lumetra::cli
