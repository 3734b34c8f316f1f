// StepAnalysis: one session of the step-detection window on the open record.
// It holds the window's settings, the maps, the chosen objects, the traces
// and the scores, and offers one call per window command, so the window, the
// command line and batch runs take the same path. The window asks for input,
// calls one of these and redraws from the accessors; every message reaches
// the reporter given at construction.
//
// The usual order:
//   OpenRecord      the window opens on a record: buffers, "... Mb allocated"
//   StartTrClick    Detect: the detection pass; the drop image; the object count
//   InpThrClick, SpotPixClick, SubtrMaxRiseClick, AddMaxRiseClick
//                   choose the objects again from the maps (count in the status)
//   CollectClick    Tracking: the trace pass over the chosen objects
//   ShowStestClick, ShowPtestClick, ShowMStestClick
//                   score every collected object; that test is then on show
//   NextObject/PrevObject, AmplitudeHistogram, TimeHistogram, SaveTXTClick
// A refused command changes nothing: maps, traces and scores stay.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/report.h"
#include "record/record_store.h"
#include "settings/settings_model.h"
#include "steps/drop_rise_maps.h"
#include "steps/step_objects.h"
#include "steps/step_passes.h"
#include "steps/step_results.h"
#include "steps/step_tests.h"

namespace lumetra {

struct StepSettings {
  int32_t window = kMaxWindow;  // W, frames, 1..10 (the settings file's DetectWindow)
  int32_t half_size = 2;        // R: 0 (1X1), 1 (3X3), 2 (5X5)
  bool no_background = false;   // NoBackgrSubtr
  int32_t drop_threshold = kDefaultDropThreshold;
  ObjectKind kind = ObjectKind::kSpots;
  ChoiceMap choice = ChoiceMap::kDrop;
  int32_t s_threshold = kDefaultTestThreshold;
  int32_t p_threshold = kDefaultTestThreshold;
  int32_t ms_threshold = kDefaultTestThreshold;
  int32_t max_steps = kMaxMsSteps;  // LimitNofSteps, 2..9
  double amplitude_bin = 10;        // counts
  double time_bin = 1;              // s
  DropRiseDetector::Method method = DropRiseDetector::Method::kFast;
};

class StepAnalysis {
 public:
  // `workers` 0 uses every core; 1 keeps everything on the calling thread.
  explicit StepAnalysis(Reporter& reporter, int workers = 0);

  // --- Settings ---------------------------------------------------------
  StepSettings& Params() { return settings_; }
  const StepSettings& Params() const { return settings_; }
  // The settings file's DetectWindow becomes W.
  void ApplySettings(const Settings& settings);
  // WindLenClick: "Filter LEngth (frames)=", 1..10, else "Value out of Order (1-10)".
  bool WindLenClick(std::string_view text);
  // LimitNofStepsClick: "Max N of Steps=", 2..9, else "Steps Number must be between 2 and 9".
  bool LimitNofStepsClick(std::string_view text);
  // The test threshold of `test` ("S-test Thr=" ...), 0..1000.
  bool SetTestThreshold(StepTest test, std::string_view text);
  // Bin sizes of the distributions: counts (1..100000) and seconds (0 < v <= 10000).
  bool SetAmplitudeBinClick(std::string_view text);
  bool SetTimeBinClick(std::string_view text);
  // Aver1X1/Aver3X3/Aver5X5: R = 0, 1, 2. Takes effect at the next Detect and Tracking.
  void SetSpotSize(int32_t half_size);
  void NoBackgrSubtrClick() { settings_.no_background = !settings_.no_background; }
  // Menu captions: "SpotSize(5X5)" and "Window=10fr".
  std::string SpotSizeCaption() const;
  std::string WindLenCaption() const { return WindowCaption(settings_.window); }

  // --- Record and passes ------------------------------------------------
  // The window opens on the record: allocates the ring and maps for its frame
  // size, says "Too many frames in record - ..." above 1000 frames, and sets
  // the status "N Mb allocated - Click 'Detect'". False after an allocation message.
  bool OpenRecord(const RecordStore& record);
  // Frames the analysis looks at: the record's, at most 1000.
  int32_t Frames() const { return frames_; }

  // StartTrClick: the detection pass over the record (or its selected part),
  // then the drop image in the record's frame buffer and the object count.
  // `median_frames`: the main window's temporal median length (0 when off).
  bool StartTrClick(RecordStore& record, int32_t median_frames,
                    const std::atomic<bool>* stop = nullptr);
  // For a window that steps the playback itself: the consumer of the pass,
  // then FinishDetect once the playback has finished.
  DetectionPass* BeginDetect(const RecordStore& record, int32_t median_frames);
  void FinishDetect(RecordStore& record);

