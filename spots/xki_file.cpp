#include "spots/xki_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "common/file_handle.h"
#include "common/text_format.h"
#include "spots/spots_messages.h"

namespace lumetra {
namespace {

void PutFloat(std::vector<uint8_t>& out, float v) {
  uint32_t u;
  std::memcpy(&u, &v, 4);
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(u >> (8 * i)));
}

// Reads floats from the file image; false when fewer than asked remain.
class FloatReader {
 public:
  explicit FloatReader(const std::vector<uint8_t>& b) : b_(b) {}
  size_t Left() const { return (b_.size() - pos_) / 4; }
  float Next() {
    uint32_t u = 0;
    for (int i = 0; i < 4; ++i) u |= static_cast<uint32_t>(b_[pos_ + i]) << (8 * i);
    pos_ += 4;
    float v;
    std::memcpy(&v, &u, 4);
    return v;
  }

 private:
  const std::vector<uint8_t>& b_;
  size_t pos_ = 0;
};

void PutHeader(std::vector<uint8_t>& out, float parameter, float start_x, float start_y, int32_t n,
               int32_t first) {
  for (float v : {0.0f, 0.0f, parameter, start_x, start_y, static_cast<float>(n),
                  static_cast<float>(first)})
    PutFloat(out, v);
}

float At(const std::vector<float>& v, int32_t i) {
  return i >= 0 && static_cast<size_t>(i) < v.size() ? v[static_cast<size_t>(i)] : 0.0f;
}

void EncodeTrack(const TrackRec& t, const XkiWriteOptions& o, std::vector<uint8_t>& out) {
  const int32_t n = t.point_count, first = t.first_frame;
  const std::vector<float>& first_series = o.save_zpos ? t.z : t.intensity;
  if (o.layout == XkiLayout::kOlder) {
    for (float v : {static_cast<float>(t.X), static_cast<float>(t.Y), static_cast<float>(n + 1),
                    static_cast<float>(first)})
      PutFloat(out, v);
    for (int32_t i = 0; i < n; ++i) {
      PutFloat(out, At(first_series, first + i));
      PutFloat(out, At(t.x, first + i));
      PutFloat(out, At(t.y, first + i));
    }
    return;
  }
  PutHeader(out, o.parameter, static_cast<float>(t.X), static_cast<float>(t.Y), n, first);
  for (const std::vector<float>* s : {&first_series, &t.x, &t.y})
    for (int32_t i = 0; i < n; ++i) PutFloat(out, At(*s, first + i));
}

// Checks a track header and claims a slot; false stops the reading.
bool StartTrack(TrackStore& store, int32_t count, int32_t n, int32_t first, Reporter& reporter) {
  if (n < 0 || first < 0 || static_cast<int64_t>(first) + n > store.Frames()) {
    reporter.Modal(kTrackTimingError);
    return false;
  }
  return count < kMaxTracks;
}

}  // namespace

std::vector<uint8_t> EncodeXki(const TrackStore& store, const XkiWriteOptions& options) {
  std::vector<uint8_t> out;
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    const TrackRec& t = store.Slot(ti);
    if (!t.completed || !t.good || (options.selected_only && !t.selected)) continue;
    EncodeTrack(t, options, out);
  }
  return out;
}

void AppendXkiRecord(std::vector<uint8_t>& out, float parameter, float start_x, float start_y,
                     int32_t first_frame, int32_t n, const float* intensity, const float* x,
                     const float* y) {
  PutHeader(out, parameter, start_x, start_y, n, first_frame);
  for (const float* s : {intensity, x, y})
    for (int32_t i = 0; i < n; ++i) PutFloat(out, s[i]);
}

bool WriteXkiFile(const std::string& path, const TrackStore& store, const XkiWriteOptions& options,
                  Reporter& reporter) {
  return WriteXkiBytes(path, EncodeXki(store, options), reporter);
}

