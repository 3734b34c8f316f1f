// Scoring a step detector's results table against the step table of a
// simulated record: which true steps it found at a score threshold, how many
// objects it reported where nothing stepped, how far its step frames lie from
// the true ones, and how its amplitudes compare with the photons of the step.
//
// Matching, one object to one true step: an object counts when its score for
// the chosen test is above the threshold (score > T). It may match a true step
// whose position lies within `match_px` pixels of the object's pixel
// (Euclidean) and whose frame lies within `match_frames` frames of the
// object's step frame. Among all such pairs the closest in frames are taken
// first, then the closest in space, each object and each true step at most
// once. Objects above the threshold left unmatched are false positives.
//   S-test and MS-test: true drops, against drop_frame and drop_amp;
//   P-test: true rises (binding), against rise_frame and rise_amp.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/line_reader.h"

namespace lumetra {

enum class StepTest { kS, kP, kMS };

// One row of a step detector's results table.
struct DetectedStep {
  int32_t object = 0;
  int32_t x = 0, y = 0;  // the object's pixel, x = column
  int32_t drop_frame = 0, rise_frame = 0;
  double drop_amp = 0, rise_amp = 0;  // counts per pixel of the spot box
  double s_test = 0, p_test = 0, ms_test = 0;
};

// One row of a simulator step table.
struct TrueStep {
  int32_t particle = 0;
  double x = 0, y = 0;  // pixels, pixel centres at whole numbers
  int32_t frame = 0;    // first frame showing the new level
  bool rise = false;
  double photons_before = 0, photons_after = 0;
};

// Tab-separated tables with a header line naming the columns; columns are
// found by name and extra ones are ignored. Results need object, x, y and the
// frame, amplitude and score columns of `test`; a score or amplitude written
// as nan, NA or left empty never passes a threshold. Step tables need
// particle, x, y, frame, kind (drop or rise), photons_before, photons_after.
// Lines are read through `lines`, which caps their length (a file) and names
// a line it cannot read. False with `error` set to "line N: what is wrong"
// (or "the table is empty").
bool ReadStepResults(LineSource& lines, StepTest test, std::vector<DetectedStep>& out,
                     std::string& error);
bool ReadTrueSteps(LineSource& lines, std::vector<TrueStep>& out, std::string& error);

// How the detector turned photons into its amplitude: the trace is the mean
// of the (2R + 1)^2 box minus, with background subtraction, the surrounding
// ring of the (2R + 5)^2 box divided by 8, 40 or 56 (R = 0, 1, 2).
struct StepAmplitudeModel {
  int32_t half_size = 2;  // R
  bool background_subtracted = true;
  double sigma_px = 250.0 / 2.3548 / 100.0;  // of the Gaussian spot
};

// Counts of the detector's amplitude per photon of a step, for a Gaussian spot
// at (true_x, true_y) and the box centred on pixel (box_x, box_y).
double CountsPerPhoton(const StepAmplitudeModel& m, int32_t box_x, int32_t box_y, double true_x,
                       double true_y);

struct StepEvalOptions {
  StepTest test = StepTest::kS;
  double threshold = 15;
  double match_px = 2;
  int32_t match_frames = 3;
  StepAmplitudeModel amplitude;
};

struct StepEvalResult {
  int64_t true_steps = 0;  // of the kind the test looks for
  int64_t objects = 0;
  int64_t above_threshold = 0;
  int64_t true_positives = 0;
  int64_t false_positives = 0;
  std::vector<double> frame_errors;      // detected - true frame, per match
  std::vector<double> amplitude_ratios;  // detected / expected amplitude, per match

  double Recall() const;
  double FalsePositivesPerTrueStep() const;
};

StepEvalResult EvaluateSteps(const std::vector<DetectedStep>& objects,
                             const std::vector<TrueStep>& truth, const StepEvalOptions& options);

struct RocRow {
  double threshold = 0;
  int64_t true_positives = 0;
  int64_t false_positives = 0;
  double recall = 0;
  double fp_per_true_step = 0;
};

// The matching at thresholds 0, step, 2 step, ... up to the first one that no
// object's score exceeds. Empty when that would take more than `max_rows`.
std::vector<RocRow> StepRoc(const std::vector<DetectedStep>& objects,
                            const std::vector<TrueStep>& truth, const StepEvalOptions& options,
                            double step, size_t max_rows = 100000);

// Mean, median and root mean square; NaN for an empty set.
double MeanOf(const std::vector<double>& v);
double MedianOf(std::vector<double> v);
double RmsOf(const std::vector<double>& v);
// Sample standard deviation (n - 1); NaN below two values.
double SdOf(const std::vector<double>& v);

}  // namespace lumetra
