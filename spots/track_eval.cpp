#include "spots/track_eval.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <climits>
#include <cstdint>
#include <unordered_map>

#include "common/text_format.h"
#include "spots/diffusion_estimators.h"

namespace lumetra {
namespace {

bool IsMissingValue(std::string_view s);

// Calls row(fields) for every data line; `cols` receives the index of each
// wanted column. False with `error` set.
template <typename Row>
bool ForEachRow(LineSource& lines, const std::vector<std::string_view>& wanted,
                std::string& error, Row&& row, size_t required = SIZE_MAX) {
  required = std::min(required, wanted.size());
  std::vector<size_t> cols;
  int64_t line_no = 0;
  std::vector<double> values(wanted.size());
  std::string_view line;
  while (lines.Next(line)) {
    ++line_no;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty()) continue;
    const std::vector<std::string_view> f = SplitTabs(line);
    if (cols.empty()) {
      for (std::string_view w : wanted) {
        auto it = std::find(f.begin(), f.end(), w);
        if (it == f.end() && cols.size() >= required) {
          cols.push_back(SIZE_MAX);  // an optional column that is absent: NaN
          continue;
        }
        if (it == f.end()) {
          error = "the header has no column '" + std::string(w) + "'";
          return false;
        }
        cols.push_back(static_cast<size_t>(it - f.begin()));
      }
      continue;
    }
    for (size_t i = 0; i < cols.size(); ++i) {
      if (cols[i] == SIZE_MAX) {
        values[i] = NAN;
        continue;
      }
      std::optional<double> v;
      if (cols[i] < f.size()) v = ParseReal(f[cols[i]]);
      // An optional column may say it has no value ("nan", as the track table writes).
      if (!v && i >= required && cols[i] < f.size() && IsMissingValue(f[cols[i]])) v = NAN;
      if (!v) {
        error = "line " + std::to_string(line_no) + ": column '" + std::string(wanted[i]) +
                "' is not a number";
        return false;
      }
      values[i] = *v;
    }
    row(values);
  }
  if (!lines.Error().empty()) {
    error = lines.Error();
    return false;
  }
  if (cols.empty()) {
    error = "the table is empty";
    return false;
  }
  return true;
}

bool IsMissingValue(std::string_view s) {
  return s.empty() || s == "nan" || s == "NaN" || s == "NA";
}

int64_t Key(int32_t frame, int32_t id) {
  return (static_cast<int64_t>(frame) << 32) | static_cast<uint32_t>(id);
}

}  // namespace

bool ParseTrackTable(std::string_view text, std::vector<TrackPoint>& out, std::string& error) {
  TextLines lines(text);
  return ParseTrackTable(lines, out, error);
}

bool ParseTruthTable(std::string_view text, std::vector<TruthPoint>& out, std::string& error) {
  TextLines lines(text);
  return ParseTruthTable(lines, out, error);
}

bool ParseTrackTable(LineSource& lines, std::vector<TrackPoint>& out, std::string& error) {
  out.clear();
  return ForEachRow(
      lines, {"track", "frame", "x_px", "y_px", "sigma_x_nm", "sigma_y_nm"}, error,
      [&](const std::vector<double>& v) {
        out.push_back({TruncToInt(v[0]), TruncToInt(v[1]), v[2], v[3], v[4], v[5]});
      },
      4);
}

bool ParseTruthTable(LineSource& lines, std::vector<TruthPoint>& out, std::string& error) {
  out.clear();
  return ForEachRow(
      lines, {"frame", "particle", "x", "y", "photons", "population", "D_um2_s"}, error,
      [&](const std::vector<double>& v) {
        out.push_back({TruncToInt(v[0]), TruncToInt(v[1]), v[2], v[3], v[4],
                       std::isnan(v[5]) ? -1 : TruncToInt(v[5]), v[6]});
      },
      5);
}

double EvalResult::RmsePerAxisPx() const {
  return matched ? std::sqrt(sum_sq_px / (2.0 * static_cast<double>(matched))) : 0.0;
}

double EvalResult::BoundPerAxisNm() const {
  return bounded ? std::sqrt(sum_sigma_sq_nm / (2.0 * static_cast<double>(bounded))) : NAN;
}

double EvalResult::ErrorOverBound() const {
  return bounded ? std::sqrt(sum_z_sq / (2.0 * static_cast<double>(bounded))) : NAN;
}

double EvalResult::Within95() const {
  return bounded ? static_cast<double>(axes_within_95) / (2.0 * static_cast<double>(bounded))
                 : NAN;
}

