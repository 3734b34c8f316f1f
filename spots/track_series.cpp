#include "spots/track_series.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "common/text_format.h"
#include "spots/spot_params.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"

namespace lumetra {

int32_t TrackSeries::Points() const {
  int32_t n = 0;
  for (size_t i = 0; i < x_um.size(); ++i) n += Has(i);
  return n;
}

TrackSet TrackSetFromStore(const TrackStore& store, double nm_x, double nm_y) {
  TrackSet set;
  set.timing.nm_per_pixel = nm_x;
  int32_t number = 0;
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    const TrackRec& t = store.Slot(ti);
    if (!t.completed || !t.good || !store.HasSeries(ti)) continue;
    TrackSeries s;
    s.id = number++;
    s.first_frame = std::max(t.first_frame, 0);
    const int32_t last = std::min(t.first_frame + t.point_count, store.Frames() - 1);
    for (int32_t f = s.first_frame; f <= last; ++f) {
      double x, y;
      const bool has = TrackPointAt(store, ti, f, nm_x, nm_y, x, y);
      s.x_um.push_back(has ? x * nm_x * 0.001 : NAN);
      s.y_um.push_back(has ? y * nm_y * 0.001 : NAN);
      s.intensity.push_back(has ? t.intensity[f] : NAN);
    }
    set.frames = std::max(set.frames, s.first_frame + s.Frames());
    set.tracks.push_back(std::move(s));
  }
  return set;
}

namespace {

// A number, or NaN for "nan" in any case (a position the localisation lost).
std::optional<double> ParseValue(std::string_view text) {
  if (auto v = ParseReal(text)) return v;
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  std::string t(text);
  std::transform(t.begin(), t.end(), t.begin(), [](unsigned char c) { return std::tolower(c); });
  if (t == "nan" || t == "-nan") return NAN;
  return std::nullopt;
}

}  // namespace

bool ParseTidyTracks(LineSource& lines, std::vector<TidyPoint>& out, std::string& error) {
  out.clear();
  static constexpr std::string_view kNames[] = {"track", "frame", "x_px", "y_px", "time_s",
                                                "intensity"};
  constexpr size_t kRequired = 4;
  std::vector<std::ptrdiff_t> cols;
  int64_t line_no = 0;
  std::string_view line;
  while (lines.Next(line)) {
    ++line_no;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty()) continue;
    const std::vector<std::string_view> f = SplitTabs(line);
    if (cols.empty()) {
      std::string missing;
      for (size_t i = 0; i < std::size(kNames); ++i) {
        auto it = std::find(f.begin(), f.end(), kNames[i]);
        cols.push_back(it == f.end() ? -1 : it - f.begin());
        if (it == f.end() && i < kRequired)
          missing += (missing.empty() ? "" : ", ") + std::string(kNames[i]);
      }
      if (!missing.empty()) {
        error = "the header has no column " + missing +
                " (a track table needs track, frame, x_px and y_px)";
        return false;
      }
      continue;
    }
    double v[std::size(kNames)];
    for (size_t i = 0; i < std::size(kNames); ++i) {
      v[i] = NAN;
      if (cols[i] < 0) continue;
      const size_t c = static_cast<size_t>(cols[i]);
      std::optional<double> value;
      if (c < f.size()) value = i < 2 ? ParseReal(f[c]) : ParseValue(f[c]);
      if (!value || (i < 2 && (*value < 0 || *value > 1e9))) {
        error = "line " + std::to_string(line_no) + ": column '" + std::string(kNames[i]) +
                "' is not " + (i < 2 ? "a whole number from 0" : "a number");
        return false;
      }
      v[i] = *value;
    }
    out.push_back({static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1]), v[4], v[2], v[3], v[5]});
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

