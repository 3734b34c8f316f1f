#include "spots/step_eval.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

#include "common/text_format.h"
#include "spots/spots_messages.h"

namespace lumetra {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string LinePrefix(int64_t line_no) {
  return "line " + std::to_string(line_no) + ": ";
}

// Reads the header and hands every data line's fields, in the order of
// `wanted`, to row(fields, line_no), which returns false after setting `error`.
template <typename Row>
bool ForEachRow(LineSource& lines, const std::vector<std::string_view>& wanted,
                std::string& error, Row&& row) {
  std::vector<size_t> cols;
  std::vector<std::string_view> fields(wanted.size());
  std::string_view line;
  int64_t line_no = 0;
  while (lines.Next(line)) {
    ++line_no;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty()) continue;
    const std::vector<std::string_view> f = SplitTabs(line);
    if (cols.empty()) {
      for (std::string_view w : wanted) {
        auto it = std::find(f.begin(), f.end(), w);
        if (it == f.end()) {
          error =
              LinePrefix(line_no) + std::string(kStepTableNoColumn) + " '" + std::string(w) + "'";
          return false;
        }
        cols.push_back(static_cast<size_t>(it - f.begin()));
      }
      continue;
    }
    for (size_t i = 0; i < cols.size(); ++i) {
      if (cols[i] >= f.size()) {
        error = LinePrefix(line_no) + std::string(kStepTableShortLine) + " '" +
                std::string(wanted[i]) + "'";
        return false;
      }
      fields[i] = f[cols[i]];
    }
    if (!row(fields, line_no)) return false;
  }
  if (!lines.Error().empty()) {
    error = lines.Error();
    return false;
  }
  if (cols.empty()) {
    error = std::string(kStepTableEmpty);
    return false;
  }
  return true;
}

std::string NotANumber(int64_t line_no, std::string_view column) {
  return LinePrefix(line_no) + "'" + std::string(column) + "' " + std::string(kStepTableNotNumber);
}

// A whole number that fits int32; a frame written as "12.0" is taken too.
bool ReadWhole(std::string_view text, int32_t& out) {
  const std::optional<double> v = ParseReal(text);
  if (!v || *v != std::floor(*v) || *v < INT32_MIN || *v > INT32_MAX) return false;
  out = static_cast<int32_t>(*v);
  return true;
}

// A score or amplitude: a number, or nan, NA or nothing for none.
bool ReadScore(std::string_view text, double& out) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  if (lower.empty() || lower == "nan" || lower == "na" || lower == "-nan") {
    out = kNaN;
    return true;
  }
  const std::optional<double> v = ParseReal(text);
  if (!v) return false;
  out = *v;
  return true;
}

double Score(const DetectedStep& d, StepTest test) {
  switch (test) {
    case StepTest::kS:
      return d.s_test;
    case StepTest::kP:
      return d.p_test;
    case StepTest::kMS:
      return d.ms_test;
  }
  return kNaN;
}

int32_t StepFrame(const DetectedStep& d, StepTest test) {
  return test == StepTest::kP ? d.rise_frame : d.drop_frame;
}

double Amplitude(const DetectedStep& d, StepTest test) {
  return test == StepTest::kP ? d.rise_amp : d.drop_amp;
}

bool Above(double score, double threshold) {
  return std::isfinite(score) && score > threshold;
}

// Photon fraction of a Gaussian (centre c, sigma s) on pixels lo..hi.
double Fraction(int32_t lo, int32_t hi, double c, double s) {
  const double k = 1.0 / (std::sqrt(2.0) * s);
  return 0.5 * (std::erf((hi + 0.5 - c) * k) - std::erf((lo - 0.5 - c) * k));
}

struct Pair {
  int32_t frame_diff;  // detected - true
  double d2;
  size_t object;
  size_t step;
};

// Every object-step pair within the match limits, in the order they are taken.
std::vector<Pair> CandidatePairs(const std::vector<DetectedStep>& objects,
                                 const std::vector<TrueStep>& truth, const StepEvalOptions& o) {
  const bool want_rise = o.test == StepTest::kP;
  const double r2 = o.match_px * o.match_px;
  std::vector<Pair> pairs;
  for (size_t s = 0; s < truth.size(); ++s) {
    const TrueStep& t = truth[s];
    if (t.rise != want_rise) continue;
    for (size_t k = 0; k < objects.size(); ++k) {
      const DetectedStep& d = objects[k];
      const double dx = d.x - t.x, dy = d.y - t.y;
      const double d2 = dx * dx + dy * dy;
      const int64_t df = static_cast<int64_t>(StepFrame(d, o.test)) - t.frame;
      if (d2 <= r2 && std::llabs(df) <= o.match_frames)
        pairs.push_back({static_cast<int32_t>(df), d2, k, s});
    }
  }
  std::sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) {
    const int32_t fa = std::abs(a.frame_diff), fb = std::abs(b.frame_diff);
    if (fa != fb) return fa < fb;
    if (a.d2 != b.d2) return a.d2 < b.d2;
    if (a.step != b.step) return a.step < b.step;
    return a.object < b.object;
  });
  return pairs;
}

