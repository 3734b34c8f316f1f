// The two playback passes of the step-detection window as frame consumers, so
// the window's playback, the command line and batch runs drive them through
// the same loop: the detection pass (drop and rise maps) and the trace pass
// (one background-corrected trace per object).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/report.h"
#include "record/playback.h"
#include "spots/worker_pool.h"
#include "steps/drop_rise_maps.h"
#include "steps/step_objects.h"

namespace lumetra {

struct DetectionSettings {
  int32_t window = kMaxWindow;  // W, frames
  int32_t half_size = 2;        // R: 0, 1, 2 for 1x1, 3x3, 5x5
  int32_t median_frames = 0;    // M: the temporal median's length, 0 when off
  DropRiseDetector::Method method = DropRiseDetector::Method::kFast;
};

class DetectionPass final : public FrameConsumer {
 public:
  // The detector must have been allocated for the record's frame size.
  DetectionPass(DropRiseDetector& detector, StepMaps& maps, const DetectionSettings& settings,
                Reporter& reporter)
      : detector_(detector), maps_(maps), settings_(settings), reporter_(reporter) {}

  void StartRecord(const RecordStore& record) override;
  void OnFrame(const RecordStore& record) override;
  void EndRecord(const RecordStore& record, bool completed) override;

  // Frames handed to the detector (within the frame limit and of the right size).
  int32_t FramesUsed() const { return used_; }
  int32_t LastFrame() const { return last_frame_; }

 private:
  DropRiseDetector& detector_;
  StepMaps& maps_;
  DetectionSettings settings_;
  Reporter& reporter_;
  int32_t used_ = 0;
  int32_t last_frame_ = -1;
};

// The traces of one trace pass.
struct TraceSet {
  int32_t frames = 0;  // n: the record's frames, at most the frame limit
  std::vector<StepObject> objects;
  std::vector<float> values;      // objects x frames, object after object
  std::vector<float> drop_time;   // s, per object; 0 until its drop frame is played
  std::vector<float> rise_time;   // s, per object
  std::vector<float> frame_time;  // s, per frame
  std::vector<uint8_t> played;    // per frame: 1 once the pass saw it

  // Sizes everything for `objects` over `frames` frames, zero-filled; throws std::bad_alloc.
  void Reset(std::vector<StepObject> chosen, int32_t frames);
  const float* Trace(size_t object) const { return values.data() + object * frames; }
  float* Trace(size_t object) { return values.data() + object * frames; }
};

// The ring divisor D of the background: 8, 40, 56 for R = 0, 1, 2. For R = 0
// the ring has 24 pixels but is divided by 8; results must match files
// written by earlier versions.
int32_t RingDivisor(int32_t half_size);

// The trace value of one object in one frame: inner box mean, less the ring
// sum / D unless `no_background`. Pixels beyond the frame edge are read at the
// nearest edge pixel, so objects at the border get a trace too.
float TraceValue(const uint16_t* px, int32_t w, int32_t h, int32_t x, int32_t y, int32_t half_size,
                 bool no_background);

class TracePass final : public FrameConsumer {
 public:
  // `pool` may be null (one thread).
  TracePass(TraceSet& traces, int32_t half_size, bool no_background, int32_t width, int32_t height,
            WorkerPool* pool)
      : traces_(traces),
        half_(half_size),
        no_background_(no_background),
        width_(width),
        height_(height),
        pool_(pool) {}

  void OnFrame(const RecordStore& record) override;

 private:
  TraceSet& traces_;
  int32_t half_;
  bool no_background_;
  int32_t width_, height_;
  WorkerPool* pool_;
};

}  // namespace lumetra
