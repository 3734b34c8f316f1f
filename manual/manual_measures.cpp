#include "manual/manual_measures.h"

#include <cmath>

#include "common/text_format.h"
#include "manual/manual_messages.h"

namespace lumetra {
namespace {

constexpr int32_t kMaxCurves = 14;

double TimeOf(const std::vector<float>& times_s, int32_t f) {
  return static_cast<size_t>(f) < times_s.size() ? times_s[static_cast<size_t>(f)] : NAN;
}

double StepUm(const ManualObject& o, size_t a, size_t b) {
  return std::hypot(double{o.x[b]} - o.x[a], double{o.y[b]} - o.y[a]) * 0.001;
}

}  // namespace

std::vector<double> SpeedSeries(const ManualTracks& tracks, int32_t object,
                                const std::vector<float>& times_s) {
  std::vector<double> v(static_cast<size_t>(tracks.Frames()), NAN);
  const ManualObject& o = tracks.Object(object);
  for (int32_t f = 1; f < tracks.Frames(); ++f) {
    if (!tracks.HasPoint(object, f) || !tracks.HasPoint(object, f - 1)) continue;
    const double dt = TimeOf(times_s, f) - TimeOf(times_s, f - 1);
    if (dt > 0) v[static_cast<size_t>(f)] = StepUm(o, static_cast<size_t>(f - 1), f) / dt;
  }
  return v;
}

std::vector<double> DistanceSeries(const ManualTracks& tracks, int32_t a, int32_t b) {
  std::vector<double> v(static_cast<size_t>(tracks.Frames()), NAN);
  const ManualObject& oa = tracks.Object(a);
  const ManualObject& ob = tracks.Object(b);
  for (int32_t f = 0; f < tracks.Frames(); ++f) {
    if (!tracks.HasPoint(a, f) || !tracks.HasPoint(b, f)) continue;
    const size_t i = static_cast<size_t>(f);
    v[i] = std::hypot(double{oa.x[i]} - ob.x[i], double{oa.y[i]} - ob.y[i]) * 0.001;
  }
  return v;
}

std::vector<ObjectSummary> SummariseObjects(const ManualTracks& tracks,
                                            const std::vector<float>& times_s) {
  std::vector<ObjectSummary> out;
  for (int32_t i = 0; i < kManualObjects; ++i) {
    ObjectSummary s;
    s.object = i;
    double moving_s = 0;
    const ManualObject& o = tracks.Object(i);
    for (int32_t f = 0; f < tracks.Frames(); ++f) {
      if (!tracks.HasPoint(i, f)) continue;
      ++s.points;
      if (s.first_frame < 0) s.first_frame = f;
      s.last_frame = f;
      if (f > 0 && tracks.HasPoint(i, f - 1)) {
        s.path_um += StepUm(o, static_cast<size_t>(f - 1), static_cast<size_t>(f));
        moving_s += TimeOf(times_s, f) - TimeOf(times_s, f - 1);
      }
    }
    if (s.points == 0) continue;
    s.net_um = StepUm(o, static_cast<size_t>(s.first_frame), static_cast<size_t>(s.last_frame));
    if (moving_s > 0) s.mean_speed = s.path_um / moving_s;
    out.push_back(s);
  }
  return out;
}

std::vector<ObjectPoint> ObjectPoints(const ManualTracks& tracks, int32_t object,
                                      const std::vector<float>& times_s) {
  std::vector<ObjectPoint> out;
  const std::vector<double> speed = SpeedSeries(tracks, object, times_s);
  const ManualObject& o = tracks.Object(object);
  for (int32_t f = 0; f < tracks.Frames(); ++f) {
    if (!tracks.HasPoint(object, f)) continue;
    const size_t k = static_cast<size_t>(f);
    ObjectPoint p{f, TimeOf(times_s, f), o.x[k] / tracks.NmPerPixelX() - 0.5,
                  o.y[k] / tracks.NmPerPixelY() - 0.5, speed[k]};
    for (int32_t other = 0; other < kManualObjects; ++other) {
      if (other == object || !tracks.HasPoint(other, f)) continue;
      const ManualObject& b = tracks.Object(other);
      const double d = std::hypot(double{o.x[k]} - b.x[k], double{o.y[k]} - b.y[k]) * 0.001;
      if (p.nearest < 0 || d < p.nearest_um) {
        p.nearest_um = d;
        p.nearest = other;
      }
    }
    out.push_back(p);
  }
  return out;
}

std::string ManualTracksTable(const ManualTracks& tracks, const std::vector<float>& times_s) {
  std::string out(kManualTableHeader);
  for (int32_t i = 0; i < kManualObjects; ++i) {
    if (!tracks.Object(i).in_use) continue;
    const ManualObject& o = tracks.Object(i);
    const std::vector<double> speed = SpeedSeries(tracks, i, times_s);
    for (int32_t f = 0; f < tracks.Frames(); ++f) {
      if (!tracks.HasPoint(i, f)) continue;
      const size_t k = static_cast<size_t>(f);
      out += std::to_string(i + 1) + '\t' + std::to_string(f) + '\t' +
             FormatTable(TimeOf(times_s, f), "%.6g") + '\t' +
             FormatTable(o.x[k] / tracks.NmPerPixelX() - 0.5, "%.4f") + '\t' +
             FormatTable(o.y[k] / tracks.NmPerPixelY() - 0.5, "%.4f") + '\t' +
             FormatTable(o.value[k], "%.6g") + '\t' + FormatTable(o.x[k] * 0.001, "%.5f") + '\t' +
             FormatTable(o.y[k] * 0.001, "%.5f") + '\t' + FormatTable(speed[k], "%.5g") + '\n';
    }
  }
  return out;
}

std::string ManualDistancesTable(const ManualTracks& tracks, const std::vector<float>& times_s) {
  std::string out(kDistanceTableHeader);
  std::vector<int32_t> used;
  for (int32_t i = 0; i < kManualObjects; ++i)
    if (tracks.Object(i).in_use) used.push_back(i);
  for (int32_t f = 0; f < tracks.Frames(); ++f)
    for (size_t a = 0; a < used.size(); ++a)
      for (size_t b = a + 1; b < used.size(); ++b) {
        if (!tracks.HasPoint(used[a], f) || !tracks.HasPoint(used[b], f)) continue;
        const ManualObject& oa = tracks.Object(used[a]);
        const ManualObject& ob = tracks.Object(used[b]);
        const size_t k = static_cast<size_t>(f);
        const double d = std::hypot(double{oa.x[k]} - ob.x[k], double{oa.y[k]} - ob.y[k]) * 0.001;
        out += std::to_string(f) + '\t' + FormatTable(TimeOf(times_s, f), "%.6g") + '\t' +
               std::to_string(used[a] + 1) + '\t' + std::to_string(used[b] + 1) + '\t' +
               FormatTable(d, "%.5f") + '\n';
      }
  return out;
}

ManualGraph BuildManualGraph(const ManualTracks& tracks, const std::vector<float>& times_s,
                             ManualGraphKind kind) {
  ManualGraph g;
  const int32_t n = tracks.Frames();
  const int32_t cur = tracks.Current();
  std::vector<std::vector<double>> rows;
  if (kind == ManualGraphKind::kPositions) {
    g.title_y = "position (um)";
    std::vector<double> x(static_cast<size_t>(n), NAN), y(static_cast<size_t>(n), NAN);
    for (int32_t f = 0; f < n; ++f)
      if (tracks.HasPoint(cur, f)) {
        x[static_cast<size_t>(f)] = tracks.Object(cur).x[static_cast<size_t>(f)] * 0.001;
        y[static_cast<size_t>(f)] = tracks.Object(cur).y[static_cast<size_t>(f)] * 0.001;
      }
    rows = {std::move(x), std::move(y)};
    g.objects = {cur, cur};
  } else {
    g.title_y = kind == ManualGraphKind::kSpeeds ? "speed (um/s)" : "distance (um)";
    for (int32_t i = 0; i < kManualObjects && static_cast<int32_t>(rows.size()) < kMaxCurves; ++i) {
      const ManualObject& o = tracks.Object(i);
      if (kind == ManualGraphKind::kSpeeds && o.in_use && o.shown) {
        rows.push_back(SpeedSeries(tracks, i, times_s));
        g.objects.push_back(i);
      } else if (kind == ManualGraphKind::kDistances && o.in_use && i != cur) {
        rows.push_back(DistanceSeries(tracks, cur, i));
        g.objects.push_back(i);
      }
    }
  }
  g.curves = static_cast<int32_t>(rows.size());
  g.row_length = n;
  g.matrix.assign(static_cast<size_t>(g.curves + 1) * static_cast<size_t>(n), kGraphGap);
  for (int32_t f = 0; f < n; ++f) {
    const double t = TimeOf(times_s, f);
    g.matrix[static_cast<size_t>(f)] =
        std::isfinite(t) ? static_cast<float>(t) : static_cast<float>(f);
  }
  for (size_t r = 0; r < rows.size(); ++r)
    for (int32_t f = 0; f < n; ++f) {
      const double v = rows[r][static_cast<size_t>(f)];
      if (std::isfinite(v))
        g.matrix[(r + 1) * static_cast<size_t>(n) + static_cast<size_t>(f)] = static_cast<float>(v);
    }
  return g;
}

}  // namespace lumetra