int64_t CountTrueSteps(const std::vector<TrueStep>& truth, StepTest test) {
  const bool want_rise = test == StepTest::kP;
  return std::count_if(truth.begin(), truth.end(),
                       [&](const TrueStep& t) { return t.rise == want_rise; });
}

// Greedy one-to-one matching among objects above `threshold`; calls
// matched(pair) for each match and returns the number of objects above it.
template <typename Matched>
int64_t Match(const std::vector<DetectedStep>& objects, size_t step_count,
              const std::vector<Pair>& pairs, StepTest test, double threshold, Matched&& matched) {
  std::vector<bool> used_object(objects.size()), used_step(step_count);
  for (const Pair& p : pairs) {
    if (used_object[p.object] || used_step[p.step]) continue;
    if (!Above(Score(objects[p.object], test), threshold)) continue;
    used_object[p.object] = used_step[p.step] = true;
    matched(p);
  }
  return std::count_if(objects.begin(), objects.end(),
                       [&](const DetectedStep& d) { return Above(Score(d, test), threshold); });
}

}  // namespace

bool ReadStepResults(LineSource& lines, StepTest test, std::vector<DetectedStep>& out,
                     std::string& error) {
  out.clear();
  const char* frame = test == StepTest::kP ? "rise_frame" : "drop_frame";
  const char* amp = test == StepTest::kP ? "rise_amp" : "drop_amp";
  const char* score = test == StepTest::kS ? "s_test" : test == StepTest::kP ? "p_test" : "ms_test";
  const std::vector<std::string_view> wanted = {"object", "x", "y", frame, amp, score};
  return ForEachRow(lines, wanted, error, [&](const std::vector<std::string_view>& f, int64_t n) {
    DetectedStep d;
    int32_t step_frame = 0;
    double amplitude = 0, value = 0;
    const bool ok[] = {ReadWhole(f[0], d.object),  ReadWhole(f[1], d.x),
                       ReadWhole(f[2], d.y),       ReadWhole(f[3], step_frame),
                       ReadScore(f[4], amplitude), ReadScore(f[5], value)};
    for (size_t i = 0; i < wanted.size(); ++i)
      if (!ok[i]) {
        error = NotANumber(n, wanted[i]);
        return false;
      }
    (test == StepTest::kP ? d.rise_frame : d.drop_frame) = step_frame;
    (test == StepTest::kP ? d.rise_amp : d.drop_amp) = amplitude;
    (test == StepTest::kS ? d.s_test : test == StepTest::kP ? d.p_test : d.ms_test) = value;
    out.push_back(d);
    return true;
  });
}

bool ReadTrueSteps(LineSource& lines, std::vector<TrueStep>& out, std::string& error) {
  out.clear();
  const std::vector<std::string_view> wanted = {
      "particle", "x", "y", "frame", "kind", "photons_before", "photons_after"};
  return ForEachRow(lines, wanted, error, [&](const std::vector<std::string_view>& f, int64_t n) {
    TrueStep t;
    const std::optional<double> x = ParseReal(f[1]), y = ParseReal(f[2]), before = ParseReal(f[5]),
                                after = ParseReal(f[6]);
    const bool ok[] = {ReadWhole(f[0], t.particle),
                       x.has_value(),
                       y.has_value(),
                       ReadWhole(f[3], t.frame),
                       true,
                       before.has_value(),
                       after.has_value()};
    for (size_t i = 0; i < wanted.size(); ++i)
      if (!ok[i]) {
        error = NotANumber(n, wanted[i]);
        return false;
      }
    if (f[4] != "drop" && f[4] != "rise") {
      error = LinePrefix(n) + std::string(kStepTableBadKind) + " '" + std::string(f[4]) + "'";
      return false;
    }
    t.x = *x;
    t.y = *y;
    t.rise = f[4] == "rise";
    t.photons_before = *before;
    t.photons_after = *after;
    out.push_back(t);
    return true;
  });
}

