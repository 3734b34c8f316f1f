// The settings dialog's checks of typed axis values.
#include "graph/axis_edit.h"

#include <gtest/gtest.h>

namespace lumetra {
namespace {

TEST(AxisEdit, AcceptsAGoodRange) {
  std::string message;
  auto e = ParseAxisEdit(1, " -2.5", "7.5 ", "0.5", message);
  ASSERT_TRUE(e) << message;
  EXPECT_EQ(e->first, -2.5);
  EXPECT_EQ(e->last, 7.5);
  EXPECT_EQ(e->tick, 0.5);
}

TEST(AxisEdit, RefusalsNameTheAxisAndTheFault) {
  struct Case {
    int axis;
    const char *first, *last, *tick, *message;
  };
  const Case cases[] = {
      {0, "x", "1", "1", "X axis: First value is not a number"},
      {1, "0", "", "1", "Left Y axis: Last value is not a number"},
      {2, "0", "1", "inf", "Right Y axis: Tick is not a number"},
      {0, "5", "5", "1", "X axis: First value must be less than Last value"},
      {0, "0", "1", "0", "X axis: Tick distance must be greater than 0"},
      {0, "0", "1", "-1", "X axis: Tick distance must be greater than 0"},
      {0, "0", "1001", "1", "X axis: Too many ticks (at most 1000): raise the Tick"},
  };
  for (const Case& c : cases) {
    std::string message;
    EXPECT_FALSE(ParseAxisEdit(c.axis, c.first, c.last, c.tick, message));
    EXPECT_EQ(message, c.message);
  }
}

}  // namespace
}  // namespace lumetra