EvalResult EvaluateTracks(const std::vector<TrackPoint>& points,
                          const std::vector<TruthPoint>& truth, double match_radius_px,
                          double nm_per_pixel) {
  EvalResult res;
  std::map<int32_t, std::vector<size_t>> by_frame_truth, by_frame_points;
  for (size_t i = 0; i < truth.size(); ++i)
    if (truth[i].photons > 0) by_frame_truth[truth[i].frame].push_back(i);
  for (size_t i = 0; i < points.size(); ++i) by_frame_points[points[i].frame].push_back(i);
  res.truth_points = 0;
  for (auto& [f, v] : by_frame_truth) res.truth_points += static_cast<int64_t>(v.size());
  res.track_points = static_cast<int64_t>(points.size());
  // (frame, particle) -> track of the matched point.
  std::unordered_map<int64_t, int32_t> track_of;
  const double r2 = match_radius_px * match_radius_px;
  for (auto& [f, tv] : by_frame_truth) {
    auto pit = by_frame_points.find(f);
    if (pit == by_frame_points.end()) continue;
    struct Pair {
      double d2;
      size_t t, p;
    };
    std::vector<Pair> pairs;
    for (size_t t : tv)
      for (size_t p : pit->second) {
        const double dx = points[p].x - truth[t].x, dy = points[p].y - truth[t].y;
        const double d2 = dx * dx + dy * dy;
        if (d2 <= r2) pairs.push_back({d2, t, p});
      }
    std::sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) {
      return a.d2 < b.d2 || (a.d2 == b.d2 && (a.t < b.t || (a.t == b.t && a.p < b.p)));
    });
    std::unordered_map<size_t, bool> used_t, used_p;
    for (const Pair& pr : pairs) {
      if (used_t[pr.t] || used_p[pr.p]) continue;
      used_t[pr.t] = used_p[pr.p] = true;
      ++res.matched;
      res.sum_sq_px += pr.d2;
      const TrackPoint& pt = points[pr.p];
      if (std::isfinite(pt.sigma_x_nm) && std::isfinite(pt.sigma_y_nm) && pt.sigma_x_nm > 0 &&
          pt.sigma_y_nm > 0) {
        const double zx = (pt.x - truth[pr.t].x) * nm_per_pixel / pt.sigma_x_nm;
        const double zy = (pt.y - truth[pr.t].y) * nm_per_pixel / pt.sigma_y_nm;
        ++res.bounded;
        res.sum_sigma_sq_nm += pt.sigma_x_nm * pt.sigma_x_nm + pt.sigma_y_nm * pt.sigma_y_nm;
        res.sum_z_sq += zx * zx + zy * zy;
        res.axes_within_95 += (std::fabs(zx) <= 1.96) + (std::fabs(zy) <= 1.96);
      }
      track_of[Key(f, truth[pr.t].particle)] = points[pr.p].track;
    }
  }
  std::unordered_map<int64_t, bool> visible;
  for (const TruthPoint& t : truth)
    if (t.photons > 0) visible[Key(t.frame, t.particle)] = true;
  for (const TruthPoint& t : truth) {
    if (t.photons <= 0 || !visible.count(Key(t.frame + 1, t.particle))) continue;
    ++res.true_links;
    auto a = track_of.find(Key(t.frame, t.particle));
    auto b = track_of.find(Key(t.frame + 1, t.particle));
    if (a != track_of.end() && b != track_of.end() && a->second == b->second)
      ++res.reproduced_links;
  }
  return res;
}

double MortensenLimitNm(double photons, double background, double fwhm_nm, double nm_per_pixel) {
  if (!(photons > 0) || !(nm_per_pixel > 0)) return 0;
  const double s = fwhm_nm / (2.0 * std::sqrt(2.0 * std::log(2.0)));
  const double a = nm_per_pixel;
  const double sa2 = s * s + a * a / 12.0;
  const double base = sa2 / photons;
  if (!(background > 0)) return std::sqrt(base);
  const double tau = 2.0 * M_PI * sa2 * background / (photons * a * a);
  // t = u^2 takes the logarithmic end point out: integral of 2u ln(u^2) / (1 + u^2 / tau).
  constexpr int kSteps = 20000;
  double integral = 0;
  for (int k = 0; k < kSteps; ++k) {
    const double u = (k + 0.5) / kSteps;
    integral += 2.0 * u * std::log(u * u) / (1.0 + u * u / tau);
  }
  integral /= kSteps;
  return std::sqrt(base / (1.0 + integral));
}

}  // namespace lumetra

namespace lumetra {

std::vector<PopulationScore> ScoreDiffusion(const TrackSet& set,
                                            const std::vector<TrackPoint>& points,
                                            const std::vector<TruthPoint>& truth,
                                            double match_radius_px) {
  std::vector<PopulationScore> out;
  // The particle of each track: the one its points match most often.
  std::unordered_map<int32_t, const TruthPoint*> any_of;
  for (const TruthPoint& t : truth) {
    if (std::isnan(t.d_um2_s)) return out;
    any_of.emplace(t.particle, &t);
  }
  std::unordered_map<int32_t, std::vector<const TruthPoint*>> frame_rows;
  for (const TruthPoint& t : truth) frame_rows[t.frame].push_back(&t);
  std::map<int32_t, std::map<int32_t, int32_t>> votes;  // track -> particle -> points
  const double r2 = match_radius_px * match_radius_px;
  for (const TrackPoint& p : points) {
    auto it = frame_rows.find(p.frame);
    if (it == frame_rows.end()) continue;
    const TruthPoint* best = nullptr;
    double best_d2 = r2;
    for (const TruthPoint* t : it->second) {
      const double d2 = (t->x - p.x) * (t->x - p.x) + (t->y - p.y) * (t->y - p.y);
      if (d2 <= best_d2) {
        best_d2 = d2;
        best = t;
      }
    }
    if (best) ++votes[p.track][best->particle];
  }
  const DiffusionResult est = EstimateDiffusion(set, DiffusionMethod::kCve);
  std::map<int32_t, std::vector<DiffusionEstimate>> groups;
  std::map<int32_t, double> true_d;
  for (const DiffusionEstimate& e : est.tracks) {
    auto v = votes.find(e.track);
    if (v == votes.end() || !e.valid) continue;
    const auto top = std::max_element(v->second.begin(), v->second.end(),
                                      [](const auto& a, const auto& b) { return a.second < b.second; });
    const TruthPoint* t = any_of[top->first];
    groups[t->population].push_back(e);
    true_d[t->population] = t->d_um2_s;
  }
  const double r = MotionBlurCoefficient(set.timing.frame_s, set.timing.exposure_s);
  for (const auto& [pop, list] : groups) {
    const DiffusionEstimate ens = EnsembleOf(list, set.timing.frame_s, r);
    out.push_back({pop, true_d[pop], ens.tracks, ens.d_um2_s, ens.d_low, ens.d_high});
  }
  return out;
}

}  // namespace lumetra
