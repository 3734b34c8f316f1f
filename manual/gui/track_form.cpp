#include "manual/gui/track_form.h"

#include <QAction>
#include <QActionGroup>
#include <QCloseEvent>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QSplitter>
#include <QStatusBar>
#include <QTableWidget>
#include <cmath>

#include "common/text_format.h"
#include "graph/auto_scale.h"
#include "graph/gui/graph_view.h"
#include "graph/gui/xk_graph.h"
#include "manual/manual_marking.h"
#include "manual/manual_messages.h"
#include "manual/manual_xki.h"
#include "spots/track_export.h"
#include "spots/xki_file.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

// Object colours on the image and in the graph (0x00RRGGBB), repeating.
constexpr uint32_t kObjectColours[] = {0x00E000, 0xFF40FF, 0x00C0FF, 0xFFFF00, 0xFF8000, 0x8080FF,
                                       0xFF0000, 0x00FF80, 0xC0C0C0, 0x8000FF, 0x008080};

QColor ObjectColour(int32_t object) {
  const uint32_t c = kObjectColours[object % std::size(kObjectColours)];
  return QColor((c >> 16) & 0xFF, (c >> 8) & 0xFF, c & 0xFF);
}

// The graph's colours are Windows colour values: blue in the high byte.
uint32_t GraphColour(int32_t object) {
  const QColor c = ObjectColour(object);
  // Yellow and light grey vanish on the graph's pale panel: darken them.
  const int f = c.lightness() > 150 ? 2 : 1;
  return static_cast<uint32_t>(c.red() / f) | static_cast<uint32_t>(c.green() / f) << 8 |
         static_cast<uint32_t>(c.blue() / f) << 16;
}

QString Number(double v, int decimals) {
  return std::isfinite(v) ? Q(FormatFixed(v, decimals)) : QStringLiteral("-");
}

}  // namespace

TTrackForm::TTrackForm(RecordStore& record, Reporter& reporter, QWidget* parent)
    : QMainWindow(parent),
      record_(record),
      reporter_(reporter),
      graph_(std::make_unique<TXKgraph>()) {
  setWindowTitle(Q(kTrackFormCaption));
  tracks_.Reset(record_.FrameCount(), record_.Prm().ScaleX, record_.Prm().ScaleY);
  times_ = record_.FrameTimes();
  auto* split = new QSplitter(Qt::Vertical, this);
  table_ = new QTableWidget(0, 7, split);
  table_->setHorizontalHeaderLabels({"Object", "Points", "First frame", "Last frame", "Path (um)",
                                     "Net (um)", "Mean speed (um/s)"});
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->verticalHeader()->hide();
  table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  connect(table_, &QTableWidget::currentCellChanged, this, [this](int row) {
    if (filling_ || row < 0) return;
    SelectObject(table_->item(row, 0)->data(Qt::UserRole).toInt());
  });
  points_ = new QTableWidget(0, 7, split);
  points_->setHorizontalHeaderLabels(
      {"Frame", "Time (s)", "X (px)", "Y (px)", "Speed (um/s)", "Nearest (um)", "Nearest object"});
  points_->setSelectionBehavior(QAbstractItemView::SelectRows);
  points_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  points_->verticalHeader()->hide();
  points_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  connect(points_, &QTableWidget::cellClicked, this, [this](int row) {
    if (host_.go_to_frame) host_.go_to_frame(points_->item(row, 0)->text().toInt());
  });
  graph_view_ = new GraphView(split);
  graph_view_->setMinimumSize(400, 260);
  graph_view_->SetGraph(graph_.get());
  graph_->TitleX = "time (s)";
  split->setStretchFactor(2, 2);
  split->setSizes({160, 160, 420});
  setCentralWidget(split);
  status_ = new QLabel(this);
  statusBar()->addWidget(status_, 1);
  AskOpenFile = [this](const QString& title, const QString& filter) {
    return QFileDialog::getOpenFileName(this, title, QString(), filter);
  };
  AskSaveFile = [this](const QString& title, const QString& filter, const QString& name) {
    return QFileDialog::getSaveFileName(this, title, name, filter);
  };
  AskYesNo = [this](const QString& question) {
    return QMessageBox::question(this, Q(kTrackFormCaption), question) == QMessageBox::Yes;
  };
  BuildMenus();
  resize(640, 800);
  Refresh();
}

