// TSpotForm: the automatic single-particle tracking window. Detect plays the
// record with detection and linking on, Link Tracks plays it again for the
// second pass; both drive the core's playback loop from a timer, so the
// window shows each frame with its spots and the growing tracks. The window
// also reads and writes XKI files and the text exports, and edits R, L, Q, C.
#pragma once

#include <QMainWindow>
#include <QString>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "common/region.h"
#include "display/key_commands.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "spots/spot_finder.h"
#include "spots/spot_params.h"
#include "spots/track_statistics.h"
#include "spots/track_store.h"
#include "spots/tracking_passes.h"
#include "spots/tracking_settings.h"

class QAction;
class QLabel;
class QMenu;
class QSplitter;
class QTimer;

namespace lumetra {

class SpotView;
class GraphView;
class TXKgraph;
struct StatsRun;
struct PlotTable;

// Messages of the window: boxes, the status bar; tests collect the boxes.
class SpotFormReporter final : public Reporter {
 public:
  void Report(MessageKind kind, std::string_view text) override;
  void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) override;
  QWidget* parent = nullptr;
  QLabel* status = nullptr;
  std::function<void(const QString&)> show_modal;
  // While set (a batch run), every message is handed on here and no box is shown.
  Reporter* log = nullptr;
};

class TSpotForm final : public QMainWindow {
  Q_OBJECT

 public:
  explicit TSpotForm(RecordStore& record, QWidget* parent = nullptr);
  ~TSpotForm() override;

  // Dialogs, replaceable by tests: input box (title, prompt, offered text),
  // open and save file names (empty: cancelled).
  std::function<std::optional<QString>(const QString&, const QString&, const QString&)> AskText;
  std::function<QString(const QString& title, const QString& filter)> AskOpenFile;
  // The save dialog offers the record's name with the filter's extension.
  std::function<QString(const QString& title, const QString& filter)> AskSaveFile;
  // Asked before tracks that are not saved would be lost.
  enum class UnsavedAnswer { kSave, kDiscard, kCancel };
  std::function<UnsavedAnswer()> AskUnsavedTracks;

  // Hands a track's spot (whole pixels) to the step-detection window; unset: no such window.
  std::function<void(int32_t x, int32_t y)> SendSpotToSteps;

  SpotFormReporter& Messages() { return reporter_; }
  TrackingParams& Params() { return params_; }
  const TrackStore& Tracks() const { return *tracks_; }
  const TXKgraph& DistanceGraph() const { return *graph_; }
  // The graph of the Statistics views (null before the first view) and the
  // summary of the last statistics run.
  const TXKgraph* StatisticsGraph() const { return stats_graph_.get(); }
  QString StatisticsSummary() const;
  QString StatusText() const;
  // The second status panel: "frame 17 of 2000 (Esc stops)" while a pass
  // runs, "stopped at frame 17 of 2000" after one was stopped.
  QString ProgressText() const;
  // The save dialog's offer for a filter such as "XKI files (*.xki)": the
  // record's path with that extension.
  QString DefaultSaveName(const QString& filter) const;
  // The name the next save dialog offers instead of DefaultSaveName's.
  QString save_offer_;
  // Tracks that would be lost: completed tracks not read from or written to a file.
  bool HasUnsavedTracks() const;
  // Before the record or the window closes: stops a pass under way, and with
  // unsaved tracks asks to save them. False when the user cancelled (or the
  // save did not happen): the record and its tracks stay.
  bool MayDropTracks();
  bool Playing() const;
  // Runs the playback under way to its end without the timer (tests, batch).
  void FinishPlayback();
  // The last Detect or Link Tracks played every frame (not stopped, no frame refused).
  bool PassCompleted() const { return pass_completed_; }
  // A command of the main window's keys.
  void RunKeyCommand(SpotWindowCommand command);
  // The settings the main window keeps (and writes to the INI file), when shared.
  void UseSettings(Settings* settings);
  // The batch flag of the main window: while set, SaveXKIfileClick writes to
  // the record's batch name (BatchXkiName) without asking.
  void SetBatchMode(bool on, bool link_tracks_in_batch = false);
  bool BatchMode() const { return batch_; }
  QString BatchXkiName() const;
  // "LinkTracks in Batch Mode": a batch run adds Link Tracks after Tracking.
  bool LinkTracksInBatch() const;
  // What a batch run takes from the window for every record: the tracking
  // settings and the options of the XKI file and of the batch.
  struct BatchSetup {
    TrackingParams params;
    bool save_zpos = false;
    bool selected_only = false;
    bool link_in_batch = false;
  };
  BatchSetup CurrentSetup() const;
  void ApplySetup(const BatchSetup& setup);
  // The outline whose edges SaveDlatOutlineDistTXTClick measures to (pixels);
  // the whole frame unless the main window hands its region.
  std::function<Region()> OutlineRegion;

  const TrackingCaptions& Captions() const { return captions_; }

 signals:
  // Tracks were read from an XKI file: the main window shows the current
  // frame's time again.
  void TracksRead();
  // Detect or Link Tracks ended: the record's current frame has moved.
  void PassEnded();

