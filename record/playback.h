// The one playback loop that drives every per-frame analysis: the window's
// timer, the command line and batch runs all step through the same "read the
// next frame, run the chain, hand the frame to each consumer" sequence, with
// a stop flag that Esc sets.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "common/report.h"
#include "record/record_store.h"

namespace lumetra {

// An analysis that sees the frames of a playback. It never reads the file
// itself: the frame is the store's current frame, after the chain.
class FrameConsumer {
 public:
  virtual ~FrameConsumer() = default;
  virtual void StartRecord(const RecordStore& /*store*/) {}
  virtual void OnFrame(const RecordStore& store) = 0;
  // `completed` is false when the playback was stopped or a read failed.
  virtual void EndRecord(const RecordStore& /*store*/, bool /*completed*/) {}
};

class Playback {
 public:
  Playback(RecordStore& store, std::vector<FrameConsumer*> consumers,
           const std::atomic<bool>* stop = nullptr);

  // Reads up to the first frame of the range (the selected part of the record
  // when UsePartOfRecord is on, else the whole record), tells the consumers a
  // record starts and hands them that frame. False when nothing could be read.
  bool Begin(Reporter& reporter);
  // Reads the next frame of the range and hands it on. False when the range is
  // done, the stop flag is set or a read failed; then call Finish.
  bool Step(Reporter& reporter);
  void Finish();

  // Begin, Step until done, Finish. Returns the number of frames handed on.
  int32_t Run(Reporter& reporter);

  int32_t FramesPlayed() const { return played_; }
  int32_t FirstFrame() const { return first_; }
  int32_t LastFrame() const { return last_; }
  bool Completed() const { return completed_; }

 private:
  void Hand();

  RecordStore& store_;
  std::vector<FrameConsumer*> consumers_;
  const std::atomic<bool>* stop_;
  int32_t first_ = 0;
  int32_t last_ = -1;
  int32_t played_ = 0;
  bool started_ = false;
  bool completed_ = false;
};

}  // namespace lumetra
