#include "spots/tracking_passes.h"

#include <algorithm>

#include "common/parallel.h"
#include "common/text_format.h"
#include "spots/link_pass.h"
#include "spots/spots_messages.h"

namespace lumetra {

std::string PassProgress(int32_t done, int32_t total) {
  return std::string(kProgressFrame) + std::to_string(done) + std::string(kProgressOf) +
         std::to_string(total) + std::string(kProgressEscStops);
}

std::string PassStopped(int32_t done, int32_t total) {
  return std::string(kStoppedAtFrame) + std::to_string(done) + std::string(kProgressOf) +
         std::to_string(total);
}

DetectPass::DetectPass(TrackStore& store, const TrackingParams& params, Reporter& reporter,
                       int workers, bool link)
    : store_(store),
      params_(params),
      reporter_(reporter),
      finder_(workers),
      link_(link),
      workers_(workers) {
  // The dense detector splits close spots itself.
  if (params_.detector == SpotDetectorKind::kDense) params_.resolve_close = false;
  asked_ = params_;
}

void DetectPass::StartRecord(const RecordStore& record) {
  // A record before may have had its detector chosen by "Q: automatic".
  params_ = asked_;
  if (record.FrameCount() > kMaxTrackFrames) reporter_.Modal(kTooManyFrames);
  store_.Reset(record.FrameCount());
  store_.unsaved = link_;
  const std::vector<float>& times = record.FrameTimes();
  std::copy_n(times.begin(), std::min<size_t>(times.size(), store_.frame_times.size()),
              store_.frame_times.begin());
  finder_.Prepare(record.Width(), record.Height());
  linker_.Prepare(record.Width(), record.Height());
  first_ = true;
  frames_ = 0;
  last_frame_ = -1;
  frame_readout_.clear();
  end_readout_.clear();
  map_.Clear();
  intensities_.Clear();
  held_.clear();
  fallbacks_ = 0;
  link_spots_.assign(link_ && params_.detector == SpotDetectorKind::kDense
                         ? static_cast<size_t>(store_.Frames())
                         : 0,
                     {});
  kept_.assign(link_spots_.size(), {});
  store_.dense = !link_spots_.empty();
  q_choice_ = {0, {}, 0};
  choosing_q_ = params_.q_auto && params_.detector == SpotDetectorKind::kTemplate &&
                !params_.track_filaments;
  // Said once before the playback runs: each refused frame only says it on
  // the status line.
  if (record.Width() < 13 || record.Height() < 13)
    reporter_.Modal(params_.track_filaments ? kAreaTooSmallFilaments : kAreaTooSmall);
}

void DetectPass::OnFrame(const RecordStore& record) {
  const int32_t f = record.CurrentFrame();
  if (f < 0 || f >= store_.Frames()) return;
  const PRM_INFO& prm = record.Prm();
  if (!choosing_q_) {
    DetectFrame(record.FrameBuffer(), record.Width(), record.Height(), prm.ScaleX, prm.ScaleY, f);
    return;
  }
  const uint16_t* pixels = record.FrameBuffer();
  const size_t n = static_cast<size_t>(record.Width()) * static_cast<size_t>(record.Height());
  held_.push_back({std::vector<uint16_t>(pixels, pixels + n), record.Width(), record.Height(), f,
                   prm.ScaleX, prm.ScaleY});
  if (held_.size() == static_cast<size_t>(kAutoQFrames)) ChooseQAndFlush();
}

void DetectPass::ChooseQAndFlush() {
  choosing_q_ = false;
  if (held_.empty()) return;
  // Frames of the first one's size are measured: the choice needs one shape.
  std::vector<const uint16_t*> frames;
  for (const HeldFrame& h : held_)
    if (h.width == held_[0].width && h.height == held_[0].height) frames.push_back(h.pixels.data());
  q_choice_ = ChooseQ(MeasureNoise(frames, held_[0].width, held_[0].height), params_.fwhm_nm,
                      held_[0].scale_x, workers_);
  params_.q_threshold = q_choice_.q;
  JudgeTemplate();
  for (const HeldFrame& h : held_)
    DetectFrame(h.pixels.data(), h.width, h.height, h.scale_x, h.scale_y, h.f);
  held_.clear();
}

// Spots the template would miss too often at the chosen Q (a dim record):
// the dense detector takes over for the whole record, and says so.
void DetectPass::JudgeTemplate() {
  DenseDetector dense(workers_);
  std::vector<std::vector<DenseSpot>> found;
  for (const HeldFrame& h : held_) {
    if (h.width != held_[0].width || h.height != held_[0].height) continue;
    dense.Detect(h.pixels.data(), h.width, h.height, params_.fwhm_nm / (h.scale_x * 2.355));
    found.push_back(dense.Spots());
  }
  // The record's spots are those seen again within 3 pixels in the frame
  // before or after; the noise's few false spots seldom are.
  auto seen_in = [&](size_t i, const DenseSpot& s) {
    for (const DenseSpot& o : found[i])
      if ((o.x - s.x) * (o.x - s.x) + (o.y - s.y) * (o.y - s.y) <= 9.0) return true;
    return false;
  };
  std::vector<double> counts;
  for (size_t i = 0; i < found.size(); ++i)
    for (const DenseSpot& s : found[i])
      if (s.fitted && s.photons > 0 &&
          ((i > 0 && seen_in(i - 1, s)) || (i + 1 < found.size() && seen_in(i + 1, s))))
        counts.push_back(s.photons);
  if (counts.size() < static_cast<size_t>(kAutoQMinSpots)) return;
  std::nth_element(counts.begin(), counts.begin() + static_cast<std::ptrdiff_t>(counts.size() / 2),
                   counts.end());
  q_choice_.spot_counts = counts[counts.size() / 2];
  q_choice_.template_finds = TemplateFinds(q_choice_.level, q_choice_.spot_counts, params_.fwhm_nm,
                                           held_[0].scale_x, q_choice_.q, workers_);
  if (q_choice_.template_finds >= kAutoQMinFound) return;
  q_choice_.dense = true;
  params_.detector = SpotDetectorKind::kDense;
  params_.resolve_close = false;
  if (!link_) return;
  link_spots_.assign(static_cast<size_t>(store_.Frames()), {});
  kept_.assign(link_spots_.size(), {});
  store_.dense = true;
}

void DetectPass::DetectFrame(const uint16_t* pixels, int32_t width, int32_t height,
                             double scale_x, double scale_y, int32_t f) {
  const int32_t n = finder_.DetectFrame(pixels, width, height, scale_x, params_, reporter_);
  ++frames_;
  last_frame_ = f;
  // A refused frame leaves its message on the status line.
  if (n < 0) return;
  fallbacks_ += params_.detector == SpotDetectorKind::kDense ? finder_.Fallbacks() : 0;
  intensities_.Add(finder_.Objects());
  if (params_.spot_map) map_.AddFrame(f, finder_.Objects(), {scale_x, scale_y}, reporter_);
  if (link_ && params_.detector == SpotDetectorKind::kDense) {
    KeepFittedSpots(f, scale_x, scale_y);
  } else if (link_) {
    // A record whose frame size changes gets a track map of the new size.
    if (width != linker_.Width() || height != linker_.Height()) linker_.Prepare(width, height);
    linker_.LinkFrame(store_, f, first_, finder_.Objects(), finder_.LabelMap(), params_, reporter_);
    first_ = false;
  }
  frame_readout_ = finder_.ReadOut(store_.completed_count,
                                   params_.spot_map ? static_cast<int64_t>(map_.Count()) : -1);
  reporter_.Status(frame_readout_);
}

void DetectPass::KeepFittedSpots(int32_t f, double scale_x, double scale_y) {
  if (static_cast<size_t>(f) >= link_spots_.size()) return;
  const std::vector<SpotRec>& objects = finder_.Objects();
  const std::vector<DenseSpot>& fitted = finder_.Fitted();
  std::vector<LinkSpot>& spots = link_spots_[static_cast<size_t>(f)];
  std::vector<KeptSpot>& kept = kept_[static_cast<size_t>(f)];
  spots.clear();
  kept.clear();
  for (size_t i = 0; i < objects.size() && i < fitted.size(); ++i) {
    spots.push_back({static_cast<float>(fitted[i].x), static_cast<float>(fitted[i].y)});
    kept.push_back({objects[i].intensity, static_cast<float>(fitted[i].sigma_x * scale_x),
                    static_cast<float>(fitted[i].sigma_y * scale_y)});
  }
}

void DetectPass::LinkKeptSpots() {
  const std::vector<LinkedTrack> tracks =
      LinkGlobally(link_spots_, {params_.max_radius, params_.min_track});
  int32_t slot = 0;
  for (const LinkedTrack& lt : tracks) {
    if (slot == kMaxTracks) {
      store_.truncated += static_cast<int32_t>(tracks.size()) - slot;
      reporter_.Warning(kTooManySpots);
      break;
    }
    TrackRec& t = store_.Use(slot);
    for (size_t k = 0; k < lt.spot.size(); ++k) {
      if (lt.spot[k] < 0) continue;  // a frame the track crosses without a spot
      const size_t f = static_cast<size_t>(lt.first_frame) + k;
      const LinkSpot& s = link_spots_[f][static_cast<size_t>(lt.spot[k])];
      const KeptSpot& kept = kept_[f][static_cast<size_t>(lt.spot[k])];
      // 0.0 everywhere marks a frame without a point: a real point never reads so.
      t.x[f] = s.x == 0.0f && s.y == 0.0f ? 1e-6f : s.x;
      t.y[f] = s.y;
      t.intensity[f] = kept.intensity;
      t.sigma_x[f] = kept.sigma_x_nm;
      t.sigma_y[f] = kept.sigma_y_nm;
    }
    const size_t first = static_cast<size_t>(lt.first_frame);
    t.first_frame = lt.first_frame;
    t.point_count = lt.LastFrame() - lt.first_frame;
    t.completed = 1;
    t.X = TruncToInt(t.x[first]);
    t.Y = TruncToInt(t.y[first]);
    t.start_intensity = t.intensity[first];
    ++store_.completed_count;
    ++slot;
  }
  store_.track_count = slot;
}

void DetectPass::EndRecord(const RecordStore&, bool) {
  // A record shorter than the frames measured for Q, or one stopped early.
  if (choosing_q_) ChooseQAndFlush();
  if (link_ && params_.detector == SpotDetectorKind::kDense) {
    LinkKeptSpots();
  } else if (link_) {
    if (params_.resolve_close) linker_.FinishShares(store_);
    TrackLinker::FinishRecord(store_, params_);
  }
  end_readout_ = std::to_string(store_.completed_count) + std::string(kCompletedTracks);
  // Said first, where a narrow status bar still shows it; the reason comes at the end.
  if (q_choice_.dense) end_readout_ += std::string(kAutoQHandedOver);
  if (params_.detector == SpotDetectorKind::kDense)
    end_readout_ += std::string(kFallbacksOpen) + std::to_string(fallbacks_) +
                    std::string(kFallbacksPart);
  if (q_choice_.q > 0) end_readout_ += std::string(kFallbacksOpen) + AutoQReadOut(q_choice_);
  reporter_.Status(end_readout_);
}

LinkTracksPass::LinkTracksPass(TrackStore& store, const TrackingParams& params, Reporter& reporter,
                               int workers)
    : store_(store), params_(params), reporter_(reporter) {
  if (params_.detector == SpotDetectorKind::kDense) params_.resolve_close = false;
  const int threads = workers > 0 ? workers : WorkerCount();
  if (threads > 1) pool_ = std::make_unique<WorkerPool>(threads - 1);
}

void LinkTracksPass::StartRecord(const RecordStore&) {
  // Tracks of fitted centres, whichever detector was asked for ("Q: automatic"
  // may have handed the record to the dense detector).
  if (store_.dense) {
    params_.detector = SpotDetectorKind::kDense;
    params_.resolve_close = false;
  }
  // The positions of a refined store are already in um: a second run would
  // read them as pixels.
  active_ = !store_.refined;
  if (active_) store_.too_bright = store_.too_big_radius = store_.truncated = 0;
  shared_.before.clear();
}

void LinkTracksPass::OnFrame(const RecordStore& record) {
  if (!active_) return;
  const PRM_INFO& prm = record.Prm();
  RefineFrame(store_,
              {record.FrameBuffer(), record.Width(), record.Height(), prm.ScaleX, prm.ScaleY,
               record.CurrentFrame()},
              params_, pool_.get(), &shared_);
}

void LinkTracksPass::EndRecord(const RecordStore&, bool) {
  if (active_) {
    KeepRefinedFrames(store_, params_);
    store_.refined = true;
    store_.unsaved = true;
  }
  end_readout_ = LinkPassReadOut(store_);
  reporter_.Status(end_readout_);
}

}  // namespace lumetra