bool TrackSetFromTidy(const std::vector<TidyPoint>& points, double nm_per_pixel, TrackSet& set,
                      std::string& error) {
  std::map<int32_t, std::pair<int32_t, int32_t>> span;  // track -> first, last frame
  for (const TidyPoint& p : points) {
    auto [it, fresh] = span.try_emplace(p.track, p.frame, p.frame);
    if (!fresh) {
      it->second.first = std::min(it->second.first, p.frame);
      it->second.second = std::max(it->second.second, p.frame);
    }
  }
  std::map<int32_t, size_t> index;
  set.tracks.clear();
  set.frames = 0;
  set.timing.nm_per_pixel = nm_per_pixel;
  for (const auto& [id, fl] : span) {
    if (fl.second - fl.first >= kMaxTrackFrames) {
      error = std::string(kStatTooLong) + " (track " + std::to_string(id) + ")";
      return false;
    }
    TrackSeries s;
    s.id = id;
    s.first_frame = fl.first;
    const size_t n = static_cast<size_t>(fl.second - fl.first + 1);
    s.x_um.assign(n, NAN);
    s.y_um.assign(n, NAN);
    s.intensity.assign(n, NAN);
    index[id] = set.tracks.size();
    set.frames = std::max(set.frames, fl.second + 1);
    set.tracks.push_back(std::move(s));
  }
  const double k = nm_per_pixel * 0.001;
  for (const TidyPoint& p : points) {
    TrackSeries& s = set.tracks[index[p.track]];
    const size_t i = static_cast<size_t>(p.frame - s.first_frame);
    s.x_um[i] = p.x_px * k;
    s.y_um[i] = p.y_px * k;
    s.intensity[i] = p.intensity;
  }
  return true;
}

double FrameIntervalFromTidy(const std::vector<TidyPoint>& points) {
  std::vector<double> dt;
  for (size_t i = 1; i < points.size(); ++i) {
    const TidyPoint &a = points[i - 1], &b = points[i];
    if (a.track != b.track || b.frame <= a.frame || !std::isfinite(a.time_s) ||
        !std::isfinite(b.time_s))
      continue;
    dt.push_back((b.time_s - a.time_s) / (b.frame - a.frame));
    if (dt.size() >= 100000) break;
  }
  if (dt.empty()) return 0;
  std::nth_element(dt.begin(), dt.begin() + static_cast<std::ptrdiff_t>(dt.size() / 2), dt.end());
  const double v = dt[dt.size() / 2];
  return v > 0 && std::isfinite(v) ? v : 0;
}

bool PrepareForStatistics(TrackSet& set, Reporter& reporter, PrepareCounts* counts) {
  if (!(set.timing.frame_s > 0) || !std::isfinite(set.timing.frame_s)) {
    reporter.Modal(kStatBadFrameInterval);
    return false;
  }
  PrepareCounts c;
  std::vector<TrackSeries> kept;
  kept.reserve(set.tracks.size());
  for (TrackSeries& s : set.tracks) {
    for (size_t i = 0; i < s.x_um.size(); ++i)
      if ((!std::isnan(s.x_um[i]) || !std::isnan(s.y_um[i])) &&
          !(std::isfinite(s.x_um[i]) && std::isfinite(s.y_um[i]))) {
        s.x_um[i] = s.y_um[i] = NAN;
        ++c.nan_points;
      }
    // Leading and trailing gaps are not part of the track.
    size_t lo = 0, hi = s.x_um.size();
    while (lo < hi && !s.Has(lo)) ++lo;
    while (hi > lo && !s.Has(hi - 1)) --hi;
    if (lo > 0 || hi < s.x_um.size()) {
      s.first_frame += static_cast<int32_t>(lo);
      for (auto* v : {&s.x_um, &s.y_um, &s.intensity}) {
        v->erase(v->begin() + static_cast<std::ptrdiff_t>(hi), v->end());
        v->erase(v->begin(), v->begin() + static_cast<std::ptrdiff_t>(lo));
      }
    }
    const int32_t points = s.Points();
    if (points < kMinStatPoints) {
      ++c.short_tracks;
      continue;
    }
    c.gapped_tracks += points < s.Frames();
    kept.push_back(std::move(s));
  }
  set.tracks = std::move(kept);
  if (c.short_tracks) reporter.Status(std::to_string(c.short_tracks) + std::string(kStatShortTracks));
  if (c.nan_points) reporter.Status(std::to_string(c.nan_points) + std::string(kStatNanPoints));
  if (c.gapped_tracks)
    reporter.Status(std::to_string(c.gapped_tracks) + std::string(kStatGappedTracks));
  if (counts) *counts = c;
  if (set.tracks.empty()) {
    reporter.Modal(kStatNoTracks);
    return false;
  }
  return true;
}

