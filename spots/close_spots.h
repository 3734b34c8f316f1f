// "Resolve Close Spots": two particles a few pixels apart give one cluster of
// candidate pixels, so the plain detection reports them as one object. This
// step splits a cluster that holds two or more well-separated brightness
// maxima into one object per maximum; clusters with one maximum stay as they are.
#pragma once

#include <cstdint>
#include <vector>

#include "spots/spot_detector.h"

namespace lumetra {

// How separate two maxima must be. Brightness is the frame smoothed by a box
// (counts summed over the box); counts are taken as photons for the noise.
struct CloseSpotRules {
  int32_t smooth_half = 1;    // box half-width (pixels): 1 is a 3 x 3 box
  int32_t peak_radius = 2;    // a maximum is the brightest pixel within this square radius
  double dip_sigmas = 3.0;    // the saddle lies this many noise sd below the lower peak...
  double dip_fraction = 0.1;  // ...and this fraction of its height above the background
};

// Rules scaled to a spot sigma in pixels (the defaults for sigma up to about 1.2).
CloseSpotRules CloseSpotRulesFor(double sigma_px);

class CloseSpotSplitter {
 public:
  // Gives the candidates of each cluster with separated maxima one label per
  // maximum (each candidate goes to its nearest maximum) and renumbers the
  // labels: clusters keep their order, the parts of a split one follow each
  // other in the order of their first candidate. A frame without such a
  // cluster keeps its labels. Only labels below `object_count` are looked at;
  // at most 10000 objects result. Returns the new object count. Candidates lie
  // at least 5 pixels inside the frame, as the scan leaves them.
  int32_t Split(std::vector<Candidate>& candidates, int32_t object_count, const uint16_t* pixels,
                int32_t width, int32_t height, const CloseSpotRules& rules);

 private:
  struct Box {
    int32_t x0, y0, x1, y1;  // inclusive (pixels)
    int32_t Width() const { return x1 - x0 + 1; }
  };
  struct Peak {
    int32_t x, y;
    int64_t value;
  };
  void GroupByLabel(const std::vector<Candidate>& candidates, int32_t object_count);
  // The separated maxima of the cluster whose candidates are members_[from, to).
  void FindPeaks(const std::vector<Candidate>& candidates, size_t from, size_t to);
  // Gives each candidate of the cluster its part; returns the number of parts.
  int32_t AssignParts(const std::vector<Candidate>& candidates, size_t from, size_t to);
  void Smooth(const Box& box);
  int64_t At(int32_t x, int32_t y) const;
  bool IsPeak(int32_t x, int32_t y) const;
  bool Separated(const Peak& high, const Peak& low) const;

  const uint16_t* pixels_ = nullptr;
  int32_t width_ = 0, height_ = 0;
  CloseSpotRules rules_;
  Box box_{};
  int64_t floor_ = 0;               // lowest smoothed value of the box (background)
  std::vector<int64_t> smoothed_;   // box sums over box_, row-major
  std::vector<int32_t> members_;    // candidate indices grouped by label
  std::vector<int32_t> starts_;     // where each label's group begins in members_
  std::vector<Peak> peaks_;         // maxima of the current cluster, brightest first
  std::vector<Peak> kept_;          // the separated ones
  std::vector<int32_t> part_;       // per candidate: its maximum within the cluster
  std::vector<int32_t> order_;      // part number of each kept maximum, -1 while unused
  std::vector<int32_t> first_new_;  // per old label: its first new label
};

}  // namespace lumetra
