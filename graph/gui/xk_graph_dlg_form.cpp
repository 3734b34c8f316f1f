#include "graph/gui/xk_graph_dlg_form.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

#include "common/text_format.h"
#include "graph/axis_edit.h"
#include "graph/graph_messages.h"
#include "graph/gui/graph_painter.h"
#include "graph/gui/xk_graph.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

constexpr std::array<const char*, 3> kAxisKeys = {"X", "Y0", "Y1"};

// A combo box of whole numbers; a value not in the list is added, so a graph
// set up in code shows what it really draws.
void SelectNumber(QComboBox* box, int value) {
  int i = box->findData(value);
  if (i < 0) {
    box->addItem(QString::number(value), value);
    i = box->count() - 1;
  }
  box->setCurrentIndex(i);
}

}  // namespace

TXKgraphDlgForm::TXKgraphDlgForm(TXKgraph& graph, Reporter* reporter, QWidget* parent)
    : QDialog(parent), graph_(graph), reporter_(reporter) {
  setWindowTitle(Q(kGraphSettingsTitle));
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(BuildAxes());
  layout->addWidget(BuildCurves());
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout->addWidget(buttons);
  LoadFromGraph();
}

TXKgraphDlgForm::~TXKgraphDlgForm() = default;

GraphAxis& TXKgraphDlgForm::Axis(int axis) {
  return axis == 0 ? graph_.X : axis == 1 ? graph_.Y0 : graph_.Y1;
}

std::string& TXKgraphDlgForm::Title(int axis) {
  return axis == 0 ? graph_.TitleX : axis == 1 ? graph_.TitleY0 : graph_.TitleY1;
}

QWidget* TXKgraphDlgForm::BuildAxes() {
  auto* box = new QGroupBox(tr("Axes"), this);
  auto* grid = new QGridLayout(box);
  const char* heads[] = {"", "First", "Last", "Tick", "Tick lines", "Title"};
  for (int c = 0; c < 6; ++c) grid->addWidget(new QLabel(tr(heads[c]), box), 0, c);
  for (int a = 0; a < 3; ++a) {
    AxisRow& row = axes_[a];
    const QString key = kAxisKeys[a];
    grid->addWidget(new QLabel(Q(kAxisNames[a]), box), a + 1, 0);
    auto edit = [&](const char* what, int column) {
      auto* e = new QLineEdit(box);
      e->setObjectName(key + what);
      e->setMaximumWidth(column == 5 ? 16777215 : 90);
      grid->addWidget(e, a + 1, column);
      return e;
    };
    row.first = edit("First", 1);
    row.last = edit("Last", 2);
    row.tick = edit("Tick", 3);
    row.style = new QComboBox(box);
    row.style->setObjectName(key + "TickStyle");
    for (auto name : kTickStyleNames) row.style->addItem(Q(name));
    grid->addWidget(row.style, a + 1, 4);
    row.title = edit("Title", 5);
    for (QLineEdit* e : {row.first, row.last, row.tick})
      connect(e, &QLineEdit::editingFinished, this, [this, a] { AxisEdited(a); });
    connect(row.style, &QComboBox::currentIndexChanged, this, [this, a](int index) {
      if (loading_) return;
      Axis(a).TickStyle = index;
      graph_.Repaint();
    });
    connect(row.title, &QLineEdit::textEdited, this, [this, a](const QString& text) {
      Title(a) = text.toStdString();
      graph_.Repaint();
    });
  }
  grid->setColumnStretch(5, 1);
  return box;
}