 public slots:
  void DetectClick();
  void LinkTracksClick();
  void TrackingClick();
  void StopClick();
  // False when nothing was written (cancelled, refused, or the file failed).
  bool SaveXKIfileClick();
  void ReadXKIfileClick();
  void SaveCurSpotsClick();
  void SaveXYIntColumnsClick();
  void MaxRadiusClick();
  void MinTrackClick();
  void SensThrClick();
  void ClustThrClick();
  void TracksInTimeClick();
  void ShowTracksClick();
  void RefreshClick();
  void CurrentSpotsClick();
  // Text exports of the track statistics and the spot map (spot_form_exports.cpp).
  void SaveVelocityTXTClick();
  void SaveDlatOutlineDistTXTClick();
  void SaveDistribTXTClick();
  void SaveIntensityDistributionInRecordClick();
  void SaveSpotsInMapClick();
  // Options of the column export.
  void SaveIntXYasTXTClick();
  void SaveXYasTXTClick();
  void SaveIntAsTXTClick();
  void SavePixelCoordinatesClick();
  void IncludeTimeClick();
  // The settings changed in the main window (its FWHM, a settings file).
  void MainSettingsChanged();
  // The main window shows another frame: the views follow it.
  void ShowCurrentFrame();

  // Asks for a completed track and sends its spot to the step-detection window.
  void SendTrackToStepsClick();
  // The Statistics menu (spot_form_statistics.cpp): each view runs the
  // statistics of the tracks held and draws one of them in the statistics
  // graph window; the saves write the tables as tab-separated text.
  void StatMsdClick();
  void StatDiffusionClick();
  void StatJumpsClick();
  void StatVelocityClick();
  void StatIntensityClick();
  void StatDriftClick();
  void StatDensityMapClick();
  void SaveMsdTSVClick();
  void SaveDiffusionTSVClick();
  void SaveJumpsTSVClick();
  void SaveDriftTSVClick();
  void SaveDriftCorrectedXKIClick();
  void SaveDriftCorrectedRecordClick();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildExportItems(QMenu* file);
  void BuildStatisticsMenu();
  // Runs the statistics of the tracks held; false (reported) when none can be made.
  bool RunStatistics(bool correct_drift);
  void ShowStatsView(int view);
  void SaveTsv(const QString& title, const std::string& text);
  void BuildOptionItems();
  void ConnectColumnOptions();
  void SaveText(const QString& title, const std::string& text, std::string_view open_error);
  TrackScale Scale() const;
  void BuildMenus();
  // Sizes the window so the image pane has the frame's shape.
  void FitToFrame();
  void BuildFileMenu();
  void StartPlayback(FrameConsumer* pass);
  void Tick();
  void ShowProgress();
  void EndPlayback();
  void SetCommand(TrackingCommand command);
  void UpdateCaptions();
  void SetTrackCommandsEnabled(bool on);
  bool SaveTracks();
  // The spots of the record's current frame, detected now when the last
  // detection was of another frame.
  const std::vector<SpotRec>& CurrentFrameSpots();
  // A setting of the detection changed: the spots shown are detected again.
  void DetectionChanged();
  // CalcDist: the distance histogram of the current frame's objects; while
  // playing at most a few times a second.
  void CalcDist(bool now);

  RecordStore& record_;
  SpotFormReporter reporter_;
  TrackingParams params_;
  TrackingCaptions captions_;
  Settings* settings_ = nullptr;
  std::unique_ptr<TrackStore> tracks_;
  std::unique_ptr<DetectPass> detect_;
  // Spots of a frame shown outside Detect, and the frame they come from.
  SpotFinder frame_spots_;
  int32_t frame_spots_at_ = -1;
  // False once a setting of the detection changed after Detect.
  bool detect_spots_valid_ = false;
  std::unique_ptr<LinkTracksPass> link_;
  std::unique_ptr<Playback> playback_;
  FrameConsumer* playback_pass_ = nullptr;  // the pass the playback drives
  class ViewRefresh;
  std::unique_ptr<ViewRefresh> refresh_;
  std::atomic<bool> stop_{false};
  QTimer* timer_ = nullptr;
  SpotView* view_ = nullptr;
  QSplitter* split_ = nullptr;
  GraphView* graph_view_ = nullptr;
  std::unique_ptr<TXKgraph> graph_;
  std::vector<float> histogram_;
  int64_t last_graph_ms_ = 0;
  QLabel* status_ = nullptr;
  // The Statistics menu: its last run, its graph and the table that graph draws.
  std::unique_ptr<StatsRun> stats_;
  std::unique_ptr<PlotTable> stats_table_;
  std::unique_ptr<TXKgraph> stats_graph_;
  QWidget* stats_window_ = nullptr;
  GraphView* stats_view_ = nullptr;
  QLabel* stats_image_ = nullptr;
  QAction* StatMsdFit = nullptr;
  QAction* StatCorrectDrift = nullptr;
  QLabel* progress_ = nullptr;
  QAction* Detect = nullptr;
  QAction* ReadXKIfile = nullptr;
  QMenu* Settings_ = nullptr;
  QAction* MaxRadius = nullptr;
  QAction* MinTrack = nullptr;
  QAction* SensThr = nullptr;
  QAction* ClustThr = nullptr;
  QAction* SubtractBkgr = nullptr;
  QAction* ResolveClose = nullptr;
  QAction* QAutomatic = nullptr;      // "Q: automatic"
  QAction* DenseDetection = nullptr;  // "Dense Field Detection"
  QAction* SelectedOnly = nullptr;
  QAction* SaveZpos = nullptr;
  QAction* IncludeTime = nullptr;
  QAction* SavePixelCoordinates = nullptr;
  QAction* SaveIntXYasTXT = nullptr;
  QAction* SaveXYasTXT = nullptr;
  QAction* SaveIntAsTXT = nullptr;
  QAction* LinkTracks = nullptr;
  QAction* LinkTracksInBatchMode = nullptr;
  QAction* SaveXKIfile = nullptr;
  QAction* Tracking = nullptr;
  QAction* TrackFilaments = nullptr;
  QAction* SpotMap = nullptr;
  bool pass_completed_ = false;
  bool batch_ = false;
  bool link_in_batch_ = false;
};

}  // namespace lumetra
