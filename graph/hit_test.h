// The cursor readout: which point lies under the mouse, the values of every
// row there, and which shown curve passes within 2 pixels of the mouse.
#pragma once

#include "graph/graph_layout.h"
#include "graph/graph_model.h"

namespace lumetra {

// Updates model.Readout for the mouse at (x, y), pixels on the graph's
// surface. Returns true when x lies within the plot's horizontal extent (the
// readout follows the mouse over the whole height); false, with the values
// cleared, when it does not or the readout is off.
bool GraphHitTest(GraphModel& model, const GraphLayout& layout, int x, int y);

}  // namespace lumetra
