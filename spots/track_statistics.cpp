#include "spots/track_statistics.h"

#include <algorithm>
#include <cmath>

#include "common/text_format.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"

namespace lumetra {
namespace {

struct Point {
  int32_t frame;
  double t, x, y, intensity;  // s, um, um, counts/pixel
};

std::vector<Point> PointsOf(const TrackStore& store, int32_t ti, const TrackScale& scale) {
  std::vector<Point> out;
  const TrackRec& t = store.Slot(ti);
  const int32_t last = std::min(t.first_frame + t.point_count, store.Frames() - 1);
  for (int32_t f = std::max(t.first_frame, 0); f <= last; ++f) {
    double x, y;
    if (!TrackPointAt(store, ti, f, scale.x, scale.y, x, y)) continue;
    const double time = static_cast<size_t>(f) < store.frame_times.size()
                            ? store.frame_times[static_cast<size_t>(f)]
                            : 0.0;
    out.push_back({f, time, x * scale.x * 0.001, y * scale.y * 0.001, t.intensity[f]});
  }
  return out;
}

// Reports "Very few objects detected" without tracks and "Time ERROR!" once
// when a track's times do not increase.
void CheckSummaries(const std::vector<TrackSummary>& s, Reporter& reporter) {
  if (s.empty()) {
    reporter.Modal(kVeryFewObjects);
    return;
  }
  if (std::any_of(s.begin(), s.end(), [](const TrackSummary& t) { return !t.timed; }))
    reporter.Modal(kTimeError);
}

std::string Num(double v) {
  return FormatFixed(v, 4);
}

std::string BinRows(const std::vector<int32_t>& counts, double width) {
  std::string s;
  for (size_t i = 0; i < counts.size(); ++i)
    s += Num((static_cast<double>(i) + 0.5) * width) + '\t' + std::to_string(counts[i]) + '\n';
  return s;
}

}  // namespace

std::vector<TrackSummary> SummariseTracks(const TrackStore& store, const TrackScale& scale) {
  std::vector<TrackSummary> out;
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    const TrackRec& t = store.Slot(ti);
    if (!t.completed || !t.good || !store.HasSeries(ti)) continue;
    const std::vector<Point> p = PointsOf(store, ti, scale);
    if (p.size() < 2) continue;
    TrackSummary s;
    s.slot = ti;
    s.steps = t.point_count;
    s.points = static_cast<int32_t>(p.size());
    for (const Point& q : p) {
      s.mean_intensity += q.intensity;
      s.mean_x_um += q.x;
      s.mean_y_um += q.y;
    }
    s.mean_intensity /= static_cast<double>(p.size());
    s.mean_x_um /= static_cast<double>(p.size());
    s.mean_y_um /= static_cast<double>(p.size());
    const double span = p.back().t - p.front().t;
    s.timed = span > 0;
    double sum = 0;
    int32_t pairs = 0;
    for (size_t i = 1; i < p.size(); ++i) {
      const double dt = p[i].t - p[i - 1].t;
      if (p[i].frame != p[i - 1].frame + 1) continue;
      if (!(dt > 0)) {
        s.timed = false;
        continue;
      }
      const double dx = p[i].x - p[i - 1].x, dy = p[i].y - p[i - 1].y;
      sum += (dx * dx + dy * dy) / (4 * dt);
      ++pairs;
    }
    if (s.timed) {
      s.velocity_um_s = std::hypot(p.back().x - p.front().x, p.back().y - p.front().y) / span;
      s.dlat_um2_s = pairs > 0 ? sum / pairs : 0;
    }
    out.push_back(s);
  }
  return out;
}

std::vector<int32_t> BinCounts(const std::vector<double>& values, double width, int32_t bins) {
  std::vector<int32_t> counts(static_cast<size_t>(std::max(bins, 0)), 0);
  if (counts.empty() || !(width > 0)) return counts;
  for (double v : values) {
    if (!std::isfinite(v) || v < 0) continue;
    const double b = std::floor(v / width);
    counts[static_cast<size_t>(std::min<double>(b, bins - 1))] += 1;
  }
  return counts;
}

std::string VelocityText(const TrackStore& store, const TrackScale& scale, Reporter& reporter) {
  const std::vector<TrackSummary> s = SummariseTracks(store, scale);
  CheckSummaries(s, reporter);
  std::string out(kVelocityHeader);
  for (const TrackSummary& t : s)
    if (t.timed) out += Num(t.velocity_um_s) + '\t' + std::to_string(t.steps) + '\n';
  return out;
}

