// TDetectForm: the step-detection window (SFDA). Detect plays the record once
// and leaves the drop image in the main window; Tracking plays it again and
// collects one trace per chosen object; the S-, P- and MS-test score them.
// The window shows the trace of one object with its fitted levels, the
// objects in a table, and the amplitude and time distributions. Everything
// it computes lives in a StepAnalysis session; the window asks for input,
// calls it and redraws.
//
// Playback belongs to the main window: it hands the window a DetectHost with
// calls that play the record with the window's passes, stop it, repaint the
// frame, move to a frame and mark a pixel. Without a host (tests, a window
// of its own) the window plays the record itself from a timer.
#pragma once

#include <QMainWindow>
#include <QString>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "record/gui/window_playback.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "steps/step_analysis.h"

class QAction;
class QActionGroup;
class QLabel;
class QMenu;
class QTableWidget;
class QTimer;

namespace lumetra {

class GraphView;
class TXKgraph;

// What the main window lends the step window.
struct DetectHost {
  // Plays the record once with these consumers (not owned); false when it
  // could not start. The host calls TDetectForm::PlaybackEnded at the end.
  std::function<bool(std::vector<FrameConsumer*>)> play;
  // Stops the playback: at its next frame, or at once (`now`, when the
  // window goes away and its passes with it).
  std::function<void(bool now)> stop;
  // The frame buffer changed (the drop image): paint it.
  std::function<void()> show_frame;
  // Show frame f (0-based) of the record.
  std::function<void(int32_t)> go_to_frame;
  // A cross on the image at pixel (x, y); x < 0 takes it away.
  std::function<void(int32_t, int32_t)> mark;
  // The temporal median's frame count, 0 while it is off.
  std::function<int32_t()> median_frames;
};

// Messages of the window: boxes and the status bar; tests collect the boxes.
class DetectFormReporter final : public Reporter {
 public:
  void Report(MessageKind kind, std::string_view text) override;
  QWidget* parent = nullptr;
  QLabel* status = nullptr;
  std::function<void(const QString&)> show_modal;
  // While set, modal texts are gathered here instead (per-object test messages).
  std::vector<std::string>* gather = nullptr;
  // While set (a batch run), every message is handed on here and no box is shown.
  Reporter* log = nullptr;
};

class TDetectForm final : public QMainWindow {
  Q_OBJECT

 public:
  explicit TDetectForm(RecordStore& record, QWidget* parent = nullptr);
  ~TDetectForm() override;

  // Dialogs, replaceable by tests: input box (title, prompt, offered text),
  // save file name (title, filter, offered path; empty: cancelled), a yes/no question.
  std::function<std::optional<QString>(const QString&, const QString&, const QString&)> AskText;
  std::function<QString(const QString&, const QString&, const QString&)> AskSaveFile;
  std::function<bool(const QString& title, const QString& question)> AskYesNo;

  void SetHost(DetectHost host) { host_ = std::move(host); }
  // Allocates the buffers for the record and says how much ("... Mb allocated
  // - Click 'Detect'"), or why not; call once the window's messages are wired.
  bool OpenOnRecord();
  // The settings the main window keeps (the window length), when shared.
  void UseSettings(Settings* settings);
  // Before the window goes with its record: results not saved are offered for saving.
  void OfferToSave();
  DetectFormReporter& Messages() { return reporter_; }
  StepAnalysis& Analysis() { return analysis_; }
  const StepAnalysis& Analysis() const { return analysis_; }
  QString StatusText() const;
  QString ProgressText() const;
  QString ReadoutText() const;
  QString ShowTestsText() const;
  int32_t CurrentObject() const { return current_; }
  bool Playing() const { return pass_ != Pass::kNone; }
  bool Unsaved() const { return unsaved_; }
  const TXKgraph& TraceGraph() const { return *trace_graph_; }
  const TXKgraph& AmplitudeGraph() const { return *amp_graph_; }
  const TXKgraph& TimeGraph() const { return *time_graph_; }
  QTableWidget* ObjectTable() const { return table_; }
  // A menu item by its control name ("StartTr", "Spat", "WindLen"...).
  QAction* Item(const QString& name) const;
  // Runs the window's own playback to its end (tests; no host).
  void FinishPlayback();
  // The last Detect or Tracking pass saw every frame it analyses.
  bool LastPassFinished() const { return last_pass_finished_; }
  // The window's settings (thresholds, W, the choice of objects...) replaced at once.
  void UseParams(const StepSettings& params);
  // Writes the results text to `path` as Save Results does, without asking.
  bool SaveResults(const QString& path);
  // The host's playback ended.
  void PlaybackEnded(bool completed);

