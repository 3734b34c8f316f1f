#include "steps/step_tests.h"

#include <algorithm>
#include <cmath>

#include "steps/steps_messages.h"

namespace lumetra {

void RunSTest(const float* x, int32_t n, int32_t t, int32_t window, StepScores& s,
              int32_t& rejected, Reporter& reporter) {
  s.s_test = 0;
  const int32_t w = std::max(window, 1);
  const int32_t nb = std::clamp(t, 0, n);
  const int32_t na = std::max(n - t - 1, 0);
  // The upper level divides by W and the lower by 10 whatever the frames at
  // hand: the lower level is always divided by 10, also when the record ends
  // sooner, so results match files written by earlier versions.
  float up_sum = 0;
  for (int32_t f = std::max(t - w, 0); f <= t - 1 && f < n; ++f) up_sum += x[f];
  const float upper = up_sum / static_cast<float>(w);
  float low_sum = 0;
  for (int32_t f = std::max(t + 1, 0); f <= t + 10 && f < n; ++f) low_sum += x[f];
  const float lower = low_sum * 0.1f;
  if (nb < 2 || na < 2) {
    reporter.Modal(kWrongTimingStest);
    return;
  }
  if (lower > upper) {
    ++rejected;
    s.good = false;
    return;
  }
  s.upper = upper;
  s.lower = lower;
  s.drop_amp = upper - lower;
  // The levels are means over the short windows; the deviations run over the
  // whole of each side.
  float before = 0, after = 0;
  for (int32_t f = 0; f < t; ++f) before += (upper - x[f]) * (upper - x[f]);
  for (int32_t f = t + 1; f < n; ++f) after += (lower - x[f]) * (lower - x[f]);
  s.s_up_sd = std::sqrt(before / static_cast<float>(nb - 1));
  s.s_dn_sd = std::sqrt(after / static_cast<float>(na - 1));
  if (s.s_up_sd == 0.0f || s.s_dn_sd == 0.0f) {
    reporter.Modal(kWrongSdStest);
    return;
  }
  s.s_test = 10.0f * s.drop_amp / std::sqrt(s.s_up_sd * s.s_up_sd + s.s_dn_sd * s.s_dn_sd);
}

void RunPTest(const float* x, int32_t n, int32_t d, int32_t r, StepScores& s, Reporter& reporter) {
  s.rise_amp = 0;
  s.p_test = 0;
  // A pulse rises at frame 9 or later and at least four frames before its drop.
  if (r > d - 4 || r < 9) return;
  // Base: the 10 frames before the rise and the 9 after the drop (the
  // asymmetry is deliberate); up: the frames between rise and drop.
  float base_sum = 0, up_sum = 0;
  int32_t base_count = 0, up_count = 0;
  for (int32_t f = std::max(r - 10, 0); f <= r - 1 && f < n; ++f, ++base_count) base_sum += x[f];
  for (int32_t f = d + 1; f <= d + 9 && f < n; ++f, ++base_count) base_sum += x[f];
  for (int32_t f = r + 1; f < d && f < n; ++f, ++up_count) up_sum += x[f];
  if (up_count < 2 || base_count == 0) return;
  const float up = up_sum / static_cast<float>(up_count);
  const float base = base_sum / static_cast<float>(base_count);
  float before = 0, after = 0, upper = 0;
  int32_t before_count = 0, after_count = 0;
  for (int32_t f = 0; f < r && f < n; ++f, ++before_count) before += (x[f] - base) * (x[f] - base);
  for (int32_t f = d + 1; f < n; ++f, ++after_count) after += (x[f] - base) * (x[f] - base);
  for (int32_t f = r + 1; f < d && f < n; ++f) upper += (x[f] - up) * (x[f] - up);
  if (before == 0.0f || after == 0.0f || upper == 0.0f) {
    reporter.Modal(kWrongSdPtest);
    return;
  }
  s.base = base;
  s.up = up;
  s.p_up_sd = std::sqrt(upper / static_cast<float>(up_count - 1));
  // One frame after the drop gives an infinite deviation and so a score of
  // 0; it is written as 0 rather than as an infinity.
  if (after_count < 2) return;
  s.p_dn_sd = std::sqrt(after / static_cast<float>(after_count - 1));
  const float rise = up - base;
  if (rise < 0) return;
  s.rise_amp = rise;
  s.p_test = 10.0f * rise /
             std::sqrt(s.p_up_sd * s.p_up_sd + after / static_cast<float>(after_count - 1) +
                       before / static_cast<float>(before_count - 1));
}

std::vector<float> StepFilterResponse(const float* x, int32_t n, int32_t window) {
  const int32_t w = std::max(window, 1);
  std::vector<float> response(static_cast<size_t>(std::max(n, 0)), 0.0f);
  std::vector<float> taps(static_cast<size_t>(2 * w + 1), 0.0f);
  const float tap = 1.0f / static_cast<float>(w);
  for (int32_t k = 0; k < w; ++k) {
    taps[static_cast<size_t>(k)] = tap;
    taps[static_cast<size_t>(w + 1 + k)] = -tap;
  }
  for (int32_t i = 0; i < n - 2 * w - 1; ++i) {
    float sum = 0;
    for (int32_t k = 0; k <= 2 * w; ++k) sum += x[i + k] * taps[static_cast<size_t>(k)];
    response[static_cast<size_t>(i + w)] = sum;
  }
  return response;
}

void RunMSTest(const float* x, int32_t n, int32_t window, int32_t max_steps, StepScores& s) {
  s.ms_test = 0;
  const int32_t w = std::max(window, 1);
  const std::vector<float> resp = StepFilterResponse(x, n, w);
  auto at = [&](int32_t i) { return resp[static_cast<size_t>(i)]; };
  std::vector<int32_t> steps;
  float most_negative = 0;
  int32_t rise_frame = 0;
  const int32_t half = w / 2;
  // Every local maximum of the response counts as a step: there is no
  // threshold on it. The scan stops at nine steps.
  for (int32_t j = w; j < n - w - 1 && static_cast<int32_t>(steps.size()) < kMaxMsSteps; ++j) {
    bool peak = true;
    for (int32_t i = j - half; i <= j - 1 && peak; ++i) peak = !(at(i + 1) < at(i));
    for (int32_t i = j; i <= j + half - 1 && peak; ++i) peak = !(at(i) < at(i + 1));
    if (peak) steps.push_back(j + 1);
    if (at(j) < most_negative) {
      most_negative = at(j);
      rise_frame = j;
    }
  }
  const int32_t count = static_cast<int32_t>(steps.size());
  if (count < 2 || count > max_steps) return;
  std::vector<float> levels(static_cast<size_t>(count + 1));
  const float w_float = static_cast<float>(w);
  for (int32_t k = 0; k < count; ++k) {
    float sum = 0;
    for (int32_t f = steps[static_cast<size_t>(k)] - w; f < steps[static_cast<size_t>(k)]; ++f)
      sum += x[f];
    levels[static_cast<size_t>(k)] = sum / w_float;
  }
  {
    float sum = 0;
    const int32_t last = steps.back();
    for (int32_t f = last; f < last + w && f < n; ++f) sum += x[f];
    levels[static_cast<size_t>(count)] = sum / w_float;
  }
  // The staircase: level 0 up to the first step, level k from step k - 1 to
  // step k, the last level from the last step on.
  auto stair = [&](int32_t f) {
    int32_t k = 0;
    while (k < count && f >= steps[static_cast<size_t>(k)]) ++k;
    return levels[static_cast<size_t>(k)];
  };
  const int32_t first = steps.front(), last = steps.back();
  float resid = 0;
  for (int32_t f = std::max(first - w, 0); f <= last + w - 1 && f < n; ++f) {
    const float d = x[f] - stair(f);
    resid += d * d;
  }
  resid /= static_cast<float>(last + 2 * w - first);
  const float total = levels.front() - levels.back();
  s.ms_steps = count;
  s.ms_step_frames = steps;
  s.ms_levels = levels;
  s.ms_drop_amp = total;
  s.ms_test = resid > 0 ? 10.0f * (total / static_cast<float>(count)) / std::sqrt(resid) : 0.0f;
  if (total * 0.5f < -most_negative && rise_frame + w < last) s.ms_rise_amp = -most_negative;
}

}  // namespace lumetra
