#include "steps/gui/detect_form.h"

#include <QActionGroup>
#include <QCloseEvent>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMouseEvent>
#include <QSplitter>
#include <QStatusBar>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "common/text_format.h"
#include "graph/auto_scale.h"
#include "graph/gui/graph_view.h"
#include "graph/gui/xk_graph.h"
#include "steps/gui/detect_form_texts.h"
#include "steps/steps_messages.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

std::string S(const QString& s) {
  return s.toStdString();
}

QString Number(double v) {
  return QString::number(v, 'g', 6);
}

void SetUpHistogram(TXKgraph& g, std::string_view title_x, uint32_t color) {
  g.TitleX = std::string(title_x);
  g.TitleY0 = std::string(kHistTitleY);
  g.Curves[1].Show = true;
  g.Curves[1].Type = kCurveBar;
  g.Curves[1].Color = color;
}

}  // namespace

void DetectFormReporter::Report(MessageKind kind, std::string_view text) {
  if (kind == MessageKind::kModal) {
    if (gather) {
      gather->emplace_back(text);
      return;
    }
    if (log) {
      log->Report(kind, text);
      return;
    }
    if (show_modal)
      show_modal(Q(text));
    else
      QMessageBox::information(parent, Q(kDetectFormCaption), Q(text));
    return;
  }
  if (log) log->Report(kind, text);
  if (status) status->setText(Q(text));
}

// Counts the frames of a pass in the status bar ("frame i of n (Esc stops)"),
// a few times a second, and ends the playback at the analysis's frame limit.
class TDetectForm::Progress final : public FrameConsumer {
 public:
  Progress(TDetectForm* form, std::string_view format, int32_t frames)
      : form_(form), format_(Q(format)), frames_(frames) {
    clock_.start();
  }
  void OnFrame(const RecordStore& record) override {
    seen_ = record.CurrentFrame() + 1;
    if (seen_ >= frames_ || clock_.elapsed() > 100) {
      form_->progress_label_->setText(format_.arg(seen_).arg(frames_));
      clock_.restart();
    }
    // Frames past the limit are not analysed: no need to read them.
    if (seen_ >= frames_ && record.FrameCount() > frames_ && !limit_reached_) {
      limit_reached_ = true;
      form_->StopClick();
    }
  }
  int32_t Seen() const { return seen_; }
  int32_t Frames() const { return frames_; }
  bool LimitReached() const { return limit_reached_; }

 private:
  TDetectForm* form_;
  QString format_;
  int32_t frames_;
  int32_t seen_ = 0;
  bool limit_reached_ = false;
  QElapsedTimer clock_;
};

