// "Dense Field Detection": a second spot detector for crowded and dim records.
// Candidates are the local maxima of the band-passed frame (a Gaussian of the
// spot's width less the mean of a wider box) above a threshold set from the
// frame's own noise; nearby candidates are fitted together by a
// multi-emitter maximum-likelihood fit, which adds one more spot wherever the
// residual shows one and the likelihood gain pays for its three parameters.
// Filtering and fits run on the WorkerPool; the spots come out in the same
// order and with the same bits whatever the number of threads.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "spots/emitter_fit.h"
#include "spots/worker_pool.h"

namespace lumetra {

struct DenseSpot {
  double x = 0, y = 0;       // centre in frame pixels (x = column, pixel centres at whole numbers)
  double photons = 0;        // counts in the spot
  double background = 0;     // counts/pixel under it
  double sigma_x = 0, sigma_y = 0;  // Cramér-Rao bound of the centre (pixels); NaN for a centroid
  bool fitted = true;        // false: the fit did not converge and (x, y) is the centroid
};

// Rules of the detector. The threshold lets about 19 false candidates through
// in a 512 x 512 frame of pure noise (one at 4.6 sd), so that spots of 300
// photons on 100 counts are missed in fewer than 1 frame of 100; a false spot
// seldom lasts the minimum track length, and the tracks drop it.
struct DenseRules {
  double threshold_sigmas = 3.8;  // candidate: band-passed value above this many noise sd
  double add_sigmas = 5.0;        // a 3 x 3 residual this far above the noise proposes a spot...
  double min_gain = 10.0;         // ...kept when the log-likelihood rises by more than this
  // A fitted spot whose 5 x 5 pixels misfit (Pearson's chi-square) by more than
  // this many sd of its expected spread is tried as two (kept on min_gain).
  double split_sigmas = 4.0;
};

class DenseDetector {
 public:
  // `workers` 0 uses every core; 1 keeps the work on the calling thread.
  explicit DenseDetector(int workers = 0);
  ~DenseDetector();

  // Detects the spots of a row-major frame; `sigma_px` is the spot's Gaussian
  // sigma in pixels. Returns the number of spots.
  int32_t Detect(const uint16_t* pixels, int32_t width, int32_t height, double sigma_px,
                 const DenseRules& rules = {});

  const std::vector<DenseSpot>& Spots() const { return spots_; }
  int32_t CandidateCount() const { return static_cast<int32_t>(candidates_.size()); }
  // Spots of the last frame whose fit did not converge (their centre is the centroid).
  int32_t Fallbacks() const { return fallbacks_; }
  // Robust standard deviation of the band-passed frame (counts).
  double Noise() const { return noise_; }
  // The band-passed frame of the last call, row-major.
  const std::vector<float>& BandPassed() const { return band_; }

 private:
  struct Peak {
    int32_t x, y;
  };
  struct Group {
    int32_t first, count;  // members_[first, first + count)
  };
  struct Task;
  void Filter(const uint16_t* pixels, int threads);
  void FindPeaks(double threshold, int threads);
  void MakeGroups();
  void FitGroup(const Group& g, Task& task) const;
  void RunTasks(int count, int threads, const std::function<void(int)>& task);

  int workers_;
  const uint16_t* pixels_ = nullptr;
  int32_t width_ = 0, height_ = 0;
  double sigma_ = 1;
  int32_t gauss_half_ = 1, box_half_ = 1, fit_half_ = 1;
  std::vector<float> weights_;
  std::vector<float> hgauss_, hbox_, band_;
  std::vector<Peak> candidates_;
  std::vector<int32_t> members_;
  std::vector<Group> groups_;
  std::vector<std::unique_ptr<Task>> tasks_;
  std::unique_ptr<WorkerPool> pool_;
  int pool_threads_ = 0;
  DenseRules rules_;
  std::vector<DenseSpot> spots_;
  int32_t fallbacks_ = 0;
  double noise_ = 0;
};

}  // namespace lumetra