  // Object choice; each reports the new count in the status.
  bool InpThrClick(std::string_view text);  // "Set Drop Threshold", 1..65535
  void SpotPixClick();                      // spots <-> single pixels
  void SubtrMaxRiseClick();                 // choose on drop - rise
  void AddMaxRiseClick();                   // choose on drop + rise
  void UseDropMapClick();                   // back to the drop map alone
  // A spot sent from elsewhere (a track of the tracking window, a click on
  // the image): (x, y) joins the chosen objects with the drop and rise frames
  // the maps hold there, so the next Tracking collects its trace. Refused
  // before Detect and outside the frame; a pixel already chosen is not doubled.
  bool AddObjectClick(int32_t x, int32_t y);

  // CollectClick: the trace pass over the chosen objects. Refused (with its
  // message, traces kept) before Detect or when no object is chosen.
  bool CollectClick(RecordStore& record, const std::atomic<bool>* stop = nullptr);
  TracePass* BeginCollect(const RecordStore& record);

  // The tests over every collected object; the test becomes the one on show.
  bool ShowStestClick();
  bool ShowPtestClick();
  bool ShowMStestClick();
  bool ShowTest(StepTest test);
  // One test over every collected object without putting it on show (the
  // tables for scripts carry every test's scores).
  bool RunTest(StepTest test);

  // --- Views --------------------------------------------------------------
  const StepMaps& Maps() const { return maps_; }
  bool Detected() const { return detected_; }
  // The low 16 bits of every DropMap (or RiseMap) entry: the frame shown.
  std::vector<uint16_t> DropImage() const;
  std::vector<uint16_t> RiseImage() const;
  const std::string& ShowTestsCaption() const { return show_caption_; }
  const std::string& CountText() const { return count_text_; }
  const std::vector<StepObject>& Objects() const { return objects_; }
  const TraceSet& Traces() const { return traces_; }
  const std::vector<StepScores>& Scores() const { return scores_; }
  StepTest Shown() const { return shown_; }
  int32_t Rejected() const { return rejected_; }
  // The score of `object` in the test on show, and whether it is above that test's threshold.
  float ShownScore(size_t object) const;
  bool AboveThreshold(size_t object) const;
  // Previous and next object above threshold from `current` (-1: from the
  // start); -1 when there is none.
  int32_t NextObject(int32_t current) const;
  int32_t PrevObject(int32_t current) const;
  // The collected object nearest to a click at (x, y), at most `radius`
  // pixels away in x and y; -1 when there is none. The window then moves the
  // record to its DropFrame (or RiseFrame) and marks it.
  int32_t ObjectAt(int32_t x, int32_t y, int32_t radius) const;
  // "Stest=12.3 Ptest=0.0 MStest=4.5": one decimal, truncated.
  std::string ObjectReadout(size_t object) const;
  // The fitted levels over the trace (per frame) of the test on show; empty
  // where the test found nothing.
  std::vector<float> FittedModel(size_t object) const;
  // Distributions of the objects above threshold: the shown test's amplitude
  // (dropA; riseA for the P-test) and its time (the drop time; for the P-test
  // the pulse length, drop time - rise time), in seconds.
  Histogram AmplitudeHistogram() const;
  Histogram TimeHistogram() const;

  // SaveTXTClick: the results text of the collected objects (none: the header
  // alone), written whole under a temporary name and renamed. Refused before Detect.
  bool SaveTXTClick(const std::string& path);
  // "Record too short ..." after a Detect that computed nothing, else empty.
  const std::string& DetectReadOut() const { return detect_readout_; }
  // Status texts of the last pass, for read-outs.
  const std::string& AllocatedText() const { return allocated_text_; }
  // "12 of 40 objects above S-test Thr=15" after a test.
  const std::string& AboveText() const { return above_text_; }

  DropRiseDetector& Detector() { return detector_; }

 private:
  void Choose();
  bool CheckTraces();
  void ReportAbove();

  Reporter& reporter_;
  StepSettings settings_;
  DropRiseDetector detector_;
  StepMaps maps_;
  std::unique_ptr<DetectionPass> detect_pass_;
  std::unique_ptr<TracePass> trace_pass_;
  int32_t frames_ = 0;
  int32_t width_ = 0, height_ = 0;
  bool opened_ = false;
  bool detected_ = false;
  int32_t detect_half_ = 2;  // R of the maps
  std::vector<StepObject> objects_;
  TraceSet traces_;
  int32_t trace_half_ = 2;
  std::vector<StepScores> scores_;
  bool tested_[3] = {false, false, false};
  StepTest shown_ = StepTest::kS;
  int32_t rejected_ = 0;
  std::string show_caption_;
  std::string count_text_;
  std::string allocated_text_;
  std::string above_text_;
  std::string detect_readout_;
};

}  // namespace lumetra
