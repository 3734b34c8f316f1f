// The Statistics menu of the tracking window. Every view runs the statistics
// of the tracks held (one core call) and draws one plot table in the
// statistics graph window; the saves write the core's tables.
#include <QAction>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPixmap>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "display/gui/tool_window.h"
#include "graph/gui/graph_view.h"
#include "graph/gui/xk_graph.h"
#include "graph/plot_setup.h"
#include "graph/plot_table.h"
#include "spots/gui/spot_form.h"
#include "processing/output_names.h"
#include "processing/shift_export.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"
#include "spots/track_stats_run.h"
#include "spots/xki_file.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<int>(s.size())); }

}  // namespace

void TSpotForm::BuildStatisticsMenu() {
  QMenu* m = menuBar()->addMenu(QStringLiteral("S&tatistics"));
  m->addAction(QStringLiteral("MSD against Lag Time"), this, &TSpotForm::StatMsdClick);
  m->addAction(QStringLiteral("Diffusion Coefficients"), this, &TSpotForm::StatDiffusionClick);
  m->addAction(QStringLiteral("Jump Distances"), this, &TSpotForm::StatJumpsClick);
  m->addAction(QStringLiteral("Velocity Distribution"), this, &TSpotForm::StatVelocityClick);
  m->addAction(QStringLiteral("Intensity Distribution"), this, &TSpotForm::StatIntensityClick);
  m->addAction(QStringLiteral("Drift"), this, &TSpotForm::StatDriftClick);
  m->addAction(QStringLiteral("Density Map"), this, &TSpotForm::StatDensityMapClick);
  m->addSeparator();
  StatMsdFit = m->addAction(QStringLiteral("D by MSD Fit (else Covariance)"));
  StatMsdFit->setCheckable(true);
  StatCorrectDrift = m->addAction(QStringLiteral("Correct Drift"));
  StatCorrectDrift->setCheckable(true);
  m->addSeparator();
  m->addAction(QStringLiteral("Save MSD (TSV)"), this, &TSpotForm::SaveMsdTSVClick);
  m->addAction(QStringLiteral("Save Diffusion Coefficients (TSV)"), this,
               &TSpotForm::SaveDiffusionTSVClick);
  m->addAction(QStringLiteral("Save Jump Distances (TSV)"), this, &TSpotForm::SaveJumpsTSVClick);
  m->addAction(QStringLiteral("Save Drift (TSV)"), this, &TSpotForm::SaveDriftTSVClick);
  m->addAction(QStringLiteral("Save Drift-Corrected Tracks (XKI)"), this,
               &TSpotForm::SaveDriftCorrectedXKIClick);
  m->addAction(QStringLiteral("Save Drift-Corrected Record..."), this,
               &TSpotForm::SaveDriftCorrectedRecordClick);
}

bool TSpotForm::RunStatistics(bool correct_drift) {
  const TrackScale scale = Scale();
  TrackSet set = TrackSetFromStore(*tracks_, scale.x, scale.y);
  const std::vector<float>& times = record_.FrameTimes();
  set.timing.frame_s = times.size() > 1
                           ? (times.back() - times.front()) / static_cast<double>(times.size() - 1)
                           : record_.FrameInterval();
  set.timing.exposure_s = record_.Prm().ExposureMs * 0.001;
  set.timing.nm_per_pixel = scale.x;
  StatsOptions o;
  o.method = StatMsdFit->isChecked() ? DiffusionMethod::kMsdFit : DiffusionMethod::kCve;
  o.correct_drift = correct_drift;
  auto run = std::make_unique<StatsRun>();
  if (!RunTrackStatistics(std::move(set), o, *run, reporter_)) return false;
  stats_ = std::move(run);
  return true;
}

QString TSpotForm::StatisticsSummary() const {
  return stats_ ? Q(StatsSummary(*stats_, true)) : QString();
}

void TSpotForm::ShowStatsView(int view) {
  if (!RunStatistics(StatCorrectDrift->isChecked())) return;
  const StatsView v = static_cast<StatsView>(view);
  if (v == StatsView::kDrift && !stats_->drift_applied) {
    reporter_.Modal(kStatNoDriftView);
    return;
  }
  const StatsPlot plot = StatsPlotFor(*stats_, v);
  std::string error;
  auto table = plot.table.empty() ? std::nullopt : ParsePlotTable(plot.table, error);
  if (!table) {
    reporter_.Modal(kStatNoView);
    return;
  }
  PlotOptions options;
  for (const std::string& t : plot.types)
    if (auto type = CurveTypeFromName(t)) options.types.push_back(*type);
  options.title_x = plot.title_x;
  options.title_y = plot.title_y;
  options.note = plot.note;
  if (!stats_window_) {
    stats_window_ = new QWidget(this, Qt::Window);
    stats_window_->setWindowTitle(Q(kStatWindowCaption));
    auto* layout = new QVBoxLayout(stats_window_);
    layout->setContentsMargins(0, 0, 0, 0);
    stats_view_ = new GraphView(stats_window_);
    stats_image_ = new QLabel(stats_window_);
    stats_image_->setAlignment(Qt::AlignCenter);
    layout->addWidget(stats_view_);
    layout->addWidget(stats_image_);
    stats_window_->resize(720, 480);
    PlaceToolWindow(stats_window_, this);
  }
  // The graph keeps pointing at the table's matrix: the new table first, then a new graph.
  auto graph = std::make_unique<TXKgraph>();
  auto kept = std::make_unique<PlotTable>(std::move(*table));
  if (auto problem = SetUpPlot(*graph, *kept, options)) {
    reporter_.Modal(*problem);
    return;
  }
  stats_view_->SetGraph(graph.get());
  stats_graph_ = std::move(graph);
  stats_table_ = std::move(kept);
  stats_image_->hide();
  stats_view_->show();
  stats_window_->show();
  stats_window_->raise();
  stats_graph_->Repaint();
  stats_view_->update();
  const std::string summary = StatsSummary(*stats_, true);
  status_->setText(Q(summary.substr(0, summary.find('\n'))));
}