bool StoreFromTrackSet(const TrackSet& set, TrackStore& store, std::string& error) {
  if (set.tracks.size() > static_cast<size_t>(kMaxTracks)) {
    error = std::string(kStatTooManyTracks);
    return false;
  }
  if (set.frames > kMaxTrackFrames) {
    error = std::string(kStatTooLong);
    return false;
  }
  const double k = set.timing.nm_per_pixel * 0.001;
  if (!(k > 0)) {
    error = std::string(kStatNoScale);
    return false;
  }
  store.Reset(set.frames);
  int32_t slot = 0;
  for (const TrackSeries& s : set.tracks) {
    size_t i0 = 0;
    while (i0 < s.x_um.size() && !s.Has(i0)) ++i0;
    if (i0 == s.x_um.size()) continue;
    TrackRec& r = store.Use(slot);
    r.X = static_cast<int32_t>(s.x_um[i0] / k);
    r.Y = static_cast<int32_t>(s.y_um[i0] / k);
    // X = Y = 0 marks a free slot: a track at the origin sits one pixel in.
    if (r.X == 0 && r.Y == 0) r.X = 1;
    r.first_frame = s.first_frame;
    r.point_count = s.Frames() - 1;
    r.completed = 1;
    r.good = 1;
    for (size_t i = 0; i < s.x_um.size(); ++i) {
      if (!s.Has(i)) continue;
      const size_t f = static_cast<size_t>(s.first_frame) + i;
      r.x[f] = static_cast<float>(s.x_um[i] - r.X * k);
      r.y[f] = static_cast<float>(s.y_um[i] - r.Y * k);
      const double in = s.intensity[i];
      r.intensity[f] = std::isfinite(in) ? static_cast<float>(in) : 0.0f;
      // A point exactly on the reference pixel with no intensity would read as none.
      if (r.x[f] == 0.0f && r.y[f] == 0.0f && r.intensity[f] == 0.0f) r.intensity[f] = 1e-6f;
    }
    ++slot;
  }
  store.track_count = store.completed_count = slot;
  store.refined = true;
  store.frame_times.resize(static_cast<size_t>(set.frames));
  for (int32_t f = 0; f < set.frames; ++f)
    store.frame_times[static_cast<size_t>(f)] = static_cast<float>(f * set.timing.frame_s);
  return true;
}

std::string TidyTextFromTrackSet(const TrackSet& set) {
  std::string s(kTidyTracksHeader);
  const double k = set.timing.nm_per_pixel > 0 ? 1000.0 / set.timing.nm_per_pixel : 1.0;
  char line[160];
  for (const TrackSeries& t : set.tracks)
    for (size_t i = 0; i < t.x_um.size(); ++i) {
      if (!t.Has(i)) continue;
      const int32_t f = t.first_frame + static_cast<int32_t>(i);
      std::snprintf(line, sizeof line, "%d\t%d\t%.3f\t%.4f\t%.4f\t%.2f\n", t.id, f,
                    f * set.timing.frame_s, t.x_um[i] * k, t.y_um[i] * k,
                    std::isfinite(t.intensity[i]) ? t.intensity[i] : 0.0);
      s += line;
    }
  return s;
}

}  // namespace lumetra