TDetectForm::TDetectForm(RecordStore& record, QWidget* parent)
    : QMainWindow(parent), record_(record), analysis_(reporter_) {
  setWindowTitle(Q(kDetectFormCaption));
  status_ = new QLabel(this);
  progress_label_ = new QLabel(this);
  statusBar()->addWidget(status_, 1);
  statusBar()->addPermanentWidget(progress_label_);
  reporter_.parent = this;
  reporter_.status = status_;

  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  layout->setContentsMargins(4, 4, 4, 0);
  auto* head = new QHBoxLayout;
  ShowTests = new QLabel(central);
  ShowTests->setObjectName(QStringLiteral("ShowTests"));
  QFont bold = ShowTests->font();
  bold.setBold(true);
  ShowTests->setFont(bold);
  readout_ = new QLabel(central);
  head->addWidget(ShowTests);
  head->addSpacing(12);
  head->addWidget(readout_, 1);
  layout->addLayout(head);

  auto* rows = new QSplitter(Qt::Vertical, central);
  auto* top = new QSplitter(Qt::Horizontal, rows);
  table_ = new QTableWidget(0, 8, top);
  table_->setHorizontalHeaderLabels({QStringLiteral("#"), QStringLiteral("X"), QStringLiteral("Y"),
                                     QStringLiteral("drTm"), QStringLiteral("rsTm"),
                                     QStringLiteral("Stest"), QStringLiteral("Ptest"),
                                     QStringLiteral("MStest")});
  table_->verticalHeader()->hide();
  table_->verticalHeader()->setDefaultSectionSize(table_->fontMetrics().height() + 6);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  connect(table_, &QTableWidget::cellClicked, this, [this](int row, int) {
    if (QTableWidgetItem* item = table_->item(row, 0))
      ObjectClick(item->data(Qt::UserRole).toInt());
  });
  trace_view_ = new GraphView(top);
  trace_graph_ = std::make_unique<TXKgraph>();
  trace_graph_->TitleX = std::string(kTraceTitleX);
  trace_graph_->TitleY0 = std::string(kTraceTitleY);
  trace_graph_->Curves[1].Show = true;
  trace_graph_->Curves[1].Width = 1;
  trace_graph_->Curves[1].Color = MakeColor(0, 0, 200);
  trace_graph_->Curves[2].Show = true;
  trace_graph_->Curves[2].Color = MakeColor(220, 0, 0);
  trace_graph_->Curves[2].Width = 2;
  trace_graph_->Names[1] = "Trace";
  trace_graph_->Names[2] = "Fitted levels";
  trace_graph_->Readout.Enabled = true;
  trace_view_->SetGraph(trace_graph_.get());
  trace_view_->installEventFilter(this);
  top->addWidget(table_);
  top->addWidget(trace_view_);
  top->setSizes({360, 540});
  auto* bottom = new QSplitter(Qt::Horizontal, rows);
  amp_view_ = new GraphView(bottom);
  time_view_ = new GraphView(bottom);
  amp_graph_ = std::make_unique<TXKgraph>();
  time_graph_ = std::make_unique<TXKgraph>();
  SetUpHistogram(*amp_graph_, kAmpTitleX, MakeColor(0, 0, 200));
  SetUpHistogram(*time_graph_, kTimeTitleX, MakeColor(0, 128, 0));
  amp_view_->SetGraph(amp_graph_.get());
  time_view_->SetGraph(time_graph_.get());
  bottom->addWidget(amp_view_);
  bottom->addWidget(time_view_);
  rows->addWidget(top);
  rows->addWidget(bottom);
  rows->setStretchFactor(0, 3);
  rows->setStretchFactor(1, 2);
  layout->addWidget(rows, 1);
  setCentralWidget(central);

  own_playback_ = std::make_unique<WindowPlayback>(nullptr, reporter_,
                                                   [this](bool completed) { EndPass(completed); });
  AskText = [this](const QString& title, const QString& prompt,
                   const QString& text) -> std::optional<QString> {
    bool ok = false;
    const QString typed = QInputDialog::getText(this, title, prompt, QLineEdit::Normal, text, &ok);
    if (!ok) return std::nullopt;
    return typed;
  };
  AskSaveFile = [this](const QString& title, const QString& filter, const QString& offered) {
    QFileDialog dialog(this, title, QFileInfo(offered).absolutePath(), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(QStringLiteral("txt"));
    dialog.selectFile(QFileInfo(offered).fileName());
    return dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty()
               ? dialog.selectedFiles().first()
               : QString();
  };
  AskYesNo = [this](const QString& title, const QString& question) {
    return QMessageBox::question(this, title, question) == QMessageBox::Yes;
  };
  BuildMenus();
  UpdateCaptions();
  UpdateEnabled();
  DrawTrace();
  DrawHistograms();
  resize(960, 680);
}

TDetectForm::~TDetectForm() {
  own_playback_.reset();
  // The host's playback holds our passes: it must end before they go.
  if (pass_ != Pass::kNone && host_.stop) {
    pass_ = Pass::kNone;
    host_.stop(true);
  }
  if (host_.mark) host_.mark(-1, -1);
}

bool TDetectForm::OpenOnRecord() {
  return analysis_.OpenRecord(record_);
}

void TDetectForm::UseSettings(Settings* settings) {
  settings_ = settings;
  if (settings_) analysis_.ApplySettings(*settings_);
  UpdateCaptions();
}

void TDetectForm::OfferToSave() {
  if (!unsaved_) return;
  const QString question =
      Q(kUnsavedOfferSave).arg(static_cast<qulonglong>(analysis_.Traces().objects.size()));
  if (AskYesNo(Q(kUnsavedTitle), question)) SaveTXTClick();
  unsaved_ = false;
}

QAction* TDetectForm::Add(QMenu* menu, const char* name, const QString& caption,
                          void (TDetectForm::*slot)()) {
  QAction* a = menu->addAction(caption, this, slot);
  a->setObjectName(QString::fromLatin1(name));
  items_[a->objectName()] = a;
  return a;
}

QAction* TDetectForm::Item(const QString& name) const {
  const auto it = items_.find(name);
  return it == items_.end() ? nullptr : it->second;
}

void TDetectForm::BuildMenus() {
  QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
  Add(file, "SaveTXT", QStringLiteral("Save Results (TXT)"), &TDetectForm::SaveTXTClick)
      ->setShortcut(QKeySequence::Save);
  file->addSeparator();
  file->addAction(QStringLiteral("Close"), this, &QWidget::close);

  QMenu* run = menuBar()->addMenu(QStringLiteral("&Run"));
  Add(run, "StartTr", QStringLiteral("Detect"), &TDetectForm::StartTrClick);
  Add(run, "Collect", QStringLiteral("Tracking"), &TDetectForm::CollectClick);
  Add(run, "Stop", QStringLiteral("Stop"), &TDetectForm::StopClick)
      ->setShortcut(QKeySequence(Qt::Key_Escape));

  QMenu* objects = menuBar()->addMenu(QStringLiteral("&Objects"));
  Add(objects, "InpThr", QString(), &TDetectForm::InpThrClick);
  Add(objects, "SpotPix", QString(), &TDetectForm::SpotPixClick);
  objects->addSeparator();
  choice_group_ = new QActionGroup(this);
  QAction* drop =
      Add(objects, "UseDropMap", QStringLiteral("Drops Only"), &TDetectForm::UseDropMapClick);
  QAction* subtr = Add(objects, "SubtrMaxRise", QStringLiteral("Subtract Max Rise"),
                       &TDetectForm::SubtrMaxRiseClick);
  QAction* add =
      Add(objects, "AddMaxRise", QStringLiteral("Add Max Rise"), &TDetectForm::AddMaxRiseClick);
  for (QAction* a : {drop, subtr, add}) {
    a->setCheckable(true);
    choice_group_->addAction(a);
  }
  drop->setChecked(true);

  QMenu* tests = menuBar()->addMenu(QStringLiteral("&Tests"));
  Add(tests, "ShowStest", QStringLiteral("S-test"), &TDetectForm::ShowStestClick);
  Add(tests, "ShowPtest", QStringLiteral("P-test"), &TDetectForm::ShowPtestClick);
  Add(tests, "ShowMStest", QStringLiteral("MS-test"), &TDetectForm::ShowMStestClick);
  tests->addSeparator();
  Add(tests, "StestThr", QString(), &TDetectForm::StestThrClick);
  Add(tests, "PtestThr", QString(), &TDetectForm::PtestThrClick);
  Add(tests, "MtestThr", QString(), &TDetectForm::MtestThrClick);
  Add(tests, "LimitNofSteps", QString(), &TDetectForm::LimitNofStepsClick);

  QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
  Add(view, "PrevObject", QStringLiteral("Previous Object"), &TDetectForm::PrevObjectClick)
      ->setShortcut(QKeySequence(Qt::Key_PageUp));
  Add(view, "NextObject", QStringLiteral("Next Object"), &TDetectForm::NextObjectClick)
      ->setShortcut(QKeySequence(Qt::Key_PageDown));
  view->addSeparator();
  Add(view, "ShowDrops", Q(kDropsCaption), &TDetectForm::ShowDropsClick);
  Add(view, "ShowRises", Q(kRisesCaption), &TDetectForm::ShowRisesClick);
  view->addSeparator();
  Add(view, "AmpBin", QString(), &TDetectForm::AmpBinClick);
  Add(view, "TimeBin", QString(), &TDetectForm::TimeBinClick);

  Spat = menuBar()->addMenu(Q(kSpotSizeCaptionStart));
  Spat->setObjectName(QStringLiteral("Spat"));
  auto* sizes = new QActionGroup(this);
  QAction* a1 = Add(Spat, "Aver1X1", Q(kAver1X1Caption), &TDetectForm::Aver1X1Click);
  QAction* a3 = Add(Spat, "Aver3X3", Q(kAver3X3Caption), &TDetectForm::Aver3X3Click);
  QAction* a5 = Add(Spat, "Aver5X5", Q(kAver5X5Caption), &TDetectForm::Aver5X5Click);
  for (QAction* a : {a1, a3, a5}) {
    a->setCheckable(true);
    sizes->addAction(a);
  }
  a5->setChecked(true);
  Spat->addSeparator();
  QAction* no_bg =
      Add(Spat, "NoBackgrSubtr", Q(kNoBackgrSubtrCaption), &TDetectForm::NoBackgrSubtrClick);
  no_bg->setCheckable(true);

  QAction* wind = menuBar()->addAction(QString(), this, &TDetectForm::WindLenClick);
  wind->setObjectName(QStringLiteral("WindLen"));
  items_[wind->objectName()] = wind;
}

void TDetectForm::UpdateCaptions() {
  const StepSettings& s = analysis_.Params();
  Item(QStringLiteral("InpThr"))->setText(Q(kDropThrCaption).arg(s.drop_threshold));
  Item(QStringLiteral("SpotPix"))
      ->setText(Q(s.kind == ObjectKind::kSpots ? kShowSpotsCaption : kShowPixelsCaption));
  Item(QStringLiteral("StestThr"))->setText(Q(kStestThrLabel) + QString::number(s.s_threshold));
  Item(QStringLiteral("PtestThr"))->setText(Q(kPtestThrLabel) + QString::number(s.p_threshold));
  Item(QStringLiteral("MtestThr"))->setText(Q(kMtestThrLabel) + QString::number(s.ms_threshold));
  Item(QStringLiteral("LimitNofSteps"))->setText(Q(kMaxStepsCaption).arg(s.max_steps));
  Item(QStringLiteral("AmpBin"))->setText(Q(kAmpBinCaption).arg(Number(s.amplitude_bin)));
  Item(QStringLiteral("TimeBin"))->setText(Q(kTimeBinCaption).arg(Number(s.time_bin)));
  Item(QStringLiteral("WindLen"))->setText(Q(analysis_.WindLenCaption()));
  Spat->setTitle(Q(analysis_.SpotSizeCaption()));
  Item(QStringLiteral("NoBackgrSubtr"))->setChecked(s.no_background);
  const char* sizes[] = {"Aver1X1", "Aver3X3", "Aver5X5"};
  Item(QString::fromLatin1(sizes[s.half_size]))->setChecked(true);
  const QAction* choice =
      Item(s.choice == ChoiceMap::kDrop            ? QStringLiteral("UseDropMap")
           : s.choice == ChoiceMap::kDropMinusRise ? QStringLiteral("SubtrMaxRise")
                                                   : QStringLiteral("AddMaxRise"));
  const_cast<QAction*>(choice)->setChecked(true);
  ShowTests->setText(Q(analysis_.ShowTestsCaption()));
}

void TDetectForm::UpdateEnabled() {
  const bool idle = pass_ == Pass::kNone;
  const bool detected = analysis_.Detected();
  const bool traced = !analysis_.Traces().objects.empty();
  // While a pass plays, the maps and traces are being rewritten: only Stop,
  // the thresholds of the tests and the views of what is there stay.
  for (const char* name :
       {"StartTr", "SaveTXT", "Aver1X1", "Aver3X3", "Aver5X5", "WindLen", "NoBackgrSubtr", "InpThr",
        "SpotPix", "UseDropMap", "SubtrMaxRise", "AddMaxRise", "LimitNofSteps"})
    Item(QString::fromLatin1(name))->setEnabled(idle);
  Item(QStringLiteral("Stop"))->setEnabled(!idle);
  Item(QStringLiteral("Collect"))->setEnabled(idle && detected);
  for (const char* name : {"ShowStest", "ShowPtest", "ShowMStest"})
    Item(QString::fromLatin1(name))->setEnabled(idle && traced);
  for (const char* name : {"ShowDrops", "ShowRises"})
    Item(QString::fromLatin1(name))->setEnabled(idle && detected);
}

QString TDetectForm::StatusText() const {
  return status_->text();
}
QString TDetectForm::ProgressText() const {
  return progress_label_->text();
}
QString TDetectForm::ReadoutText() const {
  return readout_->text();
}
QString TDetectForm::ShowTestsText() const {
  return ShowTests->text();
}

// --- Passes -----------------------------------------------------------------

bool TDetectForm::DropUnsaved() {
  if (!unsaved_) return true;
  const QString question =
      Q(kUnsavedQuestion).arg(static_cast<qulonglong>(analysis_.Traces().objects.size()));
  if (!AskYesNo(Q(kUnsavedTitle), question)) return false;
  unsaved_ = false;
  return true;
}

void TDetectForm::StartPass(Pass pass, FrameConsumer* consumer) {
  const int32_t frames = std::min(record_.FrameCount(), kStepFrameLimit);
  progress_ = std::make_unique<Progress>(
      this, pass == Pass::kDetect ? kDetectProgress : kCollectProgress, frames);
  pass_ = pass;
  UpdateEnabled();
  std::vector<FrameConsumer*> consumers{consumer, progress_.get()};
  if (!own_playback_->Play(host_.play, record_, consumers) && pass_ != Pass::kNone) {
    pass_ = Pass::kNone;
    UpdateEnabled();
    reporter_.Modal(kPlaybackBusy);
  }
}

void TDetectForm::FinishPlayback() {
  own_playback_->RunToEnd();
}

void TDetectForm::PlaybackEnded(bool completed) {
  if (pass_ != Pass::kNone) EndPass(completed);
}

void TDetectForm::EndPass(bool completed) {
  const Pass pass = pass_;
  pass_ = Pass::kNone;
  if (pass == Pass::kNone) return;
  const bool finished = completed || (progress_ && progress_->LimitReached());
  last_pass_finished_ = finished;
  const int32_t seen = progress_ ? progress_->Seen() : 0;
  const int32_t frames = progress_ ? progress_->Frames() : 0;
  if (pass == Pass::kDetect) {
    progress_label_->setText(finished ? Q(kDetectFinished).arg(seen)
                                      : Q(kDetectStopped).arg(seen).arg(frames));
    AfterDetect();
  } else {
    progress_label_->setText(
        finished ? Q(kCollectFinished)
                       .arg(static_cast<qulonglong>(analysis_.Traces().objects.size()))
                       .arg(seen)
                 : Q(kCollectStopped).arg(seen).arg(frames));
    AfterCollect();
  }
  UpdateEnabled();
}

void TDetectForm::StartTrClick() {
  if (Playing()) return;
  if (!record_.RecordLoaded() || record_.FrameCount() == 0) {
    reporter_.Modal(kNoRecord);
    return;
  }
  if (!pending_spot_ && !DropUnsaved()) return;
  last_pass_finished_ = false;
  const int32_t median = host_.median_frames ? host_.median_frames() : 0;
  DetectionPass* pass = analysis_.BeginDetect(record_, median);
  if (!pass) return;
  StartPass(Pass::kDetect, pass);
}

void TDetectForm::AfterDetect() {
  analysis_.FinishDetect(record_);
  // A record too short for any comparison says so, not just "0 spots".
  if (!analysis_.DetectReadOut().empty()) reporter_.Status(analysis_.DetectReadOut());
  tested_ = false;
  if (host_.show_frame) host_.show_frame();
  current_ = -1;
  if (host_.mark) host_.mark(-1, -1);
  UpdateCaptions();
  FillTable();
  DrawTrace();
  DrawHistograms();
  if (pending_spot_) {
    const auto [x, y] = *pending_spot_;
    pending_spot_.reset();
    AnalyseSpotAt(x, y);
  }
}

void TDetectForm::CollectClick() {
  if (Playing()) return;
  if (!DropUnsaved()) return;
  sent_spot_.reset();
  TracePass* pass = analysis_.BeginCollect(record_);
  if (!pass) return;
  current_ = -1;
  last_pass_finished_ = false;
  StartPass(Pass::kCollect, pass);
}

void TDetectForm::AfterCollect() {
  current_ = -1;
  tested_ = false;
  // The trace pass left the last frame in the main window: the crosses belong on the drops.
  ShowImage(false);
  if (sent_spot_) {
    // A spot from a track: every test's score at once, the S-test on show,
    // and the spot's own trace.
    const auto [x, y] = *sent_spot_;
    sent_spot_.reset();
    RunTest(StepTest::kP);
    RunTest(StepTest::kMS);
    RunTest(StepTest::kS);
    const std::vector<StepObject>& traced = analysis_.Traces().objects;
    for (size_t i = 0; i < traced.size(); ++i)
      if (traced[i].x == x && traced[i].y == y) ShowObject(static_cast<int32_t>(i));
    return;
  }
  FillTable();
  DrawTrace();
  DrawHistograms();
}

void TDetectForm::StopClick() {
  if (pass_ == Pass::kNone) return;
  if (host_.stop)
    host_.stop(false);
  else
    own_playback_->Stop();
}

void TDetectForm::AnalyseSpotAt(int32_t x, int32_t y) {
  if (Playing()) {
    reporter_.Modal(kPlaybackBusy);
    return;
  }
  if (!DropUnsaved()) return;
  reporter_.Status(S(Q(kSendSpotFromTrack).arg(x).arg(y)));
  if (!analysis_.Detected()) {
    pending_spot_ = {x, y};
    StartTrClick();
    if (!Playing()) pending_spot_.reset();
    return;
  }
  // The spot joins the chosen objects: one Tracking collects them all.
  if (!analysis_.AddObjectClick(x, y)) return;
  TracePass* pass = analysis_.BeginCollect(record_);
  if (!pass) return;
  sent_spot_ = {x, y};
  current_ = -1;
  StartPass(Pass::kCollect, pass);
}

// --- Choice of objects ------------------------------------------------------

void TDetectForm::InpThrClick() {
  const auto typed = AskText(Q(kDropThrTitle), Q(kDropThrLabel),
                             QString::number(analysis_.Params().drop_threshold));
  if (!typed) return;
  analysis_.InpThrClick(S(*typed));
  UpdateCaptions();
  if (analysis_.Traces().objects.empty()) FillTable();
}

void TDetectForm::SpotPixClick() {
  analysis_.SpotPixClick();
  UpdateCaptions();
  if (analysis_.Traces().objects.empty()) FillTable();
}

void TDetectForm::SubtrMaxRiseClick() {
  analysis_.SubtrMaxRiseClick();
  UpdateCaptions();
  if (analysis_.Traces().objects.empty()) FillTable();
}

void TDetectForm::AddMaxRiseClick() {
  analysis_.AddMaxRiseClick();
  UpdateCaptions();
  if (analysis_.Traces().objects.empty()) FillTable();
}

void TDetectForm::UseDropMapClick() {
  analysis_.UseDropMapClick();
  UpdateCaptions();
  if (analysis_.Traces().objects.empty()) FillTable();
}

// --- Tests --------------------------------------------------------------------

void TDetectForm::RunTest(StepTest test) {
  // The tests speak per object; one box per distinct message, with its count.
  std::vector<std::string> gathered;
  reporter_.gather = &gathered;
  const bool ok = analysis_.ShowTest(test);
  reporter_.gather = nullptr;
  std::vector<std::pair<std::string, int>> distinct;
  for (const std::string& m : gathered) {
    auto it = std::find_if(distinct.begin(), distinct.end(), [&](auto& d) { return d.first == m; });
    if (it == distinct.end())
      distinct.emplace_back(m, 1);
    else
      ++it->second;
  }
  for (const auto& [text, count] : distinct)
    reporter_.Modal(count == 1 ? text : S(Q(kObjectsWithMessage).arg(Q(text)).arg(count)));
  if (!ok) return;
  reporter_.Status(analysis_.AboveText());
  tested_ = true;
  unsaved_ = true;
  UpdateCaptions();
  FillTable();
  DrawHistograms();
  ShowObject(analysis_.NextObject(-1));
}

void TDetectForm::ShowStestClick() {
  RunTest(StepTest::kS);
}
void TDetectForm::ShowPtestClick() {
  RunTest(StepTest::kP);
}
void TDetectForm::ShowMStestClick() {
  RunTest(StepTest::kMS);
}

void TDetectForm::AskTestThreshold(StepTest test) {
  const StepSettings& s = analysis_.Params();
  const int32_t now = test == StepTest::kS   ? s.s_threshold
                      : test == StepTest::kP ? s.p_threshold
                                             : s.ms_threshold;
  const std::string_view label = test == StepTest::kS   ? kStestThrLabel
                                 : test == StepTest::kP ? kPtestThrLabel
                                                        : kMtestThrLabel;
  const auto typed = AskText(Q(kTestThrTitle), Q(label), QString::number(now));
  if (!typed || !analysis_.SetTestThreshold(test, S(*typed))) return;
  UpdateCaptions();
  if (test != analysis_.Shown() || !tested_) return;
  FillTable();
  DrawHistograms();
  ShowObject(analysis_.AboveThreshold(static_cast<size_t>(std::max(current_, 0)))
                 ? current_
                 : analysis_.NextObject(-1));
}

void TDetectForm::StestThrClick() {
  AskTestThreshold(StepTest::kS);
}
void TDetectForm::PtestThrClick() {
  AskTestThreshold(StepTest::kP);
}
void TDetectForm::MtestThrClick() {
  AskTestThreshold(StepTest::kMS);
}

void TDetectForm::LimitNofStepsClick() {
  const auto typed =
      AskText(Q(kMaxStepsTitle), Q(kMaxStepsLabel), QString::number(analysis_.Params().max_steps));
  if (!typed || !analysis_.LimitNofStepsClick(S(*typed))) return;
  UpdateCaptions();
}

// --- Settings of the passes ----------------------------------------------------

void TDetectForm::SetSpotSize(int32_t half_size) {
  analysis_.SetSpotSize(half_size);
  UpdateCaptions();
}

void TDetectForm::Aver1X1Click() {
  SetSpotSize(0);
}
void TDetectForm::Aver3X3Click() {
  SetSpotSize(1);
}
void TDetectForm::Aver5X5Click() {
  SetSpotSize(2);
}

void TDetectForm::WindLenClick() {
  const auto typed =
      AskText(Q(kWindLenTitle), Q(kWindLenLabel), QString::number(analysis_.Params().window));
  if (!typed || !analysis_.WindLenClick(S(*typed))) return;
  if (settings_) settings_->DetectWindow = analysis_.Params().window;
  UpdateCaptions();
}

void TDetectForm::NoBackgrSubtrClick() {
  analysis_.NoBackgrSubtrClick();
  UpdateCaptions();
}

void TDetectForm::AmpBinClick() {
  const auto typed =
      AskText(Q(kAmpBinTitle), Q(kAmpBinLabel), Number(analysis_.Params().amplitude_bin));
  if (!typed || !analysis_.SetAmplitudeBinClick(S(*typed))) return;
  UpdateCaptions();
  DrawHistograms();
}

void TDetectForm::TimeBinClick() {
  const auto typed =
      AskText(Q(kTimeBinTitle), Q(kTimeBinLabel), Number(analysis_.Params().time_bin));
  if (!typed || !analysis_.SetTimeBinClick(S(*typed))) return;
  UpdateCaptions();
  DrawHistograms();
}

// --- Views --------------------------------------------------------------------

void TDetectForm::ShowImage(bool rises) {
  if (!analysis_.Detected() || record_.Width() != analysis_.Maps().width ||
      record_.Height() != analysis_.Maps().height)
    return;
  const std::vector<uint16_t> image = rises ? analysis_.RiseImage() : analysis_.DropImage();
  std::copy(image.begin(), image.end(), record_.FrameBuffer());
  if (host_.show_frame) host_.show_frame();
  ShowTests->setText(Q(rises ? kRisesCaption : kDropsCaption));
}

void TDetectForm::ShowDropsClick() {
  ShowImage(false);
}
void TDetectForm::ShowRisesClick() {
  ShowImage(true);
}

int32_t TDetectForm::ObjectCount() const {
  const size_t traced = analysis_.Traces().objects.size();
  return static_cast<int32_t>(traced > 0 ? traced : analysis_.Objects().size());
}

const StepObject* TDetectForm::ObjectAt(int32_t index) const {
  const std::vector<StepObject>& list =
      analysis_.Traces().objects.empty() ? analysis_.Objects() : analysis_.Traces().objects;
  if (index < 0 || index >= static_cast<int32_t>(list.size())) return nullptr;
  return &list[static_cast<size_t>(index)];
}

void TDetectForm::FillTable() {
  // The traced objects once Tracking ran, else the chosen ones. After a test
  // the objects below its threshold are greyed: Next and Previous pass them
  // by, a click still shows them.
  const std::vector<StepScores>& scores = analysis_.Scores();
  table_->setUpdatesEnabled(false);
  // Columns sized once for the whole table, not again after every cell (which
  // takes minutes with thousands of objects).
  QHeaderView* head = table_->horizontalHeader();
  head->setSectionResizeMode(QHeaderView::Interactive);
  table_->clearContents();
  const int32_t count = ObjectCount();
  table_->setRowCount(count);
  const QBrush below(QColor(150, 150, 150));
  for (int32_t i = 0; i < count; ++i) {
    const StepObject& o = *ObjectAt(i);
    std::vector<QString> texts = {QString::number(i + 1), QString::number(o.x),
                                  QString::number(o.y), QString::number(o.drop_frame),
                                  QString::number(o.rise_frame)};
    if (static_cast<size_t>(i) < scores.size()) {
      const StepScores& s = scores[static_cast<size_t>(i)];
      // Truncated to one decimal, as the object read-out shows them.
      for (float v : {s.s_test, s.p_test, s.ms_test})
        texts.push_back(QString::number(std::trunc(static_cast<double>(v) * 10) / 10, 'f', 1));
    }
    const bool grey = tested_ && !analysis_.AboveThreshold(static_cast<size_t>(i));
    for (size_t c = 0; c < texts.size(); ++c) {
      auto* item = new QTableWidgetItem(texts[c]);
      if (grey) item->setForeground(below);
      if (c == 0) item->setData(Qt::UserRole, i);
      table_->setItem(i, static_cast<int>(c), item);
    }
  }
  head->setSectionResizeMode(QHeaderView::ResizeToContents);
  table_->setUpdatesEnabled(true);
}

void TDetectForm::ShowObject(int32_t index) {
  const StepObject* o = ObjectAt(index);
  if (!o || static_cast<size_t>(index) >= analysis_.Traces().objects.size()) {
    current_ = -1;
    readout_->setText(analysis_.Scores().empty() ? QString() : Q(kNothingToShow));
    DrawTrace();
    return;
  }
  current_ = index;
  readout_->setText(Q(kObjectReadout)
                        .arg(index + 1)
                        .arg(ObjectCount())
                        .arg(o->x)
                        .arg(o->y)
                        .arg(o->drop_frame)
                        .arg(o->rise_frame)
                        .arg(Q(analysis_.ObjectReadout(static_cast<size_t>(index)))));
  for (int r = 0; r < table_->rowCount(); ++r) {
    if (table_->item(r, 0)->data(Qt::UserRole).toInt() == index) {
      table_->selectRow(r);
      table_->scrollToItem(table_->item(r, 0));
      break;
    }
  }
  DrawTrace();
  if (host_.mark) host_.mark(o->x, o->y);
}

void TDetectForm::ObjectClick(int index) {
  const StepObject* o = ObjectAt(index);
  if (!o) return;
  if (static_cast<size_t>(index) < analysis_.Traces().objects.size()) {
    ShowObject(index);
  } else {
    current_ = -1;
    readout_->setText(QStringLiteral("x=%1 y=%2 drTm=%3 rsTm=%4")
                          .arg(o->x)
                          .arg(o->y)
                          .arg(o->drop_frame)
                          .arg(o->rise_frame));
  }
  if (Playing()) return;
  if (host_.go_to_frame) host_.go_to_frame(o->drop_frame);
  if (host_.mark) host_.mark(o->x, o->y);
}

void TDetectForm::ImageClickAt(int x, int y) {
  if (Playing()) return;
  // A spot's box reaches 2 pixels from its centre; a click on it counts.
  const int32_t object = analysis_.ObjectAt(x, y, 2);
  if (object >= 0) ObjectClick(object);
}

void TDetectForm::NextObjectClick() {
  const int32_t next = analysis_.NextObject(current_);
  if (next >= 0) ShowObject(next);
}

void TDetectForm::PrevObjectClick() {
  const int32_t prev = analysis_.PrevObject(current_);
  if (prev >= 0) ShowObject(prev);
}

void TDetectForm::TraceClickAtFrame(double frame) {
  const StepObject* o = ObjectAt(current_);
  if (!o || Playing()) return;
  std::vector<int32_t> steps{o->drop_frame};
  if (analysis_.Shown() == StepTest::kP) steps.push_back(o->rise_frame);
  if (analysis_.Shown() == StepTest::kMS &&
      static_cast<size_t>(current_) < analysis_.Scores().size())
    for (int32_t f : analysis_.Scores()[static_cast<size_t>(current_)].ms_step_frames)
      steps.push_back(f);
  const int32_t nearest = *std::min_element(steps.begin(), steps.end(), [&](int32_t a, int32_t b) {
    return std::abs(a - frame) < std::abs(b - frame);
  });
  if (host_.go_to_frame) host_.go_to_frame(nearest);
  if (host_.mark) host_.mark(o->x, o->y);
}

bool TDetectForm::eventFilter(QObject* watched, QEvent* event) {
  if (watched == trace_view_ && event->type() == QEvent::MouseButtonPress) {
    const auto* m = static_cast<QMouseEvent*>(event);
    const GraphLayout& l = trace_graph_->Layout();
    if (m->button() == Qt::LeftButton && l.HasPlot() && l.ScaleX > 0 &&
        m->position().x() >= l.PlotLeft && m->position().x() <= l.PlotRight())
      TraceClickAtFrame(l.FirstX + (m->position().x() - l.PlotLeft) / l.ScaleX);
  }
  return QMainWindow::eventFilter(watched, event);
}

void TDetectForm::DrawTrace() {
  TXKgraph& g = *trace_graph_;
  const TraceSet& t = analysis_.Traces();
  if (current_ < 0 || static_cast<size_t>(current_) >= t.objects.size() || t.frames < 1) {
    g.SetData(nullptr, 0, 0);
    g.Notes = {"NO DATA", "", "", ""};
    g.X = GraphAxis{0, 10, 2, g.X.TickStyle, g.X.Color};
    g.Y0 = GraphAxis{0, 10, 2, g.Y0.TickStyle, g.Y0.Color};
    g.Repaint();
    return;
  }
  const size_t n = static_cast<size_t>(t.frames);
  const std::vector<float> model = analysis_.FittedModel(static_cast<size_t>(current_));
  trace_matrix_.assign(3 * n, 0.0f);
  const float* x = t.Trace(static_cast<size_t>(current_));
  double lo = x[0], hi = x[0];
  for (size_t f = 0; f < n; ++f) {
    trace_matrix_[f] = static_cast<float>(f);
    trace_matrix_[n + f] = x[f];
    trace_matrix_[2 * n + f] = model.empty() ? x[f] : model[f];
    lo = std::min(lo, double{x[f]});
    hi = std::max(hi, double{x[f]});
  }
  g.Curves[2].Show = !model.empty();
  g.SetData(trace_matrix_.data(), 2, static_cast<int>(n));
  // The read-out line above the graph names the object and its scores; a
  // note here would cover the trace.
  g.Notes = {"", "", "", ""};
  FitAxis(g.X, 0, static_cast<double>(n - 1), 0, 6);
  FitAxis(g.Y0, lo, hi, 0.05, 5);
  g.Repaint();
}

void TDetectForm::DrawHistograms() {
  const bool any = tested_;
  const bool pulse = analysis_.Shown() == StepTest::kP;
  time_graph_->TitleX = std::string(pulse ? kPulseTitleX : kTimeTitleX);
  struct Pane {
    TXKgraph& graph;
    GraphView* view;
    std::vector<float>& matrix;
    Histogram h;
  };
  Pane panes[] = {
      {*amp_graph_, amp_view_, amp_matrix_, any ? analysis_.AmplitudeHistogram() : Histogram{}},
      {*time_graph_, time_view_, time_matrix_, any ? analysis_.TimeHistogram() : Histogram{}}};
  for (Pane& p : panes) {
    const size_t bins = p.h.counts.size();
    if (bins == 0) {
      p.graph.SetData(nullptr, 0, 0);
      p.graph.Notes = {"NO DATA", "", "", ""};
      p.graph.X = GraphAxis{0, 10, 2, p.graph.X.TickStyle, p.graph.X.Color};
      p.graph.Y0 = GraphAxis{0, 10, 5, p.graph.Y0.TickStyle, p.graph.Y0.Color};
      p.graph.Repaint();
      continue;
    }
    p.matrix.assign(2 * bins, 0.0f);
    int32_t most = 0, total = 0;
    for (size_t k = 0; k < bins; ++k) {
      p.matrix[k] = static_cast<float>(p.h.start + (static_cast<double>(k) + 0.5) * p.h.bin);
      p.matrix[bins + k] = static_cast<float>(p.h.counts[k]);
      most = std::max(most, p.h.counts[k]);
      total += p.h.counts[k];
    }
    p.graph.SetData(p.matrix.data(), 1, static_cast<int>(bins));
    // Bars nine tenths of a bin wide.
    const int plot_width = std::max(50, static_cast<int>(p.view->width()) - 70);
    p.graph.Curves[1].Size =
        std::max(2, static_cast<int32_t>(0.9 * plot_width / static_cast<double>(bins)));
    p.graph.Notes = {
        std::to_string(total) + " objects, bin " + FormatFixed(p.h.bin, p.h.bin < 1 ? 2 : 0), "",
        "", ""};
    FitAxis(p.graph.X, p.h.start, p.h.start + static_cast<double>(bins) * p.h.bin, 0, 5);
    // Head room above the tallest bar for the note.
    FitAxis(p.graph.Y0, 0, std::max(most, 1) * 1.3, 0, 3);
    p.graph.Repaint();
  }
}

// --- Results ------------------------------------------------------------------

QString TDetectForm::RecordTextPath() const {
  const QFileInfo info(Q(record_.RecordFileName()));
  return info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".txt");
}

void TDetectForm::SaveTXTClick() {
  if (!analysis_.Detected()) {
    reporter_.Modal(kDetectFirst);
    return;
  }
  const QString path = AskSaveFile(Q(kSaveResultsTitle), Q(kTextFilter), RecordTextPath());
  if (path.isEmpty()) return;
  SaveResults(path);
}

bool TDetectForm::SaveResults(const QString& path) {
  if (!analysis_.SaveTXTClick(S(path))) return false;
  unsaved_ = false;
  reporter_.Status(
      S(Q(kResultsSaved).arg(static_cast<qulonglong>(analysis_.Traces().objects.size())).arg(path)));
  return true;
}

void TDetectForm::UseParams(const StepSettings& params) {
  analysis_.Params() = params;
  UpdateCaptions();
  if (analysis_.Traces().objects.empty()) FillTable();
}

void TDetectForm::closeEvent(QCloseEvent* event) {
  if (!DropUnsaved()) {
    event->ignore();
    return;
  }
  StopClick();
  QMainWindow::closeEvent(event);
}

}  // namespace lumetra
