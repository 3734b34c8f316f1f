#include "processing/filter_set.h"

#include <algorithm>

#include "common/text_format.h"
#include "processing/filter_steps.h"
#include "processing/processing_messages.h"

namespace lumetra {
namespace {

using F = FrameFilter;

constexpr std::array<FrameFilterInfo, kFrameFilterCount> kTable = {{
    {F::kSubtrPrevFrame, "SubtrPrevFrame", "Subtract Previous Frame", "(-PrevFr)", "prev"},
    {F::kSpatMed3, "SpatMed3", "Spatial Median 3x3", "(Med3)", "median3"},
    {F::kSpatMed5, "SpatMed5", "Spatial Median 5x5", "(Med5)", "median5"},
    {F::kSmoothing, "Smoothing", "Smoothing 3x3", "(Smooth)", "smooth"},
    {F::kSharpening, "Sharpening", "Sharpening", "(Sharp)", "sharpen"},
    {F::kSobel, "Sobel", "Sobel Edges", "(Sobel)", "sobel"},
    {F::kSubtractLocalBackground, "SubtractLocalBackground", "Subtract Local Background",
     "(-Backgr)", "background"},
    {F::kSDimON, "SDimON", "SD Imaging", "(SD)", "sd"},
    {F::kRunningSum, "RunningSum", "Running Sum", "(Sum)", "sum"},
    {F::kRunningAverage, "RunningAverage", "Running Average", "(Aver)", "average"},
    {F::kAccumulate, "Accumulate", "Accumulate", "(Accum)", "accumulate"},
}};

// Indices of steps_.
constexpr int kPrev = 0, kSpatial = 1, kSd = 2, kSum = 3, kAverage = 4, kAccumulate = 5;

bool IsSpatial(F f) { return f >= F::kSpatMed3 && f <= F::kSubtractLocalBackground; }

// The value after "name:" within its range, for the filters that take one.
bool ParseFilterValue(FrameFilter f, std::string_view value, FilterParams& p, std::string& error) {
  const std::string name(InfoOf(f).cli_name);
  auto whole = [&](int32_t lo, int32_t hi, int32_t& out) {
    const auto v = ParseInteger(value);
    if (!v || *v < lo || *v > hi) {
      error = name + ": '" + std::string(value) + "' is not a whole number from " +
              std::to_string(lo) + " to " + std::to_string(hi);
      return false;
    }
    out = static_cast<int32_t>(*v);
    return true;
  };
  switch (f) {
    case F::kSDimON:
      return whole(2, 50, p.sd_frames);
    case F::kRunningSum:
      return whole(2, 50, p.sum_frames);
    case F::kRunningAverage:
      return whole(2, 50, p.average_frames);
    case F::kSubtractLocalBackground:
      return whole(1, 20, p.background_radius);
    case F::kSharpening: {
      const auto v = ParseReal(value);
      if (!v || !(*v > 0.2 && *v <= 20)) {
        error = name + ": '" + std::string(value) + "' is not a strength above 0.2 and up to 20";
        return false;
      }
      p.sharp_strength = *v;
      return true;
    }
    default:
      error = name + " takes no value";
      return false;
  }
}

}  // namespace

const std::array<FrameFilterInfo, kFrameFilterCount>& FrameFilterTable() { return kTable; }

const FrameFilterInfo& InfoOf(FrameFilter f) { return kTable[static_cast<int>(f)]; }

bool FilterChoice::Any() const {
  return std::any_of(on.begin(), on.end(), [](bool b) { return b; });
}

std::optional<FilterChoice> ParseFilterList(std::string_view text, std::string& error) {
  FilterChoice c;
  while (!text.empty()) {
    const size_t comma = text.find(',');
    std::string_view t = text.substr(0, comma);
    text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
    while (!t.empty() && t.front() == ' ') t.remove_prefix(1);
    while (!t.empty() && t.back() == ' ') t.remove_suffix(1);
    if (t.empty()) continue;
    const size_t colon = t.find(':');
    const std::string_view name = t.substr(0, colon);
    const auto it = std::find_if(kTable.begin(), kTable.end(),
                                 [&](const FrameFilterInfo& i) { return i.cli_name == name; });
    if (it == kTable.end()) {
      error = "unknown filter '" + std::string(name) + "' (" + FilterListHelp() + ")";
      return std::nullopt;
    }
    if (colon != std::string_view::npos &&
        !ParseFilterValue(it->filter, t.substr(colon + 1), c.params, error))
      return std::nullopt;
    c.on[static_cast<int>(it->filter)] = true;
  }
  return c;
}

std::string FilterListHelp() {
  return "prev, median3, median5, smooth, sharpen[:STRENGTH], sobel, background[:RADIUS], "
         "sd[:N], sum[:N], average[:N], accumulate";
}

std::string FiltersMenuCaption(const FilterChoice& choice) {
  std::string caption(kFiltersCaption);
  for (const FrameFilterInfo& i : kTable)
    if (IsSpatial(i.filter) && choice[i.filter]) caption += i.suffix;
  return caption;
}

FrameFilterSet::FrameFilterSet(Reporter& reporter) {
  steps_[kPrev] = std::make_unique<PrevFrameStep>(reporter);
  steps_[kSpatial] = std::make_unique<SpatialStep>();
  steps_[kSd] = std::make_unique<RingStep>(RingStep::Kind::kSd, reporter);
  steps_[kSum] = std::make_unique<RingStep>(RingStep::Kind::kSum, reporter);
  steps_[kAverage] = std::make_unique<RingStep>(RingStep::Kind::kAverage, reporter);
  steps_[kAccumulate] = std::make_unique<AccumulateStep>(reporter);
}

FrameFilterSet::~FrameFilterSet() = default;

void FrameFilterSet::SetChoice(const FilterChoice& c) {
  choice_ = c;
  auto& p = choice_.params;
  p.sum_frames = std::clamp(p.sum_frames, 2, 50);
  p.average_frames = std::clamp(p.average_frames, 2, 50);
  p.sd_frames = std::clamp(p.sd_frames, 2, 50);
  p.background_radius = std::clamp(p.background_radius, 1, 20);
  steps_[kPrev]->SetOn(c[F::kSubtrPrevFrame]);
  SpatialStep::Ticks t;
  t.median3 = c[F::kSpatMed3];
  t.median5 = c[F::kSpatMed5];
  t.smoothing = c[F::kSmoothing];
  t.sharpening = c[F::kSharpening];
  t.sobel = c[F::kSobel];
  t.background = c[F::kSubtractLocalBackground];
  auto& spatial = static_cast<SpatialStep&>(*steps_[kSpatial]);
  spatial.Set(t, SharpWeight(p.sharp_strength), p.background_radius, workers_);
  spatial.SetOn(t.Any());
  auto ring = [&](int k, int32_t frames, bool on) {
    auto& r = static_cast<RingStep&>(*steps_[k]);
    r.SetFrames(frames);
    r.SetOn(on);
  };
  ring(kSd, p.sd_frames, c[F::kSDimON]);
  ring(kSum, p.sum_frames, c[F::kRunningSum]);
  ring(kAverage, p.average_frames, c[F::kRunningAverage]);
  steps_[kAccumulate]->SetOn(c[F::kAccumulate]);
}

const FilterChoice& FrameFilterSet::Choice() const {
  // A step that could not have its buffers has unticked itself.
  auto off = [&](int k, std::initializer_list<F> filters) {
    if (steps_[k]->On()) return;
    for (F f : filters) choice_.on[static_cast<int>(f)] = false;
  };
  off(kPrev, {F::kSubtrPrevFrame});
  off(kSpatial, {F::kSpatMed3, F::kSpatMed5, F::kSmoothing, F::kSharpening, F::kSobel,
                 F::kSubtractLocalBackground});
  off(kSd, {F::kSDimON});
  off(kSum, {F::kRunningSum});
  off(kAverage, {F::kRunningAverage});
  off(kAccumulate, {F::kAccumulate});
  return choice_;
}

void FrameFilterSet::SetWorkers(int workers) {
  workers_ = workers;
  SetChoice(choice_);
}

void FrameFilterSet::Attach(RecordStore& store) {
  for (auto& s : steps_) {
    if (s->On())
      store.AddStep(s.get());
    else
      store.RemoveStep(s.get());
  }
}

void FrameFilterSet::Detach(RecordStore& store) {
  for (auto& s : steps_) store.RemoveStep(s.get());
}

void FrameFilterSet::Apply(FrameView& frame) {
  // steps_ is in chain order.
  for (auto& s : steps_)
    if (s->On()) s->Apply(frame);
}

void FrameFilterSet::Restart() {
  for (auto& s : steps_) s->Restart();
}

void FrameFilterSet::ClearAccumulator() { steps_[kAccumulate]->Restart(); }

int32_t FrameFilterSet::History() const {
  int32_t h = 1;
  for (const auto& s : steps_) {
    if (!s->On()) continue;
    if (s->History() == 0) return 0;
    h += s->History() - 1;
  }
  return h;
}

int32_t ChainHistory(const FrameFilterSet& set, int32_t median_frames) {
  const int32_t h = set.History();
  return h == 0 ? 0 : h + std::max(0, median_frames - 1);
}

void RereadWithHistory(RecordStore& store, int32_t history, const std::function<void()>& restart,
                       Reporter& reporter) {
  const int32_t k = store.CurrentFrame();
  if (!store.RecordLoaded() || k < 0 || k >= store.FrameCount()) return;
  const int32_t first = history == 0 ? 0 : std::max(0, k - (history - 1));
  // Land on the frame before `first` (or before the record), empty the rings,
  // then read forward: frames first .. k are the only ones they hold.
  if (first == 0) {
    restart();
    store.FirstFrame(reporter);
  } else {
    if (!store.GoToFrame(first - 1, reporter)) return;
    restart();
    if (!store.NextFrame(reporter)) return;
  }
  store.GoToFrame(k, reporter);
}

}  // namespace lumetra