 public slots:
  void StartTrClick();
  void CollectClick();
  void StopClick();
  void InpThrClick();
  void SpotPixClick();
  void SubtrMaxRiseClick();
  void AddMaxRiseClick();
  void UseDropMapClick();
  void ShowStestClick();
  void ShowPtestClick();
  void ShowMStestClick();
  void StestThrClick();
  void PtestThrClick();
  void MtestThrClick();
  void LimitNofStepsClick();
  void NextObjectClick();
  void PrevObjectClick();
  void ShowDropsClick();
  void ShowRisesClick();
  void AmpBinClick();
  void TimeBinClick();
  void SaveTXTClick();
  void Aver1X1Click();
  void Aver3X3Click();
  void Aver5X5Click();
  void WindLenClick();
  void NoBackgrSubtrClick();
  // Object `index` of the traces (or of the chosen objects before Tracking):
  // its trace, and the main window at its drop frame with the spot marked.
  void ObjectClick(int index);
  // A click on the trace graph at frame f: the main window moves to the step
  // of the current object nearest to f (its drop, its rise, or an MS-test step).
  void TraceClickAtFrame(double frame);
  // A click on the main window's image at pixel (x, y): the collected object
  // within a few pixels of it, as ObjectClick.
  void ImageClickAt(int x, int y);
  // A spot handed over from the tracking window: Detect when there are no
  // maps yet, the spot added to the chosen objects, Tracking, all three
  // tests, and the spot's trace on show.
  void AnalyseSpotAt(int32_t x, int32_t y);

 protected:
  void closeEvent(QCloseEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  enum class Pass { kNone, kDetect, kCollect };
  class Progress;

  void BuildMenus();
  QAction* Add(QMenu* menu, const char* name, const QString& caption, void (TDetectForm::*slot)());
  void UpdateCaptions();
  void UpdateEnabled();
  bool DropUnsaved();
  void StartPass(Pass pass, FrameConsumer* consumer);
  void EndPass(bool completed);
  void AfterDetect();
  void AfterCollect();
  void RunTest(StepTest test);
  void AskTestThreshold(StepTest test);
  void SetSpotSize(int32_t half_size);
  void ShowImage(bool rises);
  void FillTable();
  void ShowObject(int32_t index);
  void DrawTrace();
  void DrawHistograms();
  int32_t ObjectCount() const;
  const StepObject* ObjectAt(int32_t index) const;
  QString RecordTextPath() const;

  RecordStore& record_;
  DetectFormReporter reporter_;
  StepAnalysis analysis_;
  DetectHost host_;
  Settings* settings_ = nullptr;
  Pass pass_ = Pass::kNone;
  std::unique_ptr<Progress> progress_;
  // The window's own playback, without a host.
  std::unique_ptr<WindowPlayback> own_playback_;
  bool unsaved_ = false;
  bool last_pass_finished_ = false;
  bool tested_ = false;  // the traces have been scored (the table and histograms follow the test)
  int32_t current_ = -1;
  // A spot from the tracking window waiting for the passes it needs.
  std::optional<std::pair<int32_t, int32_t>> pending_spot_;
  // The spot whose trace the Tracking under way was started for.
  std::optional<std::pair<int32_t, int32_t>> sent_spot_;

  QLabel* status_ = nullptr;
  QLabel* progress_label_ = nullptr;
  QLabel* ShowTests = nullptr;
  QLabel* readout_ = nullptr;
  QTableWidget* table_ = nullptr;
  GraphView* trace_view_ = nullptr;
  GraphView* amp_view_ = nullptr;
  GraphView* time_view_ = nullptr;
  std::unique_ptr<TXKgraph> trace_graph_, amp_graph_, time_graph_;
  std::vector<float> trace_matrix_, amp_matrix_, time_matrix_;
  std::map<QString, QAction*> items_;
  QMenu* Spat = nullptr;
  QActionGroup* choice_group_ = nullptr;
};

}  // namespace lumetra
