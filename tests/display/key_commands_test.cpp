#include "display/key_commands.h"

#include <gtest/gtest.h>

namespace lumetra {
namespace {

// A 100 x 80 image area at zoom 1, no scrolling.
KeyState Base() {
  KeyState s;
  s.view = {1, 0, 0, 100, 80};
  s.line = {10, 10, 20, 15};
  return s;
}

KeyState WithRegion(int32_t l, int32_t t, int32_t r, int32_t b) {
  KeyState s = Base();
  s.region = {l, t, r, b, true};
  return s;
}

struct RegionCase {
  const char* name;
  Region start;
  int key;
  bool ctrl;
  Region expected;
};

TEST(FormKeyDown, RegionMovesAndResizes) {
  const RegionCase cases[] = {
      {"left moves both edges", {5, 5, 15, 15, true}, vk::kLeft, false, {4, 5, 14, 15, true}},
      {"left stops at column 0", {0, 5, 15, 15, true}, vk::kLeft, false, {0, 5, 15, 15, true}},
      {"up moves both edges", {5, 5, 15, 15, true}, vk::kUp, false, {5, 4, 15, 14, true}},
      {"up stops at row 0", {5, 0, 15, 15, true}, vk::kUp, false, {5, 0, 15, 15, true}},
      {"right moves both edges", {5, 5, 15, 15, true}, vk::kRight, false, {6, 5, 16, 15, true}},
      // right*Z - scroll < client - Z: 98 < 99 moves, 99 < 99 does not.
      {"right up to the window", {80, 5, 98, 15, true}, vk::kRight, false, {81, 5, 99, 15, true}},
      {"right stops at the window",
       {80, 5, 99, 15, true},
       vk::kRight,
       false,
       {80, 5, 99, 15, true}},
      {"down up to the window", {5, 60, 15, 78, true}, vk::kDown, false, {5, 61, 15, 79, true}},
      {"down stops at the window", {5, 60, 15, 79, true}, vk::kDown, false, {5, 60, 15, 79, true}},
      {"ctrl left narrows", {5, 5, 7, 15, true}, vk::kLeft, true, {5, 5, 6, 15, true}},
      {"ctrl left keeps one column", {5, 5, 6, 15, true}, vk::kLeft, true, {5, 5, 6, 15, true}},
      {"ctrl right widens", {5, 5, 15, 15, true}, vk::kRight, true, {5, 5, 16, 15, true}},
      {"ctrl up lowers the bottom", {5, 5, 15, 7, true}, vk::kUp, true, {5, 5, 15, 6, true}},
      {"ctrl up keeps one row", {5, 5, 15, 6, true}, vk::kUp, true, {5, 5, 15, 6, true}},
      {"ctrl down", {5, 5, 15, 15, true}, vk::kDown, true, {5, 5, 15, 16, true}},
      {"ctrl down stops at the window",
       {5, 5, 15, 79, true},
       vk::kDown,
       true,
       {5, 5, 15, 79, true}},
      {"plus grows up and left", {5, 5, 15, 15, true}, vk::kAdd, false, {4, 4, 15, 15, true}},
      {"plus at left 0 moves only the top",
       {0, 5, 15, 15, true},
       vk::kAdd,
       false,
       {0, 4, 15, 15, true}},
      {"minus shrinks from the top left",
       {5, 5, 15, 15, true},
       vk::kSubtract,
       false,
       {6, 6, 15, 15, true}},
      {"minus on a 3-wide region", {0, 0, 3, 10, true}, vk::kSubtract, false, {1, 1, 3, 10, true}},
      {"minus on a 2-wide region", {1, 0, 3, 10, true}, vk::kSubtract, false, {1, 1, 3, 10, true}},
      {"inactive region stays", {5, 5, 15, 15, false}, vk::kLeft, false, {5, 5, 15, 15, false}},
      {"inactive region ignores plus",
       {5, 5, 15, 15, false},
       vk::kAdd,
       false,
       {5, 5, 15, 15, false}},
  };
  for (const RegionCase& c : cases) {
    SCOPED_TRACE(c.name);
    KeyState s = Base();
    s.region = c.start;
    const KeyResult r = FormKeyDown(s, c.key, c.ctrl);
    EXPECT_EQ(r.region.left, c.expected.left);
    EXPECT_EQ(r.region.top, c.expected.top);
    EXPECT_EQ(r.region.right, c.expected.right);
    EXPECT_EQ(r.region.bottom, c.expected.bottom);
    EXPECT_EQ(r.region.active, c.expected.active);
  }
}

TEST(FormKeyDown, SecondMinusLeavesTheWidthAtTwo) {
  KeyState s = WithRegion(0, 0, 3, 10);
  KeyResult r = FormKeyDown(s, vk::kSubtract, false);
  EXPECT_EQ(r.region.Width(), 2);
  s.region = r.region;
  r = FormKeyDown(s, vk::kSubtract, false);
  EXPECT_EQ(r.region.Width(), 2);
  EXPECT_EQ(r.region.left, 1);
}

// The bounds are tested on the screen: zoom and scrolling change them.
TEST(FormKeyDown, BoundsFollowZoomAndScroll) {
  KeyState s = WithRegion(10, 10, 30, 30);
  s.view = {4, 0, 0, 100, 100};  // right*4 = 120 is off the screen already
  EXPECT_EQ(FormKeyDown(s, vk::kRight, false).region.right, 30);
  s.view.scroll_x = 40;  // 120 - 40 = 80 < 96
  EXPECT_EQ(FormKeyDown(s, vk::kRight, false).region.right, 31);
  s.view.scroll_y = 40;
  EXPECT_EQ(FormKeyDown(s, vk::kDown, false).region.bottom, 31);
  // A frame narrower than the window: the region can move past the frame's edge.
  s = WithRegion(10, 10, 30, 30);
  s.view = {1, 0, 0, 1000, 1000};
  EXPECT_EQ(FormKeyDown(s, vk::kRight, false).region.right, 31);
}

TEST(FormKeyDown, ProfileLineMovesAsAWhole) {
  KeyState s = Base();
  EXPECT_EQ(FormKeyDown(s, vk::kLeft, false).line, (ProfileLine{9, 10, 19, 15}));
  EXPECT_EQ(FormKeyDown(s, vk::kRight, false).line, (ProfileLine{11, 10, 21, 15}));
  EXPECT_EQ(FormKeyDown(s, vk::kUp, false).line, (ProfileLine{10, 9, 20, 14}));
  EXPECT_EQ(FormKeyDown(s, vk::kDown, false).line, (ProfileLine{10, 11, 20, 16}));
  EXPECT_TRUE(FormKeyDown(s, vk::kLeft, false).actions.repaint);
  // Either end at the edge holds both.
  s.line = {0, 10, 20, 15};
  EXPECT_EQ(FormKeyDown(s, vk::kLeft, false).line, s.line);
  EXPECT_FALSE(FormKeyDown(s, vk::kLeft, false).actions.repaint);
  s.line = {10, 10, 20, 0};
  EXPECT_EQ(FormKeyDown(s, vk::kUp, false).line, s.line);
  s.line = {10, 10, 99, 15};
  EXPECT_EQ(FormKeyDown(s, vk::kRight, false).line, s.line);
  s.line = {10, 79, 20, 15};
  EXPECT_EQ(FormKeyDown(s, vk::kDown, false).line, s.line);
  // Ctrl does not hold the line back.
  s.line = {10, 10, 20, 15};
  EXPECT_EQ(FormKeyDown(s, vk::kLeft, true).line, (ProfileLine{9, 10, 19, 15}));
}

TEST(FormKeyDown, OneLeftPressMovesLineAndRegionTogether) {
  KeyState s = WithRegion(30, 30, 40, 40);
  const KeyResult r = FormKeyDown(s, vk::kLeft, false);
  EXPECT_EQ(r.line, (ProfileLine{9, 10, 19, 15}));
  EXPECT_EQ(r.region.left, 29);
  EXPECT_EQ(r.region.right, 39);
  EXPECT_TRUE(r.actions.region_readout);
  EXPECT_TRUE(r.actions.repaint);
  EXPECT_TRUE(r.actions.info_lines);
}

TEST(FormKeyDown, ActionsOfTheRegionAndOtherKeys) {
  KeyState s = WithRegion(30, 30, 40, 40);
  // Any key repaints while the region is in use; only moves and resizes re-measure it.
  KeyResult r = FormKeyDown(s, 'A', false);
  EXPECT_FALSE(r.actions.region_readout);
  EXPECT_TRUE(r.actions.repaint);
  EXPECT_TRUE(r.actions.info_lines);
  EXPECT_TRUE(FormKeyDown(s, vk::kAdd, false).actions.region_readout);
  EXPECT_TRUE(FormKeyDown(s, vk::kSubtract, false).actions.region_readout);
  // Without a region nothing happens for an ordinary key.
  r = FormKeyDown(Base(), 'A', false);
  EXPECT_FALSE(r.actions.repaint || r.actions.info_lines || r.actions.region_readout ||
               r.actions.stop);
}

TEST(FormKeyDown, EscOnlySetsTheStopFlag) {
  const KeyResult r = FormKeyDown(Base(), vk::kEscape, false);
  EXPECT_TRUE(r.actions.stop);
  EXPECT_FALSE(r.actions.repaint);
  EXPECT_EQ(r.line, Base().line);
}

TEST(FormKeyDown, SpotWindowKeysOnlyWhileItIsOpen) {
  const std::pair<int, SpotWindowCommand> keys[] = {
      {vk::kT, SpotWindowCommand::kTracksInTime}, {vk::kF5, SpotWindowCommand::kTracksInTime},
      {vk::kS, SpotWindowCommand::kShowTracks},   {vk::kF4, SpotWindowCommand::kShowTracks},
      {vk::kF7, SpotWindowCommand::kRefresh},     {vk::kF8, SpotWindowCommand::kCurrentSpots},
      {vk::kF6, SpotWindowCommand::kNone},
  };
  for (const auto& [key, command] : keys) {
    SCOPED_TRACE(key);
    KeyState s = Base();
    EXPECT_EQ(FormKeyDown(s, key, false).actions.spot, SpotWindowCommand::kNone);
    s.spot_window_open = true;
    EXPECT_EQ(FormKeyDown(s, key, false).actions.spot, command);
  }
}

TEST(FormKeyDown, PageKeysStepThroughBeadsOnlyWhileShown) {
  KeyState s = Base();
  s.bead_count = 3;
  s.bead_index = 1;
  EXPECT_EQ(FormKeyDown(s, vk::kPrior, false).bead_index, 1);
  EXPECT_FALSE(FormKeyDown(s, vk::kPrior, false).actions.bead_views);
  s.show_beads = true;
  KeyResult r = FormKeyDown(s, vk::kPrior, false);
  EXPECT_EQ(r.bead_index, 2);
  EXPECT_TRUE(r.actions.bead_views && r.actions.repaint);
  s.bead_index = 2;
  EXPECT_EQ(FormKeyDown(s, vk::kPrior, false).bead_index, 2);  // last bead
  EXPECT_TRUE(FormKeyDown(s, vk::kPrior, false).actions.bead_views);
  EXPECT_EQ(FormKeyDown(s, vk::kNext, false).bead_index, 1);
  s.bead_index = 0;
  EXPECT_EQ(FormKeyDown(s, vk::kNext, false).bead_index, 0);
  s.bead_count = 0;
  EXPECT_EQ(FormKeyDown(s, vk::kPrior, false).bead_index, 0);
}

}  // namespace
}  // namespace lumetra
