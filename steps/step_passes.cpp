#include "steps/step_passes.h"

#include <algorithm>

#include "steps/steps_messages.h"

namespace lumetra {

void DetectionPass::StartRecord(const RecordStore&) {
  used_ = 0;
  last_frame_ = -1;
  detector_.Start(maps_, settings_.window, settings_.half_size, settings_.median_frames,
                  settings_.method);
}

void DetectionPass::OnFrame(const RecordStore& record) {
  const int32_t f = record.CurrentFrame();
  // A frame of another size than the record's first is left out.
  if (f > kStepFrameLimit - 1 || record.Width() != detector_.Width() ||
      record.Height() != detector_.Height())
    return;
  detector_.Frame(record.FrameBuffer(), f);
  ++used_;
  last_frame_ = f;
  reporter_.Status(detector_.MarksText());
}

void DetectionPass::EndRecord(const RecordStore&, bool) {
  // A stopped pass keeps what it found: the maps are finished either way.
  detector_.Finish();
}

void TraceSet::Reset(std::vector<StepObject> chosen, int32_t n) {
  objects = std::move(chosen);
  frames = std::max(n, 0);
  values.assign(objects.size() * static_cast<size_t>(frames), 0.0f);
  drop_time.assign(objects.size(), 0.0f);
  rise_time.assign(objects.size(), 0.0f);
  frame_time.assign(static_cast<size_t>(frames), 0.0f);
  played.assign(static_cast<size_t>(frames), 0);
}

int32_t RingDivisor(int32_t half_size) {
  switch (half_size) {
    case 1:
      return 40;
    case 2:
      return 56;
    default:
      return 8;
  }
}

float TraceValue(const uint16_t* px, int32_t w, int32_t h, int32_t x, int32_t y, int32_t half_size,
                 bool no_background) {
  const int32_t r = half_size;
  int32_t inner = 0, ring = 0;
  const bool inside = x - r - 2 >= 0 && y - r - 2 >= 0 && x + r + 2 < w && y + r + 2 < h;
  for (int32_t dy = -r - 2; dy <= r + 2; ++dy) {
    const int32_t yy = inside ? y + dy : std::clamp(y + dy, 0, h - 1);
    const uint16_t* row = px + static_cast<size_t>(yy) * w;
    for (int32_t dx = -r - 2; dx <= r + 2; ++dx) {
      const int32_t xx = inside ? x + dx : std::clamp(x + dx, 0, w - 1);
      const bool in_box = dx >= -r && dx <= r && dy >= -r && dy <= r;
      (in_box ? inner : ring) += row[xx];
    }
  }
  const float mean = static_cast<float>(inner) / static_cast<float>(SpotPixelCount(r));
  if (no_background) return mean;
  return mean - static_cast<float>(ring) / static_cast<float>(RingDivisor(r));
}

void TracePass::OnFrame(const RecordStore& record) {
  const int32_t f = record.CurrentFrame();
  if (f < 0 || f >= traces_.frames || f > kStepFrameLimit - 1 || record.Width() != width_ ||
      record.Height() != height_)
    return;
  const uint16_t* px = record.FrameBuffer();
  const float now = static_cast<float>(record.Prm().TimeMs * 0.001);
  const int64_t count = static_cast<int64_t>(traces_.objects.size());
  auto run = [&](int64_t a, int64_t b) {
    for (int64_t i = a; i < b; ++i) {
      const StepObject& o = traces_.objects[static_cast<size_t>(i)];
      traces_.Trace(static_cast<size_t>(i))[f] =
          TraceValue(px, width_, height_, o.x, o.y, half_, no_background_);
      if (f == o.drop_frame) traces_.drop_time[static_cast<size_t>(i)] = now;
      if (f == o.rise_frame) traces_.rise_time[static_cast<size_t>(i)] = now;
    }
  };
  const int tasks = pool_ && count >= 256 ? pool_->Threads() + 1 : 1;
  if (tasks == 1) {
    run(0, count);
  } else {
    pool_->Run(tasks, [&](int i) { run(count * i / tasks, count * (i + 1) / tasks); });
  }
  traces_.frame_time[static_cast<size_t>(f)] = now;
  traces_.played[static_cast<size_t>(f)] = 1;
}

}  // namespace lumetra