std::string DlatOutlineDistText(const TrackStore& store, const TrackScale& scale,
                                const Region& outline, Reporter& reporter) {
  const std::vector<TrackSummary> s = SummariseTracks(store, scale);
  CheckSummaries(s, reporter);
  const double ux = scale.x * 0.001, uy = scale.y * 0.001;
  std::string out(kDlatOutlineHeader);
  for (const TrackSummary& t : s) {
    if (!t.timed) continue;
    const double x = t.mean_x_um, y = t.mean_y_um;
    const double d = std::min({x - outline.left * ux, outline.right * ux - x, y - outline.top * uy,
                               outline.bottom * uy - y});
    out += Num(d) + '\t' + Num(t.dlat_um2_s) + '\n';
  }
  return out;
}

std::string DistributionsText(const TrackStore& store, const TrackScale& scale,
                              const std::vector<SpotRec>& objects, Reporter& reporter) {
  const std::vector<TrackSummary> s = SummariseTracks(store, scale);
  CheckSummaries(s, reporter);
  std::vector<double> intensity, dlat, velocity, distance;
  for (const TrackSummary& t : s) {
    intensity.push_back(t.mean_intensity);
    if (!t.timed) continue;
    dlat.push_back(t.dlat_um2_s);
    velocity.push_back(t.velocity_um_s);
  }
  // A lone object's distance (1000 um and more) means no neighbour at all.
  for (const SpotRec& o : objects)
    if (o.nn_dist_um < 999.0f) distance.push_back(o.nn_dist_um);
  std::string out(kIntensityDistributionHeader);
  out += BinRows(BinCounts(intensity, kIntensityBinWidth, kIntensityBins), kIntensityBinWidth);
  out += kStatDistributionsHeader;
  const auto dc = BinCounts(distance, kDistanceBinWidthUm, kStatBins);
  const auto lc = BinCounts(dlat, kDlatBinWidth, kStatBins);
  const auto vc = BinCounts(velocity, kVelocityBinWidth, kStatBins);
  for (int32_t i = 0; i < kStatBins; ++i) {
    const double c = i + 0.5;
    const size_t k = static_cast<size_t>(i);
    out += Num(c * kDistanceBinWidthUm) + '\t' + std::to_string(dc[k]) + '\t' +
           Num(c * kDlatBinWidth) + '\t' + std::to_string(lc[k]) + '\t' +
           Num(c * kVelocityBinWidth) + '\t' + std::to_string(vc[k]) + '\n';
  }
  return out;
}

void IntensityDistribution::Add(const std::vector<SpotRec>& objects) {
  for (const SpotRec& o : objects) {
    if (!std::isfinite(o.intensity) || o.intensity < 0) continue;
    const double b = std::floor(o.intensity / kIntensityBinWidth);
    counts_[static_cast<size_t>(std::min<double>(b, kIntensityBins - 1))] += 1;
  }
}

int64_t IntensityDistribution::Total() const {
  int64_t n = 0;
  for (int64_t c : counts_) n += c;
  return n;
}

std::string IntensityDistributionText(const IntensityDistribution& d) {
  std::string out(kIntensityDistributionHeader);
  for (size_t i = 0; i < d.Counts().size(); ++i)
    out += Num((static_cast<double>(i) + 0.5) * kIntensityBinWidth) + '\t' +
           std::to_string(d.Counts()[i]) + '\n';
  return out;
}

void SpotMap::Clear() {
  entries_.clear();
  full_ = false;
}

void SpotMap::AddFrame(int32_t f, const std::vector<SpotRec>& objects, const TrackScale& scale,
                       Reporter& reporter) {
  for (const SpotRec& o : objects) {
    if (entries_.size() >= limit_) {
      if (!full_) reporter.Warning(kSpotMapFull);
      full_ = true;
      return;
    }
    entries_.push_back({f, o.intensity, static_cast<float>(o.X * scale.x * 0.001),
                        static_cast<float>(o.Y * scale.y * 0.001)});
  }
}

std::string SpotsInMapText(const SpotMap& map) {
  std::string out(kSpotsInMapHeader);
  for (const SpotMapEntry& e : map.Entries())
    out += std::to_string(e.frame) + '\t' + FormatFloat(e.intensity) + '\t' + FormatFloat(e.x_um) +
           '\t' + FormatFloat(e.y_um) + '\n';
  return out;
}

std::string BatchTrackFileName(const std::string& record_path, const TrackingParams& params,
                               bool link_tracks, bool save_zpos, const std::string& extension) {
  std::string base = RecordBaseName(record_path);
  // The name is known before the run: an automatic Q is "qauto", whatever it chooses.
  base += "-R" + FormatGeneral(params.max_radius) + "L" + std::to_string(params.min_track) + "q" +
          (params.q_auto ? std::string("auto") : std::to_string(params.q_threshold)) + "c" +
          std::to_string(params.cluster_threshold);
  if (params.detector == SpotDetectorKind::kDense) base += "-dense";
  if (link_tracks) base += "-L";
  if (save_zpos) base += "-Z";
  return base + extension;
}

}  // namespace lumetra
