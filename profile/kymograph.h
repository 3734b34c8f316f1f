// A kymograph along the profile line: the line's profile (band means, as the
// profile window shows them) of every frame of a playback, one row per frame,
// time running down. It is a playback consumer, so the window's playback, the
// command line and an Esc all drive it the same way.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/report.h"
#include "profile/line_profile.h"
#include "record/playback.h"

namespace lumetra {

class KymographBuilder final : public FrameConsumer {
 public:
  explicit KymographBuilder(const ProfileBand& line) : line_(line) {}

  void StartRecord(const RecordStore& store) override;
  void OnFrame(const RecordStore& store) override;
  void EndRecord(const RecordStore& store, bool completed) override;

  const ProfileBand& Line() const { return line_; }
  // Points along the line (columns); 0 when the line missed the frame.
  int32_t Points() const { return points_; }
  int32_t Rows() const { return static_cast<int32_t>(frames_.size()); }
  // Row r: frame number, its time (s) and its Points() means (NaN outside the frame).
  const std::vector<int32_t>& Frames() const { return frames_; }
  const std::vector<double>& Times() const { return times_; }
  const std::vector<double>& Values() const { return values_; }
  bool Completed() const { return completed_; }
  // Frames whose size differed from the first frame's and were left out.
  int32_t SkippedFrames() const { return skipped_; }

 private:
  ProfileBand line_;
  std::unique_ptr<BandSampler> sampler_;
  int32_t points_ = 0;
  std::vector<int32_t> frames_;
  std::vector<double> times_;
  std::vector<double> values_;
  bool completed_ = false;
  int32_t skipped_ = 0;
};

// Long form under kKymographHeader: one row per frame and point.
std::string KymographText(const KymographBuilder& k);

// The kymograph as grey levels from its smallest (black) to its largest
// (white) mean; points outside the frame are black. Points() x Rows() pixels
// of 0x00RRGGBB, row-major; empty without rows.
std::vector<uint32_t> KymographImage(const KymographBuilder& k);

// Plays the whole record (or its selected part) through a kymograph: for the
// command line. `progress` is called after each frame with (frames done, frames
// in all). Returns false when no frame could be read.
bool PlayKymograph(RecordStore& store, KymographBuilder& k, Reporter& reporter,
                  const std::atomic<bool>* stop,
                  const std::function<void(int32_t, int32_t)>& progress);

}  // namespace lumetra
