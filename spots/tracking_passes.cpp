#include "spots/tracking_passes.h"

#include <algorithm>

#include "common/parallel.h"
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

void DetectPass::StartRecord(const RecordStore& record) {
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
  // Said once before the playback runs: each refused frame only says it on
  // the status line.
  if (record.Width() < 13 || record.Height() < 13)
    reporter_.Modal(params_.track_filaments ? kAreaTooSmallFilaments : kAreaTooSmall);
}

void DetectPass::OnFrame(const RecordStore& record) {
  const int32_t f = record.CurrentFrame();
  if (f < 0 || f >= store_.Frames()) return;
  const double scale = record.Prm().ScaleX;
  const int32_t n = finder_.DetectFrame(record.FrameBuffer(), record.Width(), record.Height(),
                                        scale, params_, reporter_);
  ++frames_;
  last_frame_ = f;
  // A refused frame leaves its message on the status line.
  if (n < 0) return;
  intensities_.Add(finder_.Objects());
  if (params_.spot_map)
    map_.AddFrame(f, finder_.Objects(), {record.Prm().ScaleX, record.Prm().ScaleY}, reporter_);
  if (link_) {
    // A record whose frame size changes gets a track map of the new size.
    if (record.Width() != linker_.Width() || record.Height() != linker_.Height())
      linker_.Prepare(record.Width(), record.Height());
    linker_.LinkFrame(store_, f, first_, finder_.Objects(), finder_.LabelMap(), params_, reporter_);
    first_ = false;
  }
  frame_readout_ = finder_.ReadOut(store_.completed_count,
                                   params_.spot_map ? static_cast<int64_t>(map_.Count()) : -1);
  reporter_.Status(frame_readout_);
}

void DetectPass::EndRecord(const RecordStore&, bool) {
  if (link_) {
    if (params_.resolve_close) linker_.FinishShares(store_);
    TrackLinker::FinishRecord(store_, params_);
  }
  end_readout_ = std::to_string(store_.completed_count) + std::string(kCompletedTracks);
  reporter_.Status(end_readout_);
}

LinkTracksPass::LinkTracksPass(TrackStore& store, const TrackingParams& params, Reporter& reporter,
                               int workers)
    : store_(store), params_(params), reporter_(reporter) {
  const int threads = workers > 0 ? workers : WorkerCount();
  if (threads > 1) pool_ = std::make_unique<WorkerPool>(threads - 1);
}

void LinkTracksPass::StartRecord(const RecordStore&) {
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
