#include "steps/step_analysis.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "common/text_format.h"
#include "record/playback.h"
#include "steps/steps_messages.h"

namespace lumetra {

StepAnalysis::StepAnalysis(Reporter& reporter, int workers)
    : reporter_(reporter), detector_(workers) {}

void StepAnalysis::ApplySettings(const Settings& settings) {
  if (settings.DetectWindow >= 1 && settings.DetectWindow <= kMaxWindow)
    settings_.window = settings.DetectWindow;
}

namespace {

// An input box's whole number: a non-number counts as 0.
bool TakeInt(std::string_view text, int32_t lo, int32_t hi, std::string_view error,
             Reporter& reporter, int32_t& out) {
  const int32_t v = IntegerOr(text, 0);
  if (v < lo || v > hi) {
    reporter.Modal(error);
    return false;
  }
  out = v;
  return true;
}

}  // namespace

bool StepAnalysis::WindLenClick(std::string_view text) {
  return TakeInt(text, 1, kMaxWindow, kWindLenError, reporter_, settings_.window);
}

bool StepAnalysis::LimitNofStepsClick(std::string_view text) {
  return TakeInt(text, kMinMsStepsLimit, kMaxMsSteps, kMaxStepsError, reporter_,
                 settings_.max_steps);
}

bool StepAnalysis::SetTestThreshold(StepTest test, std::string_view text) {
  int32_t& t = test == StepTest::kS   ? settings_.s_threshold
               : test == StepTest::kP ? settings_.p_threshold
                                      : settings_.ms_threshold;
  return TakeInt(text, 0, 1000, kTestThrError, reporter_, t);
}

bool StepAnalysis::SetAmplitudeBinClick(std::string_view text) {
  const auto v = ParseReal(text);
  if (!v || !(*v >= 1 && *v <= 100000)) {
    reporter_.Modal(kAmpBinError);
    return false;
  }
  settings_.amplitude_bin = *v;
  return true;
}

bool StepAnalysis::SetTimeBinClick(std::string_view text) {
  const auto v = ParseReal(text);
  if (!v || !(*v > 0 && *v <= 10000)) {
    reporter_.Modal(kTimeBinError);
    return false;
  }
  settings_.time_bin = *v;
  return true;
}

void StepAnalysis::SetSpotSize(int32_t half_size) {
  if (half_size >= 0 && half_size <= 2) settings_.half_size = half_size;
}

std::string StepAnalysis::SpotSizeCaption() const {
  const char* size = settings_.half_size == 0 ? "1X1" : settings_.half_size == 1 ? "3X3" : "5X5";
  return std::string("SpotSize(") + size + ")";
}

bool StepAnalysis::OpenRecord(const RecordStore& record) {
  opened_ = false;
  detected_ = false;
  width_ = record.Width();
  height_ = record.Height();
  frames_ = std::min(record.FrameCount(), kStepFrameLimit);
  objects_.clear();
  scores_.clear();
  traces_ = TraceSet();
  try {
    maps_.Reset(width_, height_);
  } catch (const std::bad_alloc&) {
    maps_ = StepMaps();
    reporter_.Modal(kImageBuffersError);
    return false;
  }
  try {
    detector_.Allocate(width_, height_);
  } catch (const std::bad_alloc&) {
    detector_.Allocate(0, 0);
    reporter_.Modal(kDetectionBuffersError);
    return false;
  }
  if (record.FrameCount() > kStepFrameLimit) reporter_.Modal(kTooManyFramesSteps);
  const size_t bytes = detector_.AllocatedBytes() + 4 * maps_.DropMap.size() * sizeof(int32_t);
  allocated_text_ = std::to_string(bytes / 1000000) + " " + std::string(kAllocatedTail);
  reporter_.Status(allocated_text_);
  opened_ = true;
  return true;
}

DetectionPass* StepAnalysis::BeginDetect(const RecordStore& record, int32_t median_frames) {
  if (!opened_ || record.Width() != width_ || record.Height() != height_) {
    if (!OpenRecord(record)) return nullptr;
  }
  DetectionSettings d;
  d.window = settings_.window;
  d.half_size = settings_.half_size;
  d.median_frames = median_frames;
  d.method = settings_.method;
  detect_pass_ = std::make_unique<DetectionPass>(detector_, maps_, d, reporter_);
  return detect_pass_.get();
}

void StepAnalysis::FinishDetect(RecordStore& record) {
  detected_ = true;
  detect_half_ = settings_.half_size;
  settings_.choice = ChoiceMap::kDrop;
  // The frame shown is the drop image.
  const std::vector<uint16_t> image = DropImage();
  if (record.Width() == width_ && record.Height() == height_)
    std::copy(image.begin(), image.end(), record.FrameBuffer());
  show_caption_ = std::string(kDropsCaption);
  detect_readout_.clear();
  if (detector_.FramesComputed() == 0 && detect_pass_) {
    char text[200];
    const std::string format(kRecordTooShortFormat);
    std::snprintf(text, sizeof text, format.c_str(), detect_pass_->FramesUsed(),
                  detector_.FirstComputedFrame() + 1);
    detect_readout_ = text;
    reporter_.Status(detect_readout_);
  }
  Choose();
}

bool StepAnalysis::StartTrClick(RecordStore& record, int32_t median_frames,
                                const std::atomic<bool>* stop) {
  if (!record.RecordLoaded() || record.FrameCount() == 0) {
    reporter_.Modal(kNoRecord);
    return false;
  }
  DetectionPass* pass = BeginDetect(record, median_frames);
  if (!pass) return false;
  Playback(record, {pass}, stop).Run(reporter_);
  FinishDetect(record);
  return true;
}

void StepAnalysis::Choose() {
  if (!detected_) return;
  objects_ = ChooseObjects(maps_, settings_.kind, settings_.choice, settings_.drop_threshold,
                           detect_half_);
  count_text_ = ObjectCountText(settings_.kind, static_cast<int32_t>(objects_.size()),
                                settings_.drop_threshold);
  reporter_.Status(count_text_);
}

bool StepAnalysis::InpThrClick(std::string_view text) {
  if (!TakeInt(text, kDropThresholdLow, kDropThresholdHigh, kDropThrError, reporter_,
               settings_.drop_threshold))
    return false;
  Choose();
  return true;
}

void StepAnalysis::SpotPixClick() {
  settings_.kind = settings_.kind == ObjectKind::kSpots ? ObjectKind::kPixels : ObjectKind::kSpots;
  Choose();
}

void StepAnalysis::SubtrMaxRiseClick() {
  settings_.choice = ChoiceMap::kDropMinusRise;
  Choose();
}

void StepAnalysis::AddMaxRiseClick() {
  settings_.choice = ChoiceMap::kDropPlusRise;
  Choose();
}

void StepAnalysis::UseDropMapClick() {
  settings_.choice = ChoiceMap::kDrop;
  Choose();
}

bool StepAnalysis::AddObjectClick(int32_t x, int32_t y) {
  if (!detected_) {
    reporter_.Modal(kDetectFirst);
    return false;
  }
  if (x < 0 || y < 0 || x >= maps_.width || y >= maps_.height) {
    reporter_.Modal(kOutsideFrame);
    return false;
  }
  for (const StepObject& o : objects_)
    if (o.x == x && o.y == y) return true;
  if (objects_.size() >= static_cast<size_t>(kMaxStepObjects)) {
    reporter_.Modal(kSpotDataError);
    return false;
  }
  const size_t p = maps_.Index(x, y);
  objects_.push_back(
      {x, y, ChoiceValue(maps_, p, settings_.choice), maps_.DropFrame[p], maps_.RiseFrame[p]});
  return true;
}

TracePass* StepAnalysis::BeginCollect(const RecordStore& record) {
  if (!detected_) {
    reporter_.Modal(kDetectFirst);
    return nullptr;
  }
  if (objects_.empty()) {
    reporter_.Modal(kNoObjects);
    return nullptr;
  }
  if (record.Width() != width_ || record.Height() != height_) {
    reporter_.Modal(kDetectFirst);
    return nullptr;
  }
  TraceSet fresh;
  try {
    fresh.Reset(objects_, frames_);
  } catch (const std::bad_alloc&) {
    reporter_.Modal(kPixelDataError);
    return nullptr;
  }
  traces_ = std::move(fresh);
  trace_half_ = settings_.half_size;
  scores_.assign(traces_.objects.size(), StepScores());
  for (bool& t : tested_) t = false;
  rejected_ = 0;
  trace_pass_ = std::make_unique<TracePass>(traces_, trace_half_, settings_.no_background, width_,
                                            height_, detector_.Pool());
  return trace_pass_.get();
}

bool StepAnalysis::CollectClick(RecordStore& record, const std::atomic<bool>* stop) {
  TracePass* pass = BeginCollect(record);
  if (!pass) return false;
  Playback(record, {pass}, stop).Run(reporter_);
  return true;
}

bool StepAnalysis::CheckTraces() {
  if (traces_.objects.empty()) {
    reporter_.Modal(kCollectFirst);
    return false;
  }
  return true;
}

bool StepAnalysis::RunTest(StepTest test) {
  if (!CheckTraces()) return false;
  const int32_t n = traces_.frames;
  if (test == StepTest::kS) rejected_ = 0;
  for (size_t i = 0; i < traces_.objects.size(); ++i) {
    const StepObject& o = traces_.objects[i];
    StepScores& s = scores_[i];
    const float* x = traces_.Trace(i);
    switch (test) {
      case StepTest::kS:
        s.good = true;
        RunSTest(x, n, o.drop_frame, settings_.window, s, rejected_, reporter_);
        break;
      case StepTest::kP:
        RunPTest(x, n, o.drop_frame, o.rise_frame, s, reporter_);
        break;
      case StepTest::kMS:
        RunMSTest(x, n, settings_.window, settings_.max_steps, s);
        break;
    }
  }
  tested_[static_cast<int>(test)] = true;
  return true;
}

namespace {

std::string_view ThresholdLabel(StepTest t) {
  return t == StepTest::kS ? kStestThrLabel : t == StepTest::kP ? kPtestThrLabel : kMtestThrLabel;
}

}  // namespace

void StepAnalysis::ReportAbove() {
  int32_t above = 0;
  for (size_t i = 0; i < scores_.size(); ++i) above += AboveThreshold(i);
  const int32_t t = shown_ == StepTest::kS   ? settings_.s_threshold
                    : shown_ == StepTest::kP ? settings_.p_threshold
                                             : settings_.ms_threshold;
  char text[160];
  const std::string format(kAboveTestFormat);
  std::snprintf(text, sizeof text, format.c_str(), above, static_cast<int32_t>(scores_.size()),
                std::string(ThresholdLabel(shown_)).c_str(), t);
  above_text_ = text;
  reporter_.Status(above_text_);
}

bool StepAnalysis::ShowStestClick() {
  if (!RunTest(StepTest::kS)) return false;
  shown_ = StepTest::kS;
  show_caption_ = "S-test";
  ReportAbove();
  return true;
}

bool StepAnalysis::ShowPtestClick() {
  if (!RunTest(StepTest::kP)) return false;
  shown_ = StepTest::kP;
  show_caption_ = "P-test";
  ReportAbove();
  return true;
}

bool StepAnalysis::ShowMStestClick() {
  if (!RunTest(StepTest::kMS)) return false;
  shown_ = StepTest::kMS;
  show_caption_ = "MS-test";
  ReportAbove();
  return true;
}

bool StepAnalysis::ShowTest(StepTest test) {
  return test == StepTest::kS   ? ShowStestClick()
         : test == StepTest::kP ? ShowPtestClick()
                                : ShowMStestClick();
}

std::vector<uint16_t> StepAnalysis::DropImage() const {
  std::vector<uint16_t> image(maps_.DropMap.size());
  for (size_t p = 0; p < image.size(); ++p) image[p] = static_cast<uint16_t>(maps_.DropMap[p]);
  return image;
}

std::vector<uint16_t> StepAnalysis::RiseImage() const {
  std::vector<uint16_t> image(maps_.RiseMap.size());
  for (size_t p = 0; p < image.size(); ++p) image[p] = static_cast<uint16_t>(maps_.RiseMap[p]);
  return image;
}

float StepAnalysis::ShownScore(size_t object) const {
  if (object >= scores_.size()) return 0;
  const StepScores& s = scores_[object];
  return shown_ == StepTest::kS ? s.s_test : shown_ == StepTest::kP ? s.p_test : s.ms_test;
}

bool StepAnalysis::AboveThreshold(size_t object) const {
  const int32_t t = shown_ == StepTest::kS   ? settings_.s_threshold
                    : shown_ == StepTest::kP ? settings_.p_threshold
                                             : settings_.ms_threshold;
  return object < scores_.size() && ShownScore(object) > static_cast<float>(t);
}

int32_t StepAnalysis::NextObject(int32_t current) const {
  for (int32_t i = std::max(current + 1, 0); i < static_cast<int32_t>(scores_.size()); ++i)
    if (AboveThreshold(static_cast<size_t>(i))) return i;
  return -1;
}

int32_t StepAnalysis::PrevObject(int32_t current) const {
  for (int32_t i = std::min(current, static_cast<int32_t>(scores_.size())) - 1; i >= 0; --i)
    if (AboveThreshold(static_cast<size_t>(i))) return i;
  return -1;
}

int32_t StepAnalysis::ObjectAt(int32_t x, int32_t y, int32_t radius) const {
  int32_t best = -1, best_d = radius + 1;
  for (size_t i = 0; i < traces_.objects.size(); ++i) {
    const StepObject& o = traces_.objects[i];
    const int32_t d = std::max(std::abs(o.x - x), std::abs(o.y - y));
    if (d < best_d) {
      best_d = d;
      best = static_cast<int32_t>(i);
    }
  }
  return best;
}

std::string StepAnalysis::ObjectReadout(size_t object) const {
  if (object >= scores_.size()) return {};
  const StepScores& s = scores_[object];
  auto one = [](float v) { return FormatFixed(std::trunc(static_cast<double>(v) * 10) / 10, 1); };
  return std::string(kStestLabel) + one(s.s_test) + " " + std::string(kPtestLabel) + one(s.p_test) +
         std::string(kMStestLabel) + one(s.ms_test);
}

std::vector<float> StepAnalysis::FittedModel(size_t object) const {
  std::vector<float> model;
  if (object >= scores_.size()) return model;
  const StepScores& s = scores_[object];
  const StepObject& o = traces_.objects[object];
  const int32_t n = traces_.frames;
  model.assign(static_cast<size_t>(n), 0.0f);
  if (shown_ == StepTest::kS) {
    if (s.s_test == 0) return {};
    for (int32_t f = 0; f < n; ++f)
      model[static_cast<size_t>(f)] = f < o.drop_frame ? s.upper : s.lower;
  } else if (shown_ == StepTest::kP) {
    if (s.p_test == 0) return {};
    for (int32_t f = 0; f < n; ++f)
      model[static_cast<size_t>(f)] = f > o.rise_frame && f < o.drop_frame ? s.up : s.base;
  } else {
    if (s.ms_steps < 2) return {};
    for (int32_t f = 0; f < n; ++f) {
      size_t k = 0;
      while (k < s.ms_step_frames.size() && f >= s.ms_step_frames[k]) ++k;
      model[static_cast<size_t>(f)] = s.ms_levels[k];
    }
  }
  return model;
}

Histogram StepAnalysis::AmplitudeHistogram() const {
  std::vector<float> v;
  for (size_t i = 0; i < scores_.size(); ++i) {
    if (!AboveThreshold(i)) continue;
    const StepScores& s = scores_[i];
    v.push_back(shown_ == StepTest::kS ? s.drop_amp
                : shown_ == StepTest::kP
                    ? s.rise_amp
                    : s.ms_drop_amp / static_cast<float>(std::max(s.ms_steps, 1)));
  }
  return MakeHistogram(v, settings_.amplitude_bin);
}

Histogram StepAnalysis::TimeHistogram() const {
  std::vector<float> v;
  for (size_t i = 0; i < scores_.size(); ++i) {
    if (!AboveThreshold(i)) continue;
    v.push_back(shown_ == StepTest::kP ? traces_.drop_time[i] - traces_.rise_time[i]
                                       : traces_.drop_time[i]);
  }
  return MakeHistogram(v, settings_.time_bin);
}

bool StepAnalysis::SaveTXTClick(const std::string& path) {
  if (!detected_) {
    reporter_.Modal(kDetectFirst);
    return false;
  }
  return WriteTextAtomically(path, ResultsText(traces_, scores_, shown_), reporter_);
}

}  // namespace lumetra
