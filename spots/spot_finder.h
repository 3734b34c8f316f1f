// Detection of one whole frame as the tracking window runs it: candidates,
// clustering, objects with their intensities and distances, the label map and
// the status read-out. Buffers are kept from frame to frame.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/report.h"
#include "spots/close_spots.h"
#include "spots/dense_detector.h"
#include "spots/spot_detector.h"
#include "spots/spot_objects.h"
#include "spots/spot_params.h"

namespace lumetra {

class SpotFinder {
 public:
  explicit SpotFinder(int workers = 0) : detector_(workers), dense_(workers) {}

  // Sizes the label map for frames of this size (every pixel kNoSpot).
  void Prepare(int32_t width, int32_t height);

  // Detects over the whole frame (the filament variant with "Track
  // Filaments"). Returns the candidate count, or -1 when the frame is too
  // small (then there are no objects).
  int32_t DetectFrame(const uint16_t* pixels, int32_t width, int32_t height, double nm_per_pixel,
                      const TrackingParams& params, Reporter& reporter);

  const std::vector<Candidate>& Candidates() const { return detector_.Candidates(); }
  const std::vector<SpotRec>& Objects() const { return objects_; }
  std::vector<SpotRec>& Objects() { return objects_; }
  // Object number at each pixel that is an object's centre, else kNoSpot.
  const std::vector<uint16_t>& LabelMap() const { return label_map_; }
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }
  int32_t CandidateCount() const { return candidate_count_; }
  int32_t ObjectCount() const { return static_cast<int32_t>(objects_.size()); }
  // Mean fitted amplitude of the candidates, counts/pixel (0 without candidates).
  double MeanAmplitude() const { return mean_amplitude_; }
  // With the dense detector: the fitted spot of each object (same order as
  // Objects()), and the fits of the frame that fell back to the centroid.
  const std::vector<DenseSpot>& Fitted() const { return fitted_; }
  int32_t Fallbacks() const { return dense_.Fallbacks(); }

  // "58 objects (1204 pixels,85 cnts/pix),3 completed tracks"; while the spot
  // map is built (map_count >= 0) the map count and " Spots in Map)" follow.
  std::string ReadOut(int32_t completed_tracks, int64_t map_count = -1) const;

 private:
  // Objects from the dense detector's spots: each at its nearest pixel (a
  // second spot on a taken pixel is left out), intensities measured there.
  void DenseObjects(const uint16_t* pixels, int32_t width, int32_t height, double nm_per_pixel,
                    bool subtract_background);

  SpotDetector detector_;
  DenseDetector dense_;
  std::vector<DenseSpot> fitted_;
  CloseSpotSplitter splitter_;
  std::vector<SpotRec> objects_;
  std::vector<uint16_t> label_map_;
  std::vector<int32_t> written_;
  std::vector<int32_t> index_map_;  // clustering scratch, -1 between frames
  int32_t width_ = 0, height_ = 0;
  int32_t candidate_count_ = 0;
  double mean_amplitude_ = 0;
};

}  // namespace lumetra