bool WriteXkiBytes(const std::string& path, const std::vector<uint8_t>& bytes, Reporter& reporter) {
  // Written whole under a temporary name and renamed, so an interrupted save
  // never leaves a cut file under the name chosen.
  const std::string part = path + ".part";
  FileHandle f = OpenFile(part, "wb");
  if (!f) {
    reporter.Modal(kCanNotOpenForWriting, OpenFailureDetail(path, errno));
    return false;
  }
  // No tracks make an empty file.
  bool ok = (bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f.get()) == bytes.size()) &&
            std::fflush(f.get()) == 0;
  int err = errno;
  ok = std::fclose(f.release()) == 0 && ok;
  if (ok && std::rename(part.c_str(), path.c_str()) != 0) {
    err = errno;
    ok = false;
  }
  if (!ok) {
    std::remove(part.c_str());
    reporter.Modal(kFileWritingError, OpenFailureDetail(path, err));
    return false;
  }
  return true;
}

int32_t DecodeXki(const std::vector<uint8_t>& bytes, TrackStore& store, int32_t record_frames,
                  bool save_zpos, Reporter& reporter) {
  store.Reset(record_frames);
  FloatReader in(bytes);
  int32_t count = 0;
  const bool older = in.Left() > 0 && [&] {
    FloatReader peek(bytes);
    return peek.Next() > 0.0f;
  }();
  const size_t header = older ? 4 : 7;
  while (in.Left() >= header) {
    float h[7];
    for (size_t i = 0; i < header; ++i) h[i] = in.Next();
    const float* p = older ? h : h + 3;
    // The older layout stores n + 1: a stored count below 1 (down to the
    // lowest float) is no track at all, and the file is broken there.
    const int64_t stored = TruncToInt(p[2]);
    if (!std::isfinite(p[2]) || stored - (older ? 1 : 0) < 0) {
      reporter.Modal(kBrokenXkiFile);
      break;
    }
    const int32_t n = static_cast<int32_t>(stored - (older ? 1 : 0)), first = TruncToInt(p[3]);
    // A first frame that is no number cannot be placed in the record either.
    if (!StartTrack(store, count, n, std::isfinite(p[3]) ? first : -1, reporter)) break;
    if (in.Left() < static_cast<size_t>(n) * 3) break;  // the file ends inside the track
    TrackRec& t = store.Use(count);
    t.X = TruncToInt(p[0]);
    t.Y = TruncToInt(p[1]);
    t.point_count = n;
    t.first_frame = first;
    if (older) {
      for (int32_t i = 0; i < n; ++i) {
        t.intensity[first + i] = in.Next();
        t.x[first + i] = in.Next();
        t.y[first + i] = in.Next();
      }
    } else {
      for (std::vector<float>* s : {&t.intensity, &t.x, &t.y})
        for (int32_t i = 0; i < n; ++i) (*s)[first + i] = in.Next();
    }
    if (save_zpos)
      for (int32_t i = 0; i < n; ++i) t.z[i] = t.intensity[first + i];
    t.good = 1;
    t.completed = 1;
    ++count;
  }
  store.track_count = store.completed_count = count;
  store.refined = true;
  return count;
}

std::optional<std::vector<uint8_t>> ReadXkiBytes(const std::string& path, int32_t record_frames) {
  FileHandle f = OpenFile(path, "rb");
  if (!f) return std::nullopt;
  // Read no further than the most tracks the store holds, each as long as the
  // record, could reach: an endless source (a device) is read only that far.
  const int64_t frames = std::clamp(record_frames, 0, kMaxTrackFrames);
  const auto most = static_cast<size_t>(int64_t{kMaxTracks} * (7 + 3 * frames) * 4);
  std::vector<uint8_t> bytes;
  uint8_t buf[1 << 16];
  size_t got;
  while (bytes.size() < most && (got = std::fread(buf, 1, sizeof buf, f.get())) > 0)
    bytes.insert(bytes.end(), buf, buf + std::min(got, most - bytes.size()));
  return bytes;
}

int32_t ReadXkiFile(const std::string& path, TrackStore& store, int32_t record_frames,
                    bool save_zpos, Reporter& reporter) {
  const auto bytes = ReadXkiBytes(path, record_frames);
  if (!bytes) {
    reporter.Modal(kFileOpenError);
    return -1;
  }
  return DecodeXki(*bytes, store, record_frames, save_zpos, reporter);
}

}  // namespace lumetra
