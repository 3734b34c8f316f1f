// The intensity profile along the user's profile line: at every whole pixel of
// the line's length, the mean of the band of pixels across it (the profile
// width). Band pixels outside the frame are left out of the mean; a point whose
// band lies wholly outside has no value (NaN). A line of zero length, or one
// whose band nowhere meets the frame, gives an empty profile.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "processing/profile_export.h"

namespace lumetra {

// Where the band of a line samples a frame of `width` x `height` pixels: for
// every point along the line (Length() of them) the frame indices of its band
// pixels inside the frame. Computed once, used for every frame of a kymograph.
class BandSampler {
 public:
  BandSampler(const ProfileBand& line, int32_t width, int32_t height);
  int32_t Points() const { return points_; }
  // No point of the band lies in the frame (or the line has no length).
  bool Empty() const { return empty_; }
  // Mean counts of the band at each point into `out` (Points() values; NaN
  // where the band lies outside), and the pixels each mean holds into `pixels`
  // when given.
  void Measure(const uint16_t* frame, double* out, int32_t* pixels = nullptr) const;
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }

 private:
  int32_t points_ = 0;
  int32_t width_ = 0, height_ = 0;
  bool empty_ = true;
  std::vector<int64_t> start_;  // per point, where its indices begin in index_
  std::vector<int64_t> index_;  // frame pixel indices, point after point
};

struct LineProfile {
  ProfileBand line;
  std::vector<double> mean;      // per point along the line, counts; NaN outside
  std::vector<int32_t> pixels;   // band pixels inside the frame per point
  bool Empty() const { return mean.empty(); }
};

// The profile of one frame (empty, as above, when there is none).
LineProfile MeasureLineProfile(const uint16_t* frame, int32_t width, int32_t height,
                               const ProfileBand& line);

// The centre of the line at point c (frame pixels, pixel centres at whole numbers).
void ProfilePointAt(const ProfileBand& line, int32_t c, double& x, double& y);

// One row per point under kProfileHeader; distance_nm uses `nm_per_pixel`.
std::string ProfileText(const LineProfile& profile, double nm_per_pixel);

}  // namespace lumetra
