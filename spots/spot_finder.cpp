#include "spots/spot_finder.h"

#include <algorithm>
#include <cmath>

#include "common/text_format.h"
#include "spots/filament_detector.h"
#include "spots/spots_messages.h"

namespace lumetra {

void SpotFinder::Prepare(int32_t width, int32_t height) {
  width_ = width;
  height_ = height;
  label_map_.assign(static_cast<size_t>(width) * static_cast<size_t>(height), kNoSpot);
  index_map_.assign(label_map_.size(), -1);
  written_.clear();
  objects_.clear();
}

int32_t SpotFinder::DetectFrame(const uint16_t* pixels, int32_t width, int32_t height,
                                double nm_per_pixel, const TrackingParams& params,
                                Reporter& reporter) {
  if (width != width_ || height != height_) Prepare(width, height);
  for (int32_t at : written_) label_map_[static_cast<size_t>(at)] = kNoSpot;
  written_.clear();
  objects_.clear();
  fitted_.clear();
  mean_amplitude_ = 0;
  if (params.detector == SpotDetectorKind::kDense) {
    dense_.Detect(pixels, width, height, params.fwhm_nm / (nm_per_pixel * 2.355));
    candidate_count_ = dense_.CandidateCount();
    DenseObjects(pixels, width, height, nm_per_pixel, params.subtract_background);
    return candidate_count_;
  }
  // The template is rebuilt for every frame: the scale may change between frames.
  const SpotTemplate tmpl = MakeSpotTemplate(params.fwhm_nm, nm_per_pixel);
  candidate_count_ = params.track_filaments ? DetectFilamentPixels(pixels, width, 0, width, 0,
                                                                   height, params.q_threshold,
                                                                   detector_.Candidates(), reporter)
                                            : detector_.Detect(pixels, width, 0, width, 0, height,
                                                               tmpl, params.q_threshold, reporter);
  if (candidate_count_ < 0) return -1;
  std::vector<Candidate>& cands = detector_.Candidates();
  double sum = 0;
  for (const Candidate& c : cands) sum += c.amplitude;
  if (!cands.empty()) mean_amplitude_ = sum / static_cast<double>(cands.size());
  int32_t count = ClusterCandidates(cands, &index_map_, width);
  if (params.resolve_close)
    count = splitter_.Split(cands, count, pixels, width, height,
                            CloseSpotRulesFor(params.fwhm_nm / (nm_per_pixel * 2.355)));
  DetectCenters(cands, count, pixels, width, params.subtract_background, nm_per_pixel, objects_,
                label_map_, written_);
  return candidate_count_;
}

void SpotFinder::DenseObjects(const uint16_t* pixels, int32_t width, int32_t height,
                              double nm_per_pixel, bool subtract_background) {
  double sum = 0;
  for (const DenseSpot& d : dense_.Spots()) {
    if (objects_.size() == static_cast<size_t>(kMaxObjects)) break;
    const int32_t x = std::clamp(static_cast<int32_t>(std::lround(d.x)), 0, width - 1);
    const int32_t y = std::clamp(static_cast<int32_t>(std::lround(d.y)), 0, height - 1);
    const size_t at = static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
    if (label_map_[at] != kNoSpot) continue;
    SpotRec o;
    o.X = x;
    o.Y = y;
    o.number = static_cast<int32_t>(objects_.size());
    o.intensity = SpotIntensityAnywhere(pixels, width, height, x, y, subtract_background);
    label_map_[at] = static_cast<uint16_t>(o.number);
    written_.push_back(static_cast<int32_t>(at));
    objects_.push_back(o);
    fitted_.push_back(d);
    sum += o.intensity;
  }
  if (!objects_.empty()) mean_amplitude_ = sum / static_cast<double>(objects_.size());
  NearestNeighbourDistances(objects_, nm_per_pixel);
}

std::string SpotFinder::ReadOut(int32_t completed_tracks, int64_t map_count) const {
  std::string s = std::to_string(ObjectCount());
  s += kObjectsOpen;
  s += std::to_string(std::max(candidate_count_, 0));
  s += kPixelsPart;
  s += std::to_string(TruncToInt(mean_amplitude_));
  s += kCountsPerPixelPart;
  s += std::to_string(completed_tracks);
  s += kCompletedTracks;
  if (map_count >= 0) {
    s += std::to_string(map_count);
    s += kSpotsInMap;
  }
  return s;
}

}  // namespace lumetra