TTrackForm::~TTrackForm() = default;

void TTrackForm::BuildMenus() {
  QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
  file->addAction(QStringLiteral("Read X-Y-Int Data (XKI)"), this, &TTrackForm::ReadXKIfileClick)
      ->setObjectName(QStringLiteral("ReadXKIfile"));
  file->addAction(QStringLiteral("Save X-Y-Int Data (XKI)"), this, [this] { SaveXKIfileClick(); })
      ->setObjectName(QStringLiteral("SaveXKIfile"));
  file->addSeparator();
  file->addAction(QStringLiteral("Save Tracks as Table (TSV)"), this,
                  &TTrackForm::SaveTracksTSVClick);
  file->addAction(QStringLiteral("Save Distances as Table (TSV)"), this,
                  &TTrackForm::SaveDistancesTSVClick);
  file->addSeparator();
  file->addAction(QStringLiteral("Take Tracks of the Tracking Window"), this,
                  &TTrackForm::TakeTrackingTracksClick);
  QMenu* objects = menuBar()->addMenu(QStringLiteral("&Objects"));
  // The keys work while the main window has the focus too: the user clicks there.
  const auto key = [&](const char* text, QKeySequence seq, void (TTrackForm::*slot)()) {
    QAction* a = objects->addAction(QString::fromLatin1(text), this, slot);
    a->setShortcut(seq);
    a->setShortcutContext(Qt::ApplicationShortcut);
  };
  key("Next Object", QKeySequence(Qt::Key_BracketRight), &TTrackForm::NextObjectClick);
  key("Previous Object", QKeySequence(Qt::Key_BracketLeft), &TTrackForm::PrevObjectClick);
  key("Step Back a Frame", QKeySequence(Qt::Key_Backspace), &TTrackForm::StepBackClick);
  key("Remove Point in This Frame", QKeySequence(Qt::Key_Delete), &TTrackForm::RemovePointClick);
  objects->addAction(QStringLiteral("Clear Object"), this, &TTrackForm::ClearObjectClick);
  objects->addSeparator();
  SnapToCentre = objects->addAction(QStringLiteral("Snap to Spot Centre (fit)"));
  SnapToCentre->setObjectName(QStringLiteral("SnapToCentre"));
  SnapToCentre->setCheckable(true);
  QMenu* view = menuBar()->addMenu(QStringLiteral("&Graph"));
  auto* group = new QActionGroup(this);
  for (auto [text, slot] :
       {std::pair{"Positions of the Object", &TTrackForm::ShowPositionsClick},
        std::pair{"Speeds", &TTrackForm::ShowSpeedsClick},
        std::pair{"Distances to the Object", &TTrackForm::ShowDistancesClick}}) {
    QAction* a = view->addAction(QString::fromLatin1(text), this, slot);
    a->setCheckable(true);
    a->setChecked(slot == &TTrackForm::ShowPositionsClick);
    group->addAction(a);
  }
}

QString TTrackForm::StatusText() const {
  return status_text_;
}

void TTrackForm::ImageClickAt(int x, int y) {
  if (!record_.HasFrame()) return;
  const int32_t frame = record_.CurrentFrame();
  const auto point = PointFromClick(
      record_.FrameBuffer(), record_.Width(), record_.Height(), x, y, tracks_.NmPerPixelX(),
      tracks_.NmPerPixelY(), SnapToCentre->isChecked(), host_.fwhm_nm ? host_.fwhm_nm() : 250);
  if (!point) return;
  const MarkResult r =
      tracks_.Mark(tracks_.Current(), frame, point->x_nm, point->y_nm, point->value);
  if (r == MarkResult::kRefused) return;
  status_text_ = Q(MarkStatus(tracks_.Current(), frame, tracks_.Frames(), r));
  Refresh();
  if (frame + 1 < tracks_.Frames() && host_.go_to_frame) host_.go_to_frame(frame + 1);
}

