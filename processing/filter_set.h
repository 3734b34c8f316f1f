// The per-frame filters of the processing chain besides the temporal median:
// previous-frame subtraction, the spatial filters, SD imaging, running sum and
// average, and accumulation. Each is a menu item; ticked ones run in the
// chain's fixed slots after every frame read, whatever order they were
// ticked in, so playback, every analysis and every export see them alike.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "common/report.h"
#include "record/frame_step.h"
#include "record/record_store.h"

namespace lumetra {

// In chain order: slot 2, slot 3 (in its own fixed order), slot 4, slot 5.
enum class FrameFilter : int {
  kSubtrPrevFrame,
  kSpatMed3,
  kSpatMed5,
  kSmoothing,
  kSharpening,
  kSobel,
  kSubtractLocalBackground,
  kSDimON,
  kRunningSum,
  kRunningAverage,
  kAccumulate,
};
inline constexpr int kFrameFilterCount = 11;

struct FrameFilterInfo {
  FrameFilter filter;
  std::string_view control;   // menu item name ("SpatMed3")
  std::string_view caption;   // menu item caption
  std::string_view suffix;    // added to the menu's caption while ticked
  std::string_view cli_name;  // name in "--filter" lists
};
const std::array<FrameFilterInfo, kFrameFilterCount>& FrameFilterTable();
const FrameFilterInfo& InfoOf(FrameFilter filter);

// Lengths and strengths the filters take from the settings (the window sets
// all three ring lengths to the running buffer size).
struct FilterParams {
  int32_t sum_frames = 3;      // running sum, 2 to 50
  int32_t average_frames = 3;  // running average, 2 to 50
  int32_t sd_frames = 3;       // SD imaging, 2 to 50
  int32_t background_radius = 3;  // local background, pixels, 1 to 20
  double sharp_strength = 16;      // 0.2 to 20
  bool operator==(const FilterParams&) const = default;
};

// Which filters are ticked, with their parameters.
struct FilterChoice {
  std::array<bool, kFrameFilterCount> on{};
  FilterParams params;
  bool operator[](FrameFilter f) const { return on[static_cast<int>(f)]; }
  bool Any() const;
  bool operator==(const FilterChoice&) const = default;
};

// "--filter" lists: names separated by commas, a ring length, radius or
// strength after a colon: "median3,background:5,sum:10". Nothing, with
// `error` set, for an unknown name or a value out of its range.
std::optional<FilterChoice> ParseFilterList(std::string_view text, std::string& error);
// The names for help texts.
std::string FilterListHelp();

// Caption of the "Filters" menu: "Filters" and the suffix of every ticked
// spatial filter in chain order ("Filters(Med3)(Sobel)").
std::string FiltersMenuCaption(const FilterChoice& choice);

class FilterStep;

class FrameFilterSet {
 public:
  // `reporter` hears the buffers that cannot be allocated; it must outlive the set.
  explicit FrameFilterSet(Reporter& reporter);
  ~FrameFilterSet();
  FrameFilterSet(const FrameFilterSet&) = delete;
  FrameFilterSet& operator=(const FrameFilterSet&) = delete;

  // Ticks and parameters. A filter just ticked, or a ring whose length
  // changed, starts empty. A filter whose buffer could not be allocated
  // unticks itself (after its message): read Choice() back after a frame.
  void SetChoice(const FilterChoice& choice);
  const FilterChoice& Choice() const;
  // Threads for the spatial filters (0: frames of a megapixel or more use
  // every core); the result is the same for any number.
  void SetWorkers(int workers);

  // Puts every ticked filter into the store's chain and takes the others
  // out. Call it after SetChoice; the set must outlive its place in the chain.
  void Attach(RecordStore& store);
  void Detach(RecordStore& store);
  // Runs the ticked filters on one frame in chain order, as the store would
  // (for frames that do not come from a store: benchmarks, previews).
  void Apply(FrameView& frame);
  // Every ring, the previous frame and the accumulator start empty.
  void Restart();
  // ClearAccumClick: the accumulator starts again from zero.
  void ClearAccumulator();

  // Frames, up to and including the current one, that the filtered frame
  // depends on: 1 without temporal filters, 2 with previous-frame
  // subtraction, N with a ring of N, added up along the chain; 0 with
  // accumulation, which depends on every frame since the record's start.
  int32_t History() const;

 private:
  mutable FilterChoice choice_;
  int workers_ = 0;
  // prev, spatial, sd, sum, average, accumulate
  std::array<std::unique_ptr<FilterStep>, 6> steps_;
};

// After the filters or the temporal median changed: reads the current frame
// again through the chain, preceded by the frames its filters depend on
// (`history` as History() gives it, combined with the median's length), from
// emptied rings. `restart` empties them. The frame index stays.
void RereadWithHistory(RecordStore& store, int32_t history, const std::function<void()>& restart,
                       Reporter& reporter);

// History of the whole chain: the set's, and a temporal median of
// `median_frames` (0: off) in slot 5 before the running filters.
int32_t ChainHistory(const FrameFilterSet& set, int32_t median_frames);

}  // namespace lumetra
