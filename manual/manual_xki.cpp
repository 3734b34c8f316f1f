#include "manual/manual_xki.h"

#include <algorithm>
#include <cstring>

#include "manual/manual_messages.h"
#include "spots/spots_messages.h"
#include "spots/xki_file.h"

namespace lumetra {
namespace {

// One object's track: its first point and the run of points after it.
struct Run {
  int32_t first = -1, n = 0;
};

Run FirstRun(const ManualObject& o) {
  Run r;
  const int32_t frames = static_cast<int32_t>(o.x.size());
  for (int32_t f = 0; f < frames && r.first < 0; ++f)
    if (o.x[static_cast<size_t>(f)] > 0) r.first = f;
  if (r.first < 0) return r;
  while (r.first + r.n < frames && o.x[static_cast<size_t>(r.first + r.n)] > 0) ++r.n;
  return r;
}

}  // namespace

std::vector<uint8_t> EncodeManualXki(const ManualTracks& tracks, std::vector<XkiGap>* gaps) {
  std::vector<uint8_t> out;
  const float nm_x = static_cast<float>(tracks.NmPerPixelX());
  const float nm_y = static_cast<float>(tracks.NmPerPixelY());
  std::vector<float> value, x, y;
  for (int32_t i = 0; i < kManualObjects; ++i) {
    const ManualObject& o = tracks.Object(i);
    if (!o.in_use) continue;
    const Run r = FirstRun(o);
    if (r.first < 0) continue;
    const float x0 = o.x[static_cast<size_t>(r.first)], y0 = o.y[static_cast<size_t>(r.first)];
    value.resize(static_cast<size_t>(r.n));
    x.resize(value.size());
    y.resize(value.size());
    for (int32_t k = 0; k < r.n; ++k) {
      const size_t f = static_cast<size_t>(r.first + k);
      value[k] = o.value[f] > 0 ? o.value[f] : static_cast<float>(i + 1) + 50.0f;
      x[k] = (o.x[f] - x0) * 0.001f;
      y[k] = (o.y[f] - y0) * 0.001f;
    }
    AppendXkiRecord(out, 0.0f, x0 / nm_x, y0 / nm_y, r.first, r.n, value.data(), x.data(),
                    y.data());
    if (gaps)
      for (size_t f = static_cast<size_t>(r.first + r.n); f < o.x.size(); ++f)
        if (o.x[f] > 0) {
          gaps->push_back({i, static_cast<int32_t>(f)});
          break;
        }
  }
  return out;
}

bool WriteManualXki(const std::string& path, ManualTracks& tracks, Reporter& reporter) {
  std::vector<XkiGap> gaps;
  const std::vector<uint8_t> bytes = EncodeManualXki(tracks, &gaps);
  if (bytes.empty()) {
    reporter.Modal(kNoObjectToSave);
    return false;
  }
  for (const XkiGap& g : gaps)
    reporter.Warning(std::string(kGapNotSaved) + std::to_string(g.object + 1) +
                     std::string(kGapAtFrame) + std::to_string(g.frame));
  if (!WriteXkiBytes(path, bytes, reporter)) return false;
  tracks.unsaved = false;
  return true;
}

int32_t DecodeManualXki(const std::vector<uint8_t>& bytes, ManualTracks& tracks, int32_t frames,
                        double nm_per_pixel_x, double nm_per_pixel_y, Reporter& reporter) {
  tracks.Reset(frames, nm_per_pixel_x, nm_per_pixel_y);
  if (bytes.size() >= 4) {
    float first;
    uint32_t u = 0;
    for (int i = 0; i < 4; ++i)
      u |= static_cast<uint32_t>(bytes[static_cast<size_t>(i)]) << (8 * i);
    std::memcpy(&first, &u, 4);
    if (first > 0.0f) {
      reporter.Modal(kOldTypeXki);
      return 0;
    }
  }
  // The tracking window's reader takes every track; this window stops after
  // 100, before it would have met any later track's problem.
  TrackStore store;
  CollectingReporter found;
  const int32_t read = DecodeXki(bytes, store, tracks.Frames(), false, found);
  // Another track header after the 100th track is one track too many, whatever it holds.
  size_t used = 0;
  for (int32_t i = 0; i < std::min(read, kManualObjects); ++i)
    used += 4 * (7 + 3 * static_cast<size_t>(store.Slot(i).point_count));
  if (read > kManualObjects || (read == kManualObjects && bytes.size() >= used + 28)) {
    reporter.Modal(kTooManyTracksTruncated);
  } else {
    for (const Message& m : found.messages()) reporter.Report(m.kind, m.text);
  }
  const float nm_x = static_cast<float>(nm_per_pixel_x), nm_y = static_cast<float>(nm_per_pixel_y);
  const int32_t count = std::min(read, kManualObjects);
  for (int32_t i = 0; i < count; ++i) {
    const TrackRec& t = store.Slot(i);
    ManualObject& o = tracks.Object(i);
    const float base_x = nm_x * 0.5f + nm_x * static_cast<float>(t.X);
    const float base_y = nm_y * 0.5f + nm_y * static_cast<float>(t.Y);
    for (int32_t k = 0; k < t.point_count; ++k) {
      const size_t f = static_cast<size_t>(t.first_frame + k);
      o.x[f] = t.x[f] * 1000.0f + base_x;
      o.y[f] = t.y[f] * 1000.0f + base_y;
      o.value[f] = t.intensity[f];
    }
    o.in_use = true;
    o.shown = i < kShownOnRead;
  }
  return count;
}

int32_t ReadManualXki(const std::string& path, ManualTracks& tracks, int32_t frames,
                      double nm_per_pixel_x, double nm_per_pixel_y, Reporter& reporter) {
  const auto bytes = ReadXkiBytes(path, frames);
  if (!bytes) {
    reporter.Modal(kFileOpenError, path);
    return -1;
  }
  return DecodeManualXki(*bytes, tracks, frames, nm_per_pixel_x, nm_per_pixel_y, reporter);
}

int32_t TakeTrackingWindowTracks(const TrackStore& store, bool selected_only, ManualTracks& tracks,
                                 int32_t frames, double nm_per_pixel_x, double nm_per_pixel_y,
                                 Reporter& reporter) {
  if (!store.refined || store.completed_count == 0) {
    reporter.Modal(kNoLinkedTracks);
    return -1;
  }
  XkiWriteOptions options;
  options.selected_only = selected_only;
  return DecodeManualXki(EncodeXki(store, options), tracks, frames, nm_per_pixel_x, nm_per_pixel_y,
                         reporter);
}

}  // namespace lumetra
