// The main window's key handler as a pure function: from a key (its
// virtual-key code), Ctrl and the window's state to the new region, profile
// line and bead index, plus the actions the window must run afterwards.
#pragma once

#include <cstdint>

#include "common/region.h"

namespace lumetra {

// Virtual-key codes the handler reacts to.
namespace vk {
inline constexpr int kEscape = 27;
inline constexpr int kPrior = 33;  // Page Up
inline constexpr int kNext = 34;   // Page Down
inline constexpr int kLeft = 37;
inline constexpr int kUp = 38;
inline constexpr int kRight = 39;
inline constexpr int kDown = 40;
inline constexpr int kS = 83;
inline constexpr int kT = 84;
inline constexpr int kAdd = 107;       // numeric keypad plus
inline constexpr int kSubtract = 109;  // numeric keypad minus
inline constexpr int kF4 = 115;
inline constexpr int kF5 = 116;
inline constexpr int kF6 = 117;
inline constexpr int kF7 = 118;
inline constexpr int kF8 = 119;
}  // namespace vk

// The profile line's end points, frame pixels.
struct ProfileLine {
  int32_t x0 = 0;
  int32_t y0 = 0;
  int32_t x1 = 0;
  int32_t y1 = 0;
  bool operator==(const ProfileLine&) const = default;
};

// What the window shows: zoom (screen pixels per frame pixel), scroll offsets
// and the size of the image area, all in screen pixels.
struct KeyView {
  int32_t zoom = 1;
  int32_t scroll_x = 0;
  int32_t scroll_y = 0;
  int32_t client_width = 0;
  int32_t client_height = 0;
};

struct KeyState {
  Region region;
  ProfileLine line;
  KeyView view;
  bool spot_window_open = false;  // set while the single-particle window is open
  bool show_beads = false;        // the ShowBeads check item
  int32_t bead_index = 0;
  int32_t bead_count = 0;
};

// Commands of the single-particle window reachable by key.
enum class SpotWindowCommand { kNone, kTracksInTime, kShowTracks, kRefresh, kCurrentSpots };

struct KeyActions {
  bool stop = false;        // set the stop flag that playback and batch loops poll
  bool bead_views = false;  // the region window redraws its XY view (ShowXYClick)
  SpotWindowCommand spot = SpotWindowCommand::kNone;
  bool region_readout = false;  // recompute the region read-out, update the region window
  bool repaint = false;         // repaint the frame
  bool info_lines = false;      // rewrite the header info lines
};

struct KeyResult {
  Region region;
  ProfileLine line;
  int32_t bead_index = 0;
  KeyActions actions;
};

// FormKeyDown: the rules run in a fixed order and one key can match several.
// Moves are bounded on the screen (an edge stays one zoomed pixel inside the
// visible area), so how far a marker can go depends on zoom and scrolling.
KeyResult FormKeyDown(const KeyState& state, int key, bool ctrl);

}  // namespace lumetra