void TTrackForm::FrameShown() {
  if (host_.marks_changed) host_.marks_changed();
}

void TTrackForm::SelectObject(int32_t object) {
  tracks_.SetCurrent(object);
  status_text_ = Q(std::string(kStatusObject) + std::to_string(object + 1));
  Refresh();
}

void TTrackForm::NextObjectClick() {
  SelectObject((tracks_.Current() + 1) % kManualObjects);
}

void TTrackForm::PrevObjectClick() {
  SelectObject((tracks_.Current() + kManualObjects - 1) % kManualObjects);
}

void TTrackForm::StepBackClick() {
  if (record_.CurrentFrame() > 0 && host_.go_to_frame)
    host_.go_to_frame(record_.CurrentFrame() - 1);
}

void TTrackForm::RemovePointClick() {
  const int32_t frame = record_.CurrentFrame();
  if (!tracks_.RemovePoint(tracks_.Current(), frame)) return;
  status_text_ = Q(MarkStatus(tracks_.Current(), frame, tracks_.Frames(), MarkResult::kRefused) +
                   std::string(kStatusPointRemoved));
  Refresh();
}

void TTrackForm::ClearObjectClick() {
  tracks_.ClearObject(tracks_.Current());
  Refresh();
}

bool TTrackForm::MayDropObjects() {
  return !tracks_.unsaved || tracks_.UsedCount() == 0 || AskYesNo(Q(kDropUnsavedObjects));
}

QString TTrackForm::SaveName(const char* suffix) const {
  return Q(ExportNameFor(record_.RecordFileName(), suffix));
}

void TTrackForm::ReadXKIfileClick() {
  if (!MayDropObjects()) return;
  const QString path = AskOpenFile(QStringLiteral("Read X-Y-Int Data (XKI)"),
                                   QStringLiteral("XKI files (*.xki);;All files (*)"));
  if (path.isEmpty()) return;
  const int32_t n = ReadManualXki(path.toStdString(), tracks_, record_.FrameCount(),
                                  record_.Prm().ScaleX, record_.Prm().ScaleY, reporter_);
  if (n >= 0) status_text_ = QStringLiteral("read %1 objects from %2").arg(n).arg(path);
  Refresh();
}

bool TTrackForm::SaveXKIfileClick() {
  const QString path = AskSaveFile(QStringLiteral("Save X-Y-Int Data (XKI)"),
                                   QStringLiteral("XKI files (*.xki)"), SaveName("xki"));
  if (path.isEmpty()) return false;
  const bool ok = WriteManualXki(path.toStdString(), tracks_, reporter_);
  if (ok) status_text_ = QStringLiteral("saved ") + path;
  Refresh();
  return ok;
}

void TTrackForm::SaveText(const QString& title, const std::string& text, const char* suffix) {
  const QString path =
      AskSaveFile(title, QStringLiteral("Tab-separated tables (*.tsv)"), SaveName(suffix));
  if (path.isEmpty()) return;
  // Written whole under a temporary name and renamed, as the XKI files are.
  if (WriteXkiBytes(path.toStdString(), std::vector<uint8_t>(text.begin(), text.end()), reporter_))
    status_text_ = QStringLiteral("saved ") + path;
  Refresh();
}

void TTrackForm::SaveTracksTSVClick() {
  SaveText(QStringLiteral("Save Tracks as Table (TSV)"), ManualTracksTable(tracks_, times_),
           "manual.tsv");
}

