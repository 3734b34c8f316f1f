// The three step tests on one object's trace: the S-test (one drop), the
// P-test (a pulse: a rise, then a drop) and the MS-test (a staircase of 2 to 9
// drops). Each score is the step amplitude over the combined noise of the two
// levels, times 10. Traces, levels and scores are single precision.
#pragma once

#include <cstdint>
#include <vector>

#include "common/report.h"

namespace lumetra {

inline constexpr int32_t kDefaultTestThreshold = 15;
inline constexpr int32_t kMaxMsSteps = 9;  // the MS-test's scan stops at nine steps
inline constexpr int32_t kMinMsStepsLimit = 2;

struct StepScores {
  // S-test.
  float upper = 0, lower = 0;  // levels before and after the drop
  float drop_amp = 0;          // dropA = upper - lower
  float s_up_sd = 0, s_dn_sd = 0;
  float s_test = 0;
  bool good = true;  // cleared when the trace rises across its drop frame
  // P-test.
  float base = 0, up = 0;
  float rise_amp = 0;  // riseA = up - base
  float p_up_sd = 0, p_dn_sd = 0;
  float p_test = 0;
  // MS-test.
  float ms_test = 0;
  float ms_drop_amp = 0;  // total drop, first level - last level
  float ms_rise_amp = 0;  // the largest rise response, when it is large and early enough
  int32_t ms_steps = 0;
  std::vector<int32_t> ms_step_frames;  // frames of the steps
  std::vector<float> ms_levels;         // ms_steps + 1 levels
};

// x: the trace, n: frames (after the frame limit), t: the drop frame, W the
// window length. `rejected` counts objects whose level rose across t.
void RunSTest(const float* x, int32_t n, int32_t t, int32_t window, StepScores& s,
              int32_t& rejected, Reporter& reporter);
// d: the drop frame, r: the rise frame.
void RunPTest(const float* x, int32_t n, int32_t d, int32_t r, StepScores& s, Reporter& reporter);
// `max_steps`: the window's limit, 2 to 9.
void RunMSTest(const float* x, int32_t n, int32_t window, int32_t max_steps, StepScores& s);

// The response of the MS-test's step filter at every frame (0 where it is not
// computed): mean of the W frames before minus mean of the W frames after.
std::vector<float> StepFilterResponse(const float* x, int32_t n, int32_t window);

}  // namespace lumetra