QWidget* TXKgraphDlgForm::BuildCurves() {
  auto* box = new QGroupBox(tr("Curves"), this);
  auto* grid = new QGridLayout(box);
  const char* heads[] = {"", "Show", "Right axis", "Colour", "Width", "Size", "Type"};
  for (int c = 0; c < 7; ++c) grid->addWidget(new QLabel(tr(heads[c]), box), 0, c);
  for (int k = 1; k <= kDialogCurves; ++k) {
    CurveRow& row = curves_[k];
    const QString key = QString("Curve%1").arg(k);
    grid->addWidget(new QLabel(QString::number(k), box), k, 0);
    row.show = new QCheckBox(box);
    row.right = new QCheckBox(box);
    row.color = new QPushButton(box);
    row.color->setFixedWidth(48);
    row.width = new QComboBox(box);
    for (int w : kCurveWidths) row.width->addItem(QString::number(w), w);
    row.size = new QComboBox(box);
    for (int s : kSymbolSizes) row.size->addItem(QString::number(s), s);
    row.type = new QComboBox(box);
    for (auto name : kCurveTypeNames) row.type->addItem(Q(name));
    const std::pair<QWidget*, const char*> named[] = {{row.show, "Show"},   {row.right, "Right"},
                                                      {row.color, "Color"}, {row.width, "Width"},
                                                      {row.size, "Size"},   {row.type, "Type"}};
    for (int c = 0; c < 6; ++c) {
      named[c].first->setObjectName(key + named[c].second);
      grid->addWidget(named[c].first, k, c + 1);
    }
    auto edited = [this, k] { CurveEdited(k); };
    connect(row.show, &QCheckBox::toggled, this, edited);
    connect(row.right, &QCheckBox::toggled, this, edited);
    connect(row.width, &QComboBox::currentIndexChanged, this, edited);
    connect(row.size, &QComboBox::currentIndexChanged, this, edited);
    connect(row.type, &QComboBox::currentIndexChanged, this, edited);
    connect(row.color, &QPushButton::clicked, this, [this, k] { PickColor(k); });
  }
  return box;
}

void TXKgraphDlgForm::LoadFromGraph() {
  loading_ = true;
  for (int a = 0; a < 3; ++a) {
    const GraphAxis& axis = Axis(a);
    axes_[a].first->setText(Q(FormatGeneral(axis.First)));
    axes_[a].last->setText(Q(FormatGeneral(axis.Last)));
    axes_[a].tick->setText(Q(FormatGeneral(axis.Tick)));
    axes_[a].style->setCurrentIndex(std::clamp(axis.TickStyle, 0, 3));
    axes_[a].title->setText(QString::fromStdString(Title(a)));
  }
  for (int k = 1; k <= kDialogCurves; ++k) {
    const GraphCurve& c = graph_.Curves[k];
    curves_[k].show->setChecked(c.Show);
    curves_[k].right->setChecked(c.Y1);
    SelectNumber(curves_[k].width, c.Width);
    SelectNumber(curves_[k].size, c.Size);
    curves_[k].type->setCurrentIndex(std::clamp(c.Type, 0, 6));
    ShowColor(k);
  }
  loading_ = false;
}

void TXKgraphDlgForm::AxisEdited(int a) {
  if (loading_) return;
  AxisRow& row = axes_[a];
  std::string message;
  const auto edit =
      ParseAxisEdit(a, row.first->text().toStdString(), row.last->text().toStdString(),
                    row.tick->text().toStdString(), message);
  GraphAxis& axis = Axis(a);
  if (!edit) {
    // Back to the values in force before the message takes the focus away.
    loading_ = true;
    row.first->setText(Q(FormatGeneral(axis.First)));
    row.last->setText(Q(FormatGeneral(axis.Last)));
    row.tick->setText(Q(FormatGeneral(axis.Tick)));
    loading_ = false;
    if (reporter_ != nullptr)
      reporter_->Modal(message);
    else
      QMessageBox::warning(this, Q(kGraphRangeErrorTitle), Q(message));
    return;
  }
  if (edit->first == axis.First && edit->last == axis.Last && edit->tick == axis.Tick) return;
  axis.First = edit->first;
  axis.Last = edit->last;
  axis.Tick = edit->tick;
  graph_.Repaint();
}

void TXKgraphDlgForm::CurveEdited(int k) {
  if (loading_) return;
  GraphCurve& c = graph_.Curves[k];
  const CurveRow& row = curves_[k];
  c.Show = row.show->isChecked();
  c.Y1 = row.right->isChecked();
  c.Width = row.width->currentData().toInt();
  c.Size = row.size->currentData().toInt();
  c.Type = row.type->currentIndex();
  graph_.Repaint();
}

void TXKgraphDlgForm::PickColor(int k) {
  const QColor chosen =
      QColorDialog::getColor(ToQColor(graph_.Curves[k].Color), this, tr("Curve %1").arg(k));
  if (!chosen.isValid()) return;
  graph_.Curves[k].Color = MakeColor(chosen.red(), chosen.green(), chosen.blue());
  ShowColor(k);
  graph_.Repaint();
}

void TXKgraphDlgForm::ShowColor(int k) {
  curves_[k].color->setStyleSheet(
      QString("background-color: %1").arg(ToQColor(graph_.Curves[k].Color).name()));
}

}  // namespace lumetra