void TTrackForm::SaveDistancesTSVClick() {
  SaveText(QStringLiteral("Save Distances as Table (TSV)"), ManualDistancesTable(tracks_, times_),
           "distances.tsv");
}

void TTrackForm::TakeTrackingTracksClick() {
  const TrackStore* store = host_.tracking_window_tracks ? host_.tracking_window_tracks() : nullptr;
  if (!store) {
    reporter_.Modal(kNoLinkedTracks);
    return;
  }
  if (!MayDropObjects()) return;
  const int32_t n = TakeTrackingWindowTracks(*store, false, tracks_, record_.FrameCount(),
                                             record_.Prm().ScaleX, record_.Prm().ScaleY, reporter_);
  if (n >= 0) status_text_ = QStringLiteral("took %1 tracks of the tracking window").arg(n);
  Refresh();
}

void TTrackForm::ShowPositionsClick() {
  kind_ = ManualGraphKind::kPositions;
  DrawGraph();
}

void TTrackForm::ShowSpeedsClick() {
  kind_ = ManualGraphKind::kSpeeds;
  DrawGraph();
}

void TTrackForm::ShowDistancesClick() {
  kind_ = ManualGraphKind::kDistances;
  DrawGraph();
}

void TTrackForm::closeEvent(QCloseEvent* event) {
  if (!MayDropObjects()) {
    event->ignore();
    return;
  }
  event->accept();
}

void TTrackForm::Refresh() {
  const std::string head = std::string(kStatusObject) + std::to_string(tracks_.Current() + 1) +
                           " of " + std::to_string(kManualObjects) + "  |  ";
  status_->setText(Q(head) + status_text_);
  FillTable();
  FillPoints();
  DrawGraph();
  if (host_.marks_changed) host_.marks_changed();
}

void TTrackForm::FillTable() {
  filling_ = true;
  std::vector<ObjectSummary> rows = SummariseObjects(tracks_, times_);
  // The current object is listed even before its first point.
  if (std::none_of(rows.begin(), rows.end(),
                   [&](auto& s) { return s.object == tracks_.Current(); })) {
    ObjectSummary s;
    s.object = tracks_.Current();
    rows.insert(std::lower_bound(rows.begin(), rows.end(), s,
                                 [](auto& a, auto& b) { return a.object < b.object; }),
                s);
  }
  table_->setRowCount(static_cast<int>(rows.size()));
  for (int r = 0; r < static_cast<int>(rows.size()); ++r) {
    const ObjectSummary& s = rows[static_cast<size_t>(r)];
    const QStringList cells = {QString::number(s.object + 1),
                               QString::number(s.points),
                               s.points ? QString::number(s.first_frame) : QStringLiteral("-"),
                               s.points ? QString::number(s.last_frame) : QStringLiteral("-"),
                               Number(s.path_um, 3),
                               Number(s.net_um, 3),
                               Number(s.mean_speed, 3)};
    for (int c = 0; c < cells.size(); ++c) {
      auto* item = new QTableWidgetItem(cells[c]);
      if (c == 0) {
        item->setData(Qt::UserRole, s.object);
        item->setForeground(ObjectColour(s.object));
        item->setBackground(QColor(40, 40, 40));
      }
      table_->setItem(r, c, item);
    }
    if (s.object == tracks_.Current()) table_->setCurrentCell(r, 0);
  }
  filling_ = false;
}

void TTrackForm::FillPoints() {
  const std::vector<ObjectPoint> rows = ObjectPoints(tracks_, tracks_.Current(), times_);
  points_->setRowCount(static_cast<int>(rows.size()));
  for (int r = 0; r < static_cast<int>(rows.size()); ++r) {
    const ObjectPoint& p = rows[static_cast<size_t>(r)];
    const QStringList cells = {
        QString::number(p.frame),
        Number(p.time_s, 3),
        Number(p.x_px, 2),
        Number(p.y_px, 2),
        Number(p.speed, 3),
        Number(p.nearest_um, 3),
        p.nearest < 0 ? QStringLiteral("-") : QString::number(p.nearest + 1)};
    for (int c = 0; c < cells.size(); ++c) points_->setItem(r, c, new QTableWidgetItem(cells[c]));
  }
}

