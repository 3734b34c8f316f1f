#include "display/key_commands.h"

namespace lumetra {
namespace {

bool IsArrow(int key) {
  return key == vk::kLeft || key == vk::kRight || key == vk::kUp || key == vk::kDown;
}

// True when frame column x, zoomed and scrolled, lies more than one zoomed
// pixel inside the right edge of the image area (likewise for rows).
bool ColumnVisible(int64_t x, const KeyView& v) {
  return x * v.zoom - v.scroll_x < v.client_width - v.zoom;
}
bool RowVisible(int64_t y, const KeyView& v) {
  return y * v.zoom - v.scroll_y < v.client_height - v.zoom;
}

// Both end points always move together.
bool MoveLine(ProfileLine& l, int key, const KeyView& v) {
  switch (key) {
    case vk::kLeft:
      if (l.x0 > 0 && l.x1 > 0) {
        --l.x0;
        --l.x1;
        return true;
      }
      return false;
    case vk::kRight:
      if (ColumnVisible(l.x1, v) && ColumnVisible(l.x0, v)) {
        ++l.x0;
        ++l.x1;
        return true;
      }
      return false;
    case vk::kUp:
      if (l.y0 > 0 && l.y1 > 0) {
        --l.y0;
        --l.y1;
        return true;
      }
      return false;
    case vk::kDown:
      if (RowVisible(l.y1, v) && RowVisible(l.y0, v)) {
        ++l.y0;
        ++l.y1;
        return true;
      }
      return false;
    default:
      return false;
  }
}

// Without Ctrl the whole region moves; with Ctrl only the right or bottom edge.
void MoveRegion(Region& r, int key, bool ctrl, const KeyView& v) {
  switch (key) {
    case vk::kLeft:
      if (ctrl) {
        if (r.left + 1 < r.right) --r.right;
      } else if (r.left > 0) {
        --r.left;
        --r.right;
      }
      break;
    case vk::kRight:
      if (ColumnVisible(r.right, v)) {
        if (!ctrl) ++r.left;
        ++r.right;
      }
      break;
    case vk::kUp:
      if (ctrl) {
        if (r.top + 1 < r.bottom) --r.bottom;
      } else if (r.top > 0) {
        --r.top;
        --r.bottom;
      }
      break;
    case vk::kDown:
      if (RowVisible(r.bottom, v)) {
        if (!ctrl) ++r.top;
        ++r.bottom;
      }
      break;
    default:
      break;
  }
}

// Keypad plus and minus act on the top-left corner only.
void ResizeRegion(Region& r, int key) {
  if (key == vk::kAdd) {
    if (r.left > 0) --r.left;
    if (r.top > 0) --r.top;
  } else if (key == vk::kSubtract) {
    if (r.right - 2 > r.left) ++r.left;
    if (r.bottom - 2 > r.top) ++r.top;
  }
}

SpotWindowCommand SpotCommandFor(int key) {
  switch (key) {
    case vk::kT:
    case vk::kF5:
      return SpotWindowCommand::kTracksInTime;
    case vk::kS:
    case vk::kF4:
      return SpotWindowCommand::kShowTracks;
    case vk::kF7:
      return SpotWindowCommand::kRefresh;
    case vk::kF8:
      return SpotWindowCommand::kCurrentSpots;
    default:
      return SpotWindowCommand::kNone;
  }
}

}  // namespace

KeyResult FormKeyDown(const KeyState& state, int key, bool ctrl) {
  KeyResult res{state.region, state.line, state.bead_index, {}};
  KeyActions& act = res.actions;
  if (state.show_beads && key == vk::kPrior) {
    if (res.bead_index < state.bead_count - 1) ++res.bead_index;
    act.bead_views = act.repaint = true;
  }
  if (state.show_beads && key == vk::kNext) {
    if (res.bead_index > 0) --res.bead_index;
    act.bead_views = act.repaint = true;
  }
  if (key == vk::kEscape) act.stop = true;
  if (state.spot_window_open) act.spot = SpotCommandFor(key);
  if (IsArrow(key) && MoveLine(res.line, key, state.view)) act.repaint = true;
  if (!state.region.active) return res;

  if (IsArrow(key)) MoveRegion(res.region, key, ctrl, state.view);
  ResizeRegion(res.region, key);
  if (IsArrow(key) || key == vk::kAdd || key == vk::kSubtract) act.region_readout = true;
  act.repaint = act.info_lines = true;
  return res;
}

}  // namespace lumetra
