// The region's time course: per frame the time, the region's mean intensity
// (raw and above the local background), its intensity-weighted position, the
// number of spots found in it and the stage position, collected by one
// playback. A tracked object gives the same curves from its track.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "common/region.h"
#include "record/playback.h"
#include "spots/spot_finder.h"
#include "spots/spot_params.h"
#include "spots/track_series.h"

namespace lumetra {

// One entry per point, single precision. Stage and reference curves are
// empty when the record has no stage block or no reference region was set.
struct AreaTrace {
  std::vector<float> time;       // s
  std::vector<float> intensity;  // mean counts/pixel of the region
  std::vector<float> above;      // the same above the local background
  std::vector<float> x_nm, y_nm;  // intensity-weighted centre (nm from the frame's corner)
  std::vector<float> spots;       // spots detected in the region; empty for a track
  std::vector<float> stage_x, stage_y, stage_z;  // nm, from the ADD_INFO block
  std::vector<float> reference;                  // reference region above its background
  int32_t Points() const { return static_cast<int32_t>(time.size()); }
  void Clear();
  // Keeps points first..last (0-based, inclusive) of every curve.
  void Cut(int32_t first, int32_t last);
};

// Width of the ring around the region whose mean is the local background (pixels).
inline constexpr int32_t kBackgroundRing = 2;

struct AreaMeasure {
  bool ok = false;     // some pixel of the region lies inside the frame
  double mean = 0;     // counts/pixel
  double background = 0;  // mean of the ring around the region (the region's mean without one)
  double x_nm = 0, y_nm = 0;  // weighted by the counts above the background
};

// Measures the part of the region inside the frame. Pixel (x, y) stands at
// x * nm_x, y * nm_y. The weights are the counts above the background,
// clipped at 0; without any, the centre of the region part is taken.
AreaMeasure MeasureArea(const uint16_t* frame, int32_t width, int32_t height, const Region& region,
                        double nm_x, double nm_y);

// The playback consumer that fills a trace. Spots are counted with the
// tracking window's detector and settings over the whole frame, then those
// whose centre lies in the region.
class AreaCollectPass final : public FrameConsumer {
 public:
  AreaCollectPass(AreaTrace& trace, const Region& region, std::optional<Region> reference,
                  std::optional<TrackingParams> spot_params);
  void StartRecord(const RecordStore& store) override;
  void OnFrame(const RecordStore& store) override;
  void EndRecord(const RecordStore& store, bool completed) override;
  bool Completed() const { return completed_; }

 private:
  AreaTrace& trace_;
  Region region_;
  std::optional<Region> reference_;
  std::optional<TrackingParams> spot_params_;
  std::unique_ptr<SpotFinder> finder_;
  NullReporter quiet_;
  bool completed_ = false;
};

// The curves of one tracked object: intensity, position (nm from the frame's
// corner, as a region's centre; Absolute Values off shows them from the first
// point) and time of every frame in which it has a point.
// Empty when the track has no point.
AreaTrace TraceFromTrack(const TrackSeries& track, double frame_s);

}  // namespace lumetra
