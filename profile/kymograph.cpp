#include "profile/kymograph.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>

#include "common/text_format.h"
#include "profile/profile_messages.h"

namespace lumetra {

void KymographBuilder::StartRecord(const RecordStore& store) {
  sampler_ = std::make_unique<BandSampler>(line_, store.Width(), store.Height());
  points_ = sampler_->Empty() ? 0 : sampler_->Points();
  frames_.clear();
  times_.clear();
  values_.clear();
  completed_ = false;
  skipped_ = 0;
}

void KymographBuilder::OnFrame(const RecordStore& store) {
  if (!sampler_ || points_ == 0) return;
  // The band's pixel indices hold for frames of the first frame's size only.
  if (store.Width() != sampler_->Width() || store.Height() != sampler_->Height()) {
    ++skipped_;
    return;
  }
  frames_.push_back(store.CurrentFrame());
  times_.push_back(store.CurrentTimeS());
  const size_t at = values_.size();
  values_.resize(at + static_cast<size_t>(points_));
  sampler_->Measure(store.FrameBuffer(), values_.data() + at);
}

void KymographBuilder::EndRecord(const RecordStore&, bool completed) {
  completed_ = completed;
}

std::string KymographText(const KymographBuilder& k) {
  std::string s(kKymographHeader);
  const size_t n = static_cast<size_t>(k.Points());
  for (size_t r = 0; r < k.Frames().size(); ++r) {
    const std::string head =
        std::to_string(k.Frames()[r]) + '\t' + FormatTable(k.Times()[r], "%.4f") + '\t';
    for (size_t c = 0; c < n; ++c)
      s += head + std::to_string(c) + '\t' + FormatTable(k.Values()[r * n + c], "%.3f") + '\n';
  }
  return s;
}

std::vector<uint32_t> KymographImage(const KymographBuilder& k) {
  const std::vector<double>& v = k.Values();
  double lo = std::numeric_limits<double>::infinity(), hi = -lo;
  for (double x : v)
    if (!std::isnan(x)) {
      lo = std::min(lo, x);
      hi = std::max(hi, x);
    }
  std::vector<uint32_t> image(v.size(), 0);
  if (!(hi >= lo)) return image;
  const double scale = hi > lo ? 255.0 / (hi - lo) : 0.0;
  for (size_t i = 0; i < v.size(); ++i) {
    if (std::isnan(v[i])) continue;
    const uint32_t g = static_cast<uint32_t>((v[i] - lo) * scale);
    image[i] = g * 0x10101u;
  }
  return image;
}

bool PlayKymograph(RecordStore& store, KymographBuilder& k, Reporter& reporter,
                  const std::atomic<bool>* stop,
                  const std::function<void(int32_t, int32_t)>& progress) {
  Playback play(store, {&k}, stop);
  if (!play.Begin(reporter)) {
    play.Finish();
    return false;
  }
  const int32_t total = play.LastFrame() - play.FirstFrame() + 1;
  if (progress) progress(play.FramesPlayed(), total);
  while (play.Step(reporter))
    if (progress) progress(play.FramesPlayed(), total);
  play.Finish();
  return true;
}

}  // namespace lumetra
