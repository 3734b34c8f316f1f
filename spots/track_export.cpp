#include "spots/track_export.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "common/file_handle.h"
#include "common/text_format.h"
#include "spots/spots_messages.h"

namespace lumetra {

bool TrackPointAt(const TrackStore& store, int32_t t, int32_t f, double nm_per_pixel_x,
                  double nm_per_pixel_y, double& x, double& y) {
  if (t < 0 || t >= kMaxTracks || !store.HasSeries(t) || f < 0 || f >= store.Frames()) return false;
  const TrackRec& r = store.Slot(t);
  if (store.refined || store.Refining()) {
    // From the second pass on only completed tracks hold points, and only
    // inside their range: a cut track keeps pixel positions after its end, a
    // dropped one a mix of both.
    if (!r.completed || f < r.first_frame || f > r.first_frame + r.point_count) return false;
  }
  const float xv = r.x[f], yv = r.y[f], iv = r.intensity[f];
  if (xv == 0.0f && yv == 0.0f && iv == 0.0f) return false;
  const bool um = store.InUm(f);
  x = um ? r.X + xv / (nm_per_pixel_x * 0.001) : xv;
  y = um ? r.Y + yv / (nm_per_pixel_y * 0.001) : yv;
  return true;
}

std::string CurrentSpotsText(const std::vector<SpotRec>& spots) {
  std::string s(kCurSpotsHeader);
  for (const SpotRec& o : spots) {
    s += FormatGeneral(o.intensity);
    s += '\t';
    s += std::to_string(o.X);
    s += '\t';
    s += std::to_string(o.Y);
    s += '\n';
  }
  return s;
}

std::string TidyTracksText(const TrackStore& store, double nm_per_pixel_x, double nm_per_pixel_y,
                           double q) {
  std::string s(kTrackTableHeader);
  const std::string q_text = FormatTable(q, "%g");
  int32_t number = 0;
  char line[160];
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    const TrackRec& t = store.Slot(ti);
    if (!t.completed || !t.good || !store.HasSeries(ti)) continue;
    const int32_t last = std::min(t.first_frame + t.point_count, store.Frames() - 1);
    for (int32_t f = std::max(t.first_frame, 0); f <= last; ++f) {
      double x, y;
      if (!TrackPointAt(store, ti, f, nm_per_pixel_x, nm_per_pixel_y, x, y)) continue;
      const float iv = t.intensity[f];
      const double time = static_cast<size_t>(f) < store.frame_times.size()
                              ? store.frame_times[static_cast<size_t>(f)]
                              : 0.0;
      std::snprintf(line, sizeof line, "%d\t%d\t%.3f\t%.4f\t%.4f\t%.2f\t", number, f, time, x, y,
                    static_cast<double>(iv));
      s += line;
      const bool bound = static_cast<size_t>(f) < t.sigma_x.size();
      s += FormatTable(bound ? t.sigma_x[f] : NAN, "%.2f");
      s += '\t';
      s += FormatTable(bound ? t.sigma_y[f] : NAN, "%.2f");
      s += '\t';
      s += q_text;
      s += '\n';
    }
    ++number;
  }
  return s;
}

namespace {

constexpr size_t kMaxColumnTracks = 252;
constexpr int32_t kMaxColumnRows = 10000;

bool HasPoint(const TrackRec& t, int32_t f) {
  return f >= t.first_frame && f <= t.first_frame + t.point_count &&
         !(t.x[f] == 0.0f && t.y[f] == 0.0f && t.intensity[f] == 0.0f);
}

}  // namespace

std::string TrackColumnsText(const TrackStore& store, const ColumnExportOptions& o,
                             double nm_per_pixel_x, double nm_per_pixel_y, Reporter& reporter) {
  std::vector<int32_t> tracks;
  int32_t first = INT32_MAX, last = -1;
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    const TrackRec& t = store.Slot(ti);
    if (!t.completed || !t.good || !store.HasSeries(ti)) continue;
    if (tracks.size() == kMaxColumnTracks) {
      reporter.Warning(kTooManyColumnObjects);
      break;
    }
    tracks.push_back(ti);
    first = std::min(first, t.first_frame);
    last = std::max(last, std::min(t.first_frame + t.point_count, store.Frames() - 1));
  }
  std::string s;
  if (o.include_time) s += "Time(s)\t";
  const bool pixels = o.pixel_coordinates;
  for (size_t k = 0; k < tracks.size(); ++k) {
    if (o.intensity) s += "Intens(AU)\t";
    if (o.positions) s += pixels ? "Obj-X(pix)\tobj-Y(pix)\t" : "Obj-X(um)\tobj-Y(um)\t";
  }
  s += '\n';
  if (tracks.empty()) return s;
  if (last - first + 1 > kMaxColumnRows) {
    reporter.Warning(kTracksTooLong);
    last = first + kMaxColumnRows - 1;
  }
  const double kx = nm_per_pixel_x * 0.001, ky = nm_per_pixel_y * 0.001;
  char cell[48];
  for (int32_t f = first; f <= last; ++f) {
    if (o.include_time) {
      const double time =
          static_cast<size_t>(f) < store.frame_times.size() ? store.frame_times[f] : 0.0;
      std::snprintf(cell, sizeof cell, "%.4f\t", time);
      s += cell;
    }
    for (int32_t ti : tracks) {
      const TrackRec& t = store.Slot(ti);
      const bool has = HasPoint(t, f);
      if (o.intensity) {
        if (has) s += FormatGeneral(t.intensity[f]);
        s += '\t';
      }
      if (!o.positions) continue;
      if (has) {
        double x = t.x[f], y = t.y[f];
        if (pixels && store.refined) {
          x = t.X + x / kx;
          y = t.Y + y / ky;
        } else if (!pixels && !store.refined) {
          x = (x - t.X) * kx;
          y = (y - t.Y) * ky;
        }
        std::snprintf(cell, sizeof cell, "%.4f\t%.4f\t", x, y);
        s += cell;
      } else {
        s += "\t\t";
      }
    }
    s += '\n';
  }
  return s;
}

std::string ExportNameFor(std::string_view record_path, std::string_view extension) {
  if (record_path.empty()) return {};
  std::filesystem::path p{std::string(record_path)};
  p.replace_extension(std::string(".") + std::string(extension));
  return p.string();
}

bool WriteTextFile(const std::string& path, const std::string& text, std::string_view open_error,
                   Reporter& reporter) {
  FileHandle f = OpenFile(path, "wb");
  if (!f) {
    reporter.Modal(open_error);
    return false;
  }
  if (std::fwrite(text.data(), 1, text.size(), f.get()) != text.size() ||
      std::fflush(f.get()) != 0) {
    reporter.Modal(kFileWritingError);
    return false;
  }
  return true;
}

}  // namespace lumetra
