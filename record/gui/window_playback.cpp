#include "record/gui/window_playback.h"

#include <QTimer>
#include <utility>

namespace lumetra {

WindowPlayback::WindowPlayback(QObject* parent, Reporter& reporter,
                               std::function<void(bool)> ended)
    : QObject(parent), reporter_(reporter), ended_(std::move(ended)) {
  timer_ = new QTimer(this);
  timer_->setInterval(0);
  connect(timer_, &QTimer::timeout, this, [this] { Tick(); });
}

WindowPlayback::~WindowPlayback() {
  timer_->stop();
  if (playback_) playback_->Finish();
}

bool WindowPlayback::Start(RecordStore& store, std::vector<FrameConsumer*> consumers) {
  stop_ = false;
  playback_ = std::make_unique<Playback>(store, std::move(consumers), &stop_);
  if (!playback_->Begin(reporter_)) {
    End(false);
    return false;
  }
  timer_->start();
  return true;
}

bool WindowPlayback::Play(const std::function<bool(std::vector<FrameConsumer*>)>& host,
                          RecordStore& store, std::vector<FrameConsumer*> consumers) {
  if (host) return host(std::move(consumers));
  Start(store, std::move(consumers));
  return true;
}

void WindowPlayback::RunToEnd() {
  while (playback_) Tick();
}

void WindowPlayback::Tick() {
  if (playback_ && !playback_->Step(reporter_)) End(playback_->Completed());
}

void WindowPlayback::End(bool completed) {
  timer_->stop();
  if (!playback_) return;
  playback_->Finish();
  playback_.reset();
  if (ended_) ended_(completed);
}

}  // namespace lumetra
