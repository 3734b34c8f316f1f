// Saving a graph through a file dialog and printing it through the print
// dialog, scaled to the page.
#pragma once

class QWidget;

namespace lumetra {

class TXKgraph;

// Asks for a .png or .bmp name (the chosen filter's ending is added when the
// name has none) and saves the graph; a failure is shown in a message box.
// False when cancelled or failed.
bool SaveGraphAs(TXKgraph& graph, QWidget* parent);

// Prints the graph's picture as large as the page allows, keeping its
// proportions. False when cancelled.
bool PrintGraph(TXKgraph& graph, QWidget* parent);

}  // namespace lumetra
