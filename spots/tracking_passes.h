// The two playback passes of the tracking window as frame consumers, so the
// window's playback, the command line and batch runs drive them through the
// same loop: Detect (detection and linking of every frame, completion at the
// end) and Link Tracks (the second pass over the completed tracks).
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/report.h"
#include "record/playback.h"
#include "spots/auto_q.h"
#include "spots/global_linker.h"
#include "spots/link_pass.h"
#include "spots/spot_finder.h"
#include "spots/spot_params.h"
#include "spots/track_linker.h"
#include "spots/track_statistics.h"
#include "spots/track_store.h"
#include "spots/worker_pool.h"

namespace lumetra {

// Progress of a pass over `total` frames after `done` of them:
// "frame 17 of 2000 (Esc stops)", and "stopped at frame 17 of 2000".
std::string PassProgress(int32_t done, int32_t total);
std::string PassStopped(int32_t done, int32_t total);

class DetectPass final : public FrameConsumer {
 public:
  // `link` false detects only (the tracks stay empty).
  DetectPass(TrackStore& store, const TrackingParams& params, Reporter& reporter, int workers = 0,
             bool link = true);

  void StartRecord(const RecordStore& record) override;
  void OnFrame(const RecordStore& record) override;
  void EndRecord(const RecordStore& record, bool completed) override;

  const SpotFinder& Finder() const { return finder_; }
  // Read-out of the last frame detected, and of the end of the pass (with the
  // dense detector its centroid fallbacks, with "Q: automatic" the choice).
  const std::string& FrameReadOut() const { return frame_readout_; }
  const std::string& EndReadOut() const { return end_readout_; }
  int32_t FramesDetected() const { return frames_; }
  // Every object of the pass ("Build Spot Map" only) and the intensities of
  // all of them.
  const SpotMap& Map() const { return map_; }
  const IntensityDistribution& Intensities() const { return intensities_; }
  // The record's frame detected last (its spots are in Finder()), -1 before any.
  int32_t LastFrame() const { return last_frame_; }
  // With "Q: automatic", the choice once made (q 0 before), and the Q used.
  const AutoQChoice& QChoice() const { return q_choice_; }
  int32_t QUsed() const { return params_.q_threshold; }
  // The detector that ran (the dense one when "Q: automatic" chose it).
  SpotDetectorKind DetectorUsed() const { return params_.detector; }
  // The track table's q: the template's Q, NaN for the dense detector.
  double TableQ() const {
    return params_.detector == SpotDetectorKind::kDense ? NAN : params_.q_threshold;
  }
  // Dense detector: fits of the pass that fell back to the centroid.
  int64_t Fallbacks() const { return fallbacks_; }

 private:
  struct HeldFrame {
    std::vector<uint16_t> pixels;
    int32_t width, height, f;
    double scale_x, scale_y;
  };
  // Detection (and linking) of one frame of the record.
  void DetectFrame(const uint16_t* pixels, int32_t width, int32_t height, double scale_x,
                   double scale_y, int32_t f);
  // "Q: automatic": Q from the frames held, then their detection in order.
  void ChooseQAndFlush();
  void JudgeTemplate();
  // Dense detector: the fitted spots of frame f, kept for linking at the end.
  void KeepFittedSpots(int32_t f, double scale_x, double scale_y);
  // Dense detector: the kept spots linked over the whole record, into the store.
  void LinkKeptSpots();

  TrackStore& store_;
  TrackingParams params_;
  TrackingParams asked_;  // as given; params_ may change with "Q: automatic"
  Reporter& reporter_;
  SpotFinder finder_;
  TrackLinker linker_;
  bool link_;
  bool first_ = true;
  int32_t frames_ = 0;
  int32_t last_frame_ = -1;
  std::string frame_readout_, end_readout_;
  SpotMap map_;
  IntensityDistribution intensities_;
  int workers_;
  bool choosing_q_ = false;
  std::vector<HeldFrame> held_;
  AutoQChoice q_choice_{0, {}, 0};
  int64_t fallbacks_ = 0;
  // Dense detector: per frame, the spots as linked and what the store keeps of them.
  struct KeptSpot {
    float intensity, sigma_x_nm, sigma_y_nm;
  };
  std::vector<std::vector<LinkSpot>> link_spots_;
  std::vector<std::vector<KeptSpot>> kept_;
};

class LinkTracksPass final : public FrameConsumer {
 public:
  // `workers` 0 uses every core; 1 keeps the fits on the calling thread.
  LinkTracksPass(TrackStore& store, const TrackingParams& params, Reporter& reporter,
                 int workers = 0);

  void StartRecord(const RecordStore& record) override;
  void OnFrame(const RecordStore& record) override;
  void EndRecord(const RecordStore& record, bool completed) override;

  const std::string& EndReadOut() const { return end_readout_; }

 private:
  TrackStore& store_;
  TrackingParams params_;
  Reporter& reporter_;
  bool active_ = false;
  std::string end_readout_;
  std::unique_ptr<WorkerPool> pool_;
  SharedPoints shared_;
};

}  // namespace lumetra