double CountsPerPhoton(const StepAmplitudeModel& m, int32_t box_x, int32_t box_y, double true_x,
                       double true_y) {
  const int32_t r = m.half_size;
  const double inner = Fraction(box_x - r, box_x + r, true_x, m.sigma_px) *
                       Fraction(box_y - r, box_y + r, true_y, m.sigma_px);
  const double pixels = (2.0 * r + 1) * (2.0 * r + 1);
  if (!m.background_subtracted) return inner / pixels;
  const double outer = Fraction(box_x - r - 2, box_x + r + 2, true_x, m.sigma_px) *
                       Fraction(box_y - r - 2, box_y + r + 2, true_y, m.sigma_px);
  const double ring_divisor = r == 0 ? 8 : r == 1 ? 40 : 56;
  return inner / pixels - (outer - inner) / ring_divisor;
}

double StepEvalResult::Recall() const {
  return true_steps ? static_cast<double>(true_positives) / static_cast<double>(true_steps) : kNaN;
}

double StepEvalResult::FalsePositivesPerTrueStep() const {
  return true_steps ? static_cast<double>(false_positives) / static_cast<double>(true_steps) : kNaN;
}

StepEvalResult EvaluateSteps(const std::vector<DetectedStep>& objects,
                             const std::vector<TrueStep>& truth, const StepEvalOptions& o) {
  StepEvalResult res;
  res.true_steps = CountTrueSteps(truth, o.test);
  res.objects = static_cast<int64_t>(objects.size());
  const std::vector<Pair> pairs = CandidatePairs(objects, truth, o);
  res.above_threshold =
      Match(objects, truth.size(), pairs, o.test, o.threshold, [&](const Pair& p) {
        const DetectedStep& d = objects[p.object];
        const TrueStep& t = truth[p.step];
        ++res.true_positives;
        res.frame_errors.push_back(p.frame_diff);
        const double expected = std::abs(t.photons_after - t.photons_before) *
                                CountsPerPhoton(o.amplitude, d.x, d.y, t.x, t.y);
        const double amp = Amplitude(d, o.test);
        if (expected > 0 && std::isfinite(amp)) res.amplitude_ratios.push_back(amp / expected);
      });
  res.false_positives = res.above_threshold - res.true_positives;
  return res;
}

std::vector<RocRow> StepRoc(const std::vector<DetectedStep>& objects,
                            const std::vector<TrueStep>& truth, const StepEvalOptions& o,
                            double step, size_t max_rows) {
  std::vector<RocRow> rows;
  if (!(step > 0)) return rows;
  double top = 0;
  for (const DetectedStep& d : objects)
    if (std::isfinite(Score(d, o.test))) top = std::max(top, Score(d, o.test));
  // Thresholds k * step for k = 0 .. the first k with k * step >= top.
  const double last = std::ceil(top / step);
  if (last + 1 > static_cast<double>(max_rows)) return rows;
  const int64_t true_steps = CountTrueSteps(truth, o.test);
  const std::vector<Pair> pairs = CandidatePairs(objects, truth, o);
  for (int64_t k = 0; k <= static_cast<int64_t>(last); ++k) {
    RocRow row;
    row.threshold = static_cast<double>(k) * step;
    const int64_t above = Match(objects, truth.size(), pairs, o.test, row.threshold,
                                [&](const Pair&) { ++row.true_positives; });
    row.false_positives = above - row.true_positives;
    row.recall = true_steps ? static_cast<double>(row.true_positives) / true_steps : kNaN;
    row.fp_per_true_step =
        true_steps ? static_cast<double>(row.false_positives) / true_steps : kNaN;
    rows.push_back(row);
  }
  return rows;
}

double MeanOf(const std::vector<double>& v) {
  if (v.empty()) return kNaN;
  double s = 0;
  for (double x : v) s += x;
  return s / static_cast<double>(v.size());
}

double MedianOf(std::vector<double> v) {
  if (v.empty()) return kNaN;
  std::sort(v.begin(), v.end());
  const size_t n = v.size();
  return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

double RmsOf(const std::vector<double>& v) {
  if (v.empty()) return kNaN;
  double s = 0;
  for (double x : v) s += x * x;
  return std::sqrt(s / static_cast<double>(v.size()));
}

double SdOf(const std::vector<double>& v) {
  if (v.size() < 2) return kNaN;
  const double m = MeanOf(v);
  double s = 0;
  for (double x : v) s += (x - m) * (x - m);
  return std::sqrt(s / static_cast<double>(v.size() - 1));
}

}  // namespace lumetra
