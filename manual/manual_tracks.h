// The objects of the manual tracking window: 100 of them, each with its
// position (nm from the frame's top-left corner, pixel centres at
// (pixel + 0.5) x nm per pixel) and value (counts) in every frame of the
// record. The user marks them frame by frame; the XKI file, the tables and
// the graphs read them from here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumetra {

inline constexpr int32_t kManualObjects = 100;
inline constexpr int32_t kShownOnRead = 11;  // objects marked for display after reading
inline constexpr float kNoPoint = -1.0f;     // X and Y of a frame without a point

struct ManualObject {
  bool in_use = false;
  bool shown = false;
  std::vector<float> x, y;   // nm per frame; a point exists where X > 0
  std::vector<float> value;  // counts per frame; 0 where none was measured
};

// Where a click in frame `frame` put the point of the current object.
enum class MarkResult { kSet, kCorrected, kRefused };

class ManualTracks {
 public:
  ManualTracks() { Reset(0, 100, 100); }
  // Every object unused, X and Y -1.0 over `frames` frames (at most kMaxTrackFrames).
  void Reset(int32_t frames, double nm_per_pixel_x, double nm_per_pixel_y);

  int32_t Frames() const { return frames_; }
  double NmPerPixelX() const { return nm_x_; }
  double NmPerPixelY() const { return nm_y_; }
  const ManualObject& Object(int32_t i) const { return objects_[static_cast<size_t>(i)]; }
  ManualObject& Object(int32_t i) { return objects_[static_cast<size_t>(i)]; }
  bool HasPoint(int32_t object, int32_t frame) const;
  // Objects with at least one point.
  int32_t UsedCount() const;

  // The point of `object` in `frame` (nm, counts); refused outside the record.
  MarkResult Mark(int32_t object, int32_t frame, float x_nm, float y_nm, float value);
  bool RemovePoint(int32_t object, int32_t frame);
  void ClearObject(int32_t object);

  // The object the clicks mark (0-based; shown to the user as number + 1).
  int32_t Current() const { return current_; }
  void SetCurrent(int32_t object);
  // Next and previous object, wrapping round the 100.
  void NextObject() { SetCurrent((current_ + 1) % kManualObjects); }
  void PreviousObject() { SetCurrent((current_ + kManualObjects - 1) % kManualObjects); }

  // Marked or changed since last read from or written to a file.
  bool unsaved = false;

 private:
  int32_t frames_ = 0;
  double nm_x_ = 100, nm_y_ = 100;
  int32_t current_ = 0;
  std::vector<ManualObject> objects_;
};

}  // namespace lumetra
