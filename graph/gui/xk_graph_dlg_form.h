// TXKgraphDlgForm: the graph settings dialog. It edits a TXKgraph in place,
// the three axes (first and last value, tick distance, tick lines, title) and
// curves 1 to 10 (show, right axis, colour, width, symbol size, type), and
// repaints the graph after every single edit.
#pragma once

#include <QDialog>
#include <array>

#include "common/report.h"
#include "graph/graph_model.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;

namespace lumetra {

class TXKgraph;

class TXKgraphDlgForm : public QDialog {
  Q_OBJECT

 public:
  // Range problems go to `reporter` as modal messages; with nullptr they are
  // shown in message boxes.
  TXKgraphDlgForm(TXKgraph& graph, Reporter* reporter, QWidget* parent = nullptr);
  ~TXKgraphDlgForm() override;

  // Shows the graph's current settings in the controls.
  void LoadFromGraph();

 private:
  struct AxisRow {
    QLineEdit* first = nullptr;
    QLineEdit* last = nullptr;
    QLineEdit* tick = nullptr;
    QComboBox* style = nullptr;
    QLineEdit* title = nullptr;
  };
  struct CurveRow {
    QCheckBox* show = nullptr;
    QCheckBox* right = nullptr;
    QPushButton* color = nullptr;
    QComboBox* width = nullptr;
    QComboBox* size = nullptr;
    QComboBox* type = nullptr;
  };

  QWidget* BuildAxes();
  QWidget* BuildCurves();
  void AxisEdited(int axis);
  void CurveEdited(int k);
  void PickColor(int k);
  void ShowColor(int k);
  GraphAxis& Axis(int axis);
  std::string& Title(int axis);

  TXKgraph& graph_;
  Reporter* reporter_;
  std::array<AxisRow, 3> axes_;
  std::array<CurveRow, kDialogCurves + 1> curves_;  // 1 to 10
  bool loading_ = false;
};

}  // namespace lumetra