void TTrackForm::DrawGraph() {
  TXKgraph& g = *graph_;
  graph_data_ = BuildManualGraph(tracks_, times_, kind_);
  g.TitleY0 = graph_data_.title_y;
  g.SetData(graph_data_.matrix.data(), graph_data_.curves, graph_data_.row_length);
  for (int c = 1; c < kCurveRecords; ++c) g.Curves[c].Show = c <= graph_data_.curves;
  for (int c = 1; c <= graph_data_.curves; ++c) {
    GraphCurve& curve = g.Curves[c];
    curve.Type = kCurveLineCircle;
    curve.Size = 4;
    curve.Width = 1;
    const int32_t object = graph_data_.objects[static_cast<size_t>(c - 1)];
    curve.Color = kind_ == ManualGraphKind::kPositions ? (c == 1 ? 0x0000C0u : 0xC00000u)
                                                       : GraphColour(object);
    g.Names[c] = kind_ == ManualGraphKind::kPositions ? (c == 1 ? "X" : "Y")
                                                      : "object " + std::to_string(object + 1);
  }
  const auto range = [&]() -> std::optional<std::pair<double, double>> {
    std::optional<std::pair<double, double>> all;
    for (int c = 1; c <= graph_data_.curves; ++c)
      if (auto r = RowRange(g, c))
        all =
            all ? std::pair{std::min(all->first, r->first), std::max(all->second, r->second)} : *r;
    return all;
  }();
  const double t_end = graph_data_.row_length > 1
                           ? graph_data_.matrix[static_cast<size_t>(graph_data_.row_length - 1)]
                           : 1.0;
  FitAxis(g.X, graph_data_.row_length > 0 ? graph_data_.matrix[0] : 0.0, t_end, 0, 6);
  if (range) {
    FitAxis(g.Y0, range->first, range->second, 0.05, 5);
    g.Notes = {"", "", "", ""};
  } else {
    g.Y0 = GraphAxis{0, 10, 2, g.Y0.TickStyle, g.Y0.Color};
    g.Notes = {"NO DATA", "", "", ""};
  }
  g.Repaint();
}

void TTrackForm::PaintMarks(QPainter& p, int zoom) const {
  const int32_t now = record_.CurrentFrame();
  if (now < 0 || now >= tracks_.Frames()) return;
  p.setRenderHint(QPainter::Antialiasing);
  p.setBrush(Qt::NoBrush);
  const auto at = [&](int32_t o, int32_t f) {
    const ManualObject& ob = tracks_.Object(o);
    return QPointF(ob.x[static_cast<size_t>(f)] / tracks_.NmPerPixelX() * zoom,
                   ob.y[static_cast<size_t>(f)] / tracks_.NmPerPixelY() * zoom);
  };
  for (int32_t o = 0; o < kManualObjects; ++o) {
    const ManualObject& ob = tracks_.Object(o);
    const bool current = o == tracks_.Current();
    if (!ob.in_use || (!ob.shown && !current)) continue;
    p.setPen(QPen(ObjectColour(o), current ? 2 : 1));
    // The track up to the frame shown; gaps break the line.
    for (int32_t f = 1; f <= now; ++f)
      if (tracks_.HasPoint(o, f) && tracks_.HasPoint(o, f - 1)) p.drawLine(at(o, f - 1), at(o, f));
    if (tracks_.HasPoint(o, now)) {
      const double r = std::max(3.0, 1.5 * zoom);
      p.drawEllipse(at(o, now), r, r);
      p.drawText(at(o, now) + QPointF(r + 2, -r), QString::number(o + 1));
    }
  }
}

}  // namespace lumetra
