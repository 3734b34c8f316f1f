#include "display/overlay_layout.h"

#include <algorithm>
#include <cmath>

#include "common/text_format.h"

namespace lumetra {
namespace {

constexpr int32_t kPad = 4;  // inside the box, around bar and label
constexpr int32_t kBarHeight = 3;
constexpr int32_t kLabelGap = 2;  // between label and bar
constexpr double kSmallestUm = 0.001;

std::string Label(double um) {
  return FormatGeneral(um) + " um";
}

struct Candidate {
  double um;
  int32_t bar;    // screen pixels
  int32_t width;  // of the box
};

Candidate Measure(double um, const ScaleBarRequest& r) {
  const double px = um * 1000.0 / r.nm_per_pixel * r.zoom;
  const int32_t bar = px < 1e9 ? static_cast<int32_t>(px) : 1000000000;
  const int32_t label = static_cast<int32_t>(Label(um).size()) * r.char_width;
  return {um, bar, std::max(bar, label) + 2 * kPad};
}

// The longest of 1, 2 and 5 times a power of ten, below `um`, whose box fits
// `room` pixels; nothing when even the smallest one does not.
bool ShorterThatFits(double um, int32_t room, const ScaleBarRequest& r, Candidate& out) {
  for (int e = static_cast<int>(std::floor(std::log10(um))); e >= -3; --e) {
    for (double m : {5.0, 2.0, 1.0}) {
      const double v = m * std::pow(10.0, e);
      if (v >= um || v < kSmallestUm * 0.999) continue;
      const Candidate c = Measure(v, r);
      if (c.bar >= 2 && c.width <= room) {
        out = c;
        return true;
      }
    }
  }
  return false;
}

}  // namespace

ScaleBarLayout PlaceScaleBar(const ScaleBarRequest& r) {
  ScaleBarLayout out;
  if (r.bar_um <= 0 || r.nm_per_pixel <= 0 || r.zoom <= 0) return out;
  const Candidate wanted = Measure(r.bar_um, r);
  if (wanted.bar < 2) return out;

  const int32_t box_height = 2 * kPad + r.text_height + kLabelGap + kBarHeight;
  const int32_t right = r.anchor.Right() - r.margin;
  const bool info = !r.info_box.Empty();
  // Beside the info lines, or the whole width when they are hidden.
  const int32_t beside_room =
      right - (info ? r.info_box.Right() + r.margin : r.anchor.left + r.margin);
  const int32_t above_room = r.anchor.width - 2 * r.margin;
  const int32_t bottom = r.anchor.Bottom() - r.margin;
  const int32_t above_bottom = info ? r.info_box.top - r.margin : bottom;

  Candidate c = wanted;
  int32_t box_bottom = bottom;
  if (wanted.width <= beside_room) {
    box_bottom = bottom;
  } else if (info && wanted.width <= above_room) {
    box_bottom = above_bottom;
  } else if (ShorterThatFits(r.bar_um, beside_room, r, c)) {
    box_bottom = bottom;
  } else if (info && ShorterThatFits(r.bar_um, above_room, r, c)) {
    box_bottom = above_bottom;
  } else {
    return out;
  }

  out.shown = true;
  out.um = c.um;
  out.label = Label(c.um);
  out.box = ScreenBox{right - c.width, box_bottom - box_height, c.width, box_height};
  const int32_t inner = c.width - 2 * kPad;
  out.bar = ScreenBox{out.box.left + kPad + (inner - c.bar) / 2,
                      out.box.Bottom() - kPad - kBarHeight, c.bar, kBarHeight};
  out.label_box = ScreenBox{out.box.left + kPad, out.box.top + kPad, inner, r.text_height};
  return out;
}

}  // namespace lumetra