void TSpotForm::StatMsdClick() { ShowStatsView(static_cast<int>(StatsView::kMsd)); }
void TSpotForm::StatDiffusionClick() { ShowStatsView(static_cast<int>(StatsView::kDiffusion)); }
void TSpotForm::StatJumpsClick() { ShowStatsView(static_cast<int>(StatsView::kJumps)); }
void TSpotForm::StatVelocityClick() { ShowStatsView(static_cast<int>(StatsView::kVelocity)); }
void TSpotForm::StatIntensityClick() { ShowStatsView(static_cast<int>(StatsView::kIntensity)); }
void TSpotForm::StatDriftClick() { ShowStatsView(static_cast<int>(StatsView::kDrift)); }

void TSpotForm::StatDensityMapClick() {
  if (!RunStatistics(StatCorrectDrift->isChecked())) return;
  const DensityMap map = BuildDensityMap(stats_->set, 0.05);
  if (map.counts.empty()) {
    reporter_.Modal(kStatNoView);
    return;
  }
  ShowStatsView(static_cast<int>(StatsView::kMsd));  // makes the window
  const std::string pgm = DensityMapPgm(map);
  QImage image;
  image.loadFromData(reinterpret_cast<const uchar*>(pgm.data()), static_cast<int>(pgm.size()),
                     "PGM");
  stats_view_->hide();
  stats_image_->setPixmap(QPixmap::fromImage(image).scaled(
      stats_window_->size(), Qt::KeepAspectRatio, Qt::FastTransformation));
  stats_image_->show();
}

void TSpotForm::SaveTsv(const QString& title, const std::string& text) {
  const QString path = AskSaveFile(title, QStringLiteral("Tab-separated tables (*.tsv)"));
  if (path.isEmpty()) return;
  WriteTextFile(path.toStdString(), text, kFileWritingError, reporter_);
}

void TSpotForm::SaveMsdTSVClick() {
  if (RunStatistics(StatCorrectDrift->isChecked()))
    SaveTsv(QStringLiteral("Save MSD"), MsdTableText(*stats_));
}

void TSpotForm::SaveDiffusionTSVClick() {
  if (RunStatistics(StatCorrectDrift->isChecked()))
    SaveTsv(QStringLiteral("Save Diffusion Coefficients"),
            DiffusionText(stats_->diffusion.tracks));
}

void TSpotForm::SaveJumpsTSVClick() {
  if (RunStatistics(StatCorrectDrift->isChecked()))
    SaveTsv(QStringLiteral("Save Jump Distances"),
            JumpHistogramText(stats_->jumps, stats_->jump_fit));
}

void TSpotForm::SaveDriftTSVClick() {
  if (RunStatistics(true))
    SaveTsv(QStringLiteral("Save Drift"), DriftText(stats_->drift, stats_->set.timing.frame_s));
}

void TSpotForm::SaveDriftCorrectedXKIClick() {
  if (!RunStatistics(true)) return;
  const QString path = AskSaveFile(QStringLiteral("Save Drift-Corrected Tracks"),
                                   QStringLiteral("XKI files (*.xki)"));
  if (path.isEmpty()) return;
  auto store = std::make_unique<TrackStore>();
  std::string error;
  if (!StoreFromTrackSet(stats_->set, *store, error)) {
    reporter_.Modal(error);
    return;
  }
  XkiWriteOptions o;
  o.parameter = record_.Prm().ScaleX;
  WriteXkiFile(path.toStdString(), *store, o, reporter_);
}

// The record with every frame shifted back by the drift its tracks show
// (bilinear; the uncovered border takes the frame's mean).
void TSpotForm::SaveDriftCorrectedRecordClick() {
  if (!RunStatistics(true)) return;
  save_offer_ = QString::fromStdString(DefaultDriftCorrectedName(record_.RecordFileName()));
  const QString path = AskSaveFile(QStringLiteral("Save Drift-Corrected Record"),
                                   QStringLiteral("XKV records (*.xkv)"));
  save_offer_.clear();
  if (path.isEmpty()) return;
  std::vector<double> dx, dy;
  DriftShiftsPx(stats_->drift, record_.Prm().ScaleX, record_.Prm().ScaleY, record_.FrameCount(),
                dx, dy);
  const int32_t shown = std::max(0, record_.CurrentFrame());
  ExportJob job{record_, reporter_, {}, {}, nullptr, {}};
  ExportShifted(job, path.toStdString(), dx, dy);
  // The export read the record from its start: back to the frame shown before.
  record_.FirstFrame(reporter_);
  if (shown > 0) record_.GoToFrame(shown, reporter_);
}

}  // namespace lumetra
