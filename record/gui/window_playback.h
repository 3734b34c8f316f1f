// A tool window's own playback, for when no main window plays the record for
// it (the window used alone, and its tests): the one playback loop, stepped
// by a zero-interval timer so the window stays live, and stopped by a flag
// the window's Esc sets.
#pragma once

#include <QObject>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "common/report.h"
#include "record/playback.h"

class QTimer;

namespace lumetra {

class WindowPlayback : public QObject {
 public:
  // `ended(completed)` runs once when a started playback ends (done, stopped,
  // or a read failed), after the loop has finished.
  WindowPlayback(QObject* parent, Reporter& reporter, std::function<void(bool)> ended);
  // Ends the loop without calling `ended`: the window is going away.
  ~WindowPlayback() override;

  // Starts over the consumers; false, with `ended(false)` already called,
  // when not even the first frame could be read.
  bool Start(RecordStore& store, std::vector<FrameConsumer*> consumers);
  // Plays on the host's playback when the window has a host, else starts its
  // own. False only when the host refused (it is busy with another run).
  bool Play(const std::function<bool(std::vector<FrameConsumer*>)>& host, RecordStore& store,
            std::vector<FrameConsumer*> consumers);
  // The next step ends the playback as stopped.
  void Stop() { stop_ = true; }
  // Steps to the end at once (tests, and a window that must finish now).
  void RunToEnd();
  bool Active() const { return playback_ != nullptr; }

 private:
  void Tick();
  void End(bool completed);

  Reporter& reporter_;
  std::function<void(bool)> ended_;
  QTimer* timer_ = nullptr;
  std::unique_ptr<Playback> playback_;
  std::atomic<bool> stop_{false};
};

}  // namespace lumetra
