#include "record/playback.h"

namespace lumetra {

Playback::Playback(RecordStore& store, std::vector<FrameConsumer*> consumers,
                   const std::atomic<bool>* stop)
    : store_(store), consumers_(std::move(consumers)), stop_(stop) {}

void Playback::Hand() {
  for (FrameConsumer* c : consumers_) c->OnFrame(store_);
  ++played_;
}

bool Playback::Begin(Reporter& reporter) {
  played_ = 0;
  completed_ = false;
  started_ = false;
  if (!store_.RecordLoaded() || store_.FrameCount() == 0) return false;
  first_ = store_.PlayFirstFrame();
  last_ = store_.PlayLastFrame();
  // Every frame before the first passes the chain too, so running filters
  // start the range with the same history as a plain playback.
  store_.FirstFrame(reporter);
  if (!store_.RecordReading()) return false;
  while (store_.CurrentFrame() < first_) {
    if (stop_ && stop_->load()) return false;
    if (!store_.NextFrame(reporter)) return false;
  }
  started_ = true;
  for (FrameConsumer* c : consumers_) c->StartRecord(store_);
  Hand();
  return true;
}

bool Playback::Step(Reporter& reporter) {
  if (!started_) return false;
  if (stop_ && stop_->load()) return false;
  if (store_.CurrentFrame() >= last_) {
    completed_ = true;
    return false;
  }
  const int32_t before = store_.CurrentFrame();
  if (!store_.NextFrame(reporter) || store_.CurrentFrame() != before + 1) return false;
  Hand();
  return true;
}

void Playback::Finish() {
  if (!started_) return;
  started_ = false;
  for (FrameConsumer* c : consumers_) c->EndRecord(store_, completed_);
}

int32_t Playback::Run(Reporter& reporter) {
  if (Begin(reporter)) {
    while (Step(reporter)) {
    }
  }
  Finish();
  return played_;
}

}  // namespace lumetra
