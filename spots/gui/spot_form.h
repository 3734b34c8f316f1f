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

#include "display/key_commands.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "spots/spot_params.h"
#include "spots/track_store.h"
#include "spots/tracking_passes.h"
#include "spots/tracking_settings.h"

class QAction;
class QLabel;
class QMenu;
class QTimer;

namespace lumetra {

class SpotView;
class GraphView;
class TXKgraph;

// Messages of the window: boxes, the status bar; tests collect the boxes.
class SpotFormReporter final : public Reporter {
 public:
  void Report(MessageKind kind, std::string_view text) override;
  QWidget* parent = nullptr;
  QLabel* status = nullptr;
  std::function<void(const QString&)> show_modal;
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
  std::function<QString(const QString& title, const QString& filter)> AskSaveFile;

  // Hands a track's spot (whole pixels) to the step-detection window; unset: no such window.
  std::function<void(int32_t x, int32_t y)> SendSpotToSteps;

  SpotFormReporter& Messages() { return reporter_; }
  TrackingParams& Params() { return params_; }
  const TrackStore& Tracks() const { return *tracks_; }
  const TXKgraph& DistanceGraph() const { return *graph_; }
  QString StatusText() const;
  bool Playing() const;
  // Runs the playback under way to its end without the timer (tests, batch).
  void FinishPlayback();
  // A command of the main window's keys.
  void RunKeyCommand(SpotWindowCommand command);
  // The settings the main window keeps (and writes to the INI file), when shared.
  void UseSettings(Settings* settings);

 public slots:
  void DetectClick();
  void LinkTracksClick();
  void TrackingClick();
  void StopClick();
  void SaveXKIfileClick();
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
  // Asks for a completed track and sends its spot to the step-detection window.
  void SendTrackToStepsClick();

 private:
  void BuildMenus();
  void BuildFileMenu();
  void StartPlayback(FrameConsumer* pass);
  void Tick();
  void EndPlayback();
  void SetCommand(TrackingCommand command);
  void UpdateCaptions();
  void SetTrackCommandsEnabled(bool on);
  // CalcDist: the distance histogram of the current frame's objects; while
  // playing at most a few times a second.
  void CalcDist(bool now);

  RecordStore& record_;
  SpotFormReporter reporter_;
  TrackingParams params_;
  Settings* settings_ = nullptr;
  std::unique_ptr<TrackStore> tracks_;
  std::unique_ptr<DetectPass> detect_;
  std::unique_ptr<LinkTracksPass> link_;
  std::unique_ptr<Playback> playback_;
  class ViewRefresh;
  std::unique_ptr<ViewRefresh> refresh_;
  std::atomic<bool> stop_{false};
  QTimer* timer_ = nullptr;
  SpotView* view_ = nullptr;
  GraphView* graph_view_ = nullptr;
  std::unique_ptr<TXKgraph> graph_;
  std::vector<float> histogram_;
  int64_t last_graph_ms_ = 0;
  QLabel* status_ = nullptr;
  QMenu* Settings_ = nullptr;
  QAction* MaxRadius = nullptr;
  QAction* MinTrack = nullptr;
  QAction* SensThr = nullptr;
  QAction* ClustThr = nullptr;
  QAction* SubtractBkgr = nullptr;
  QAction* ResolveClose = nullptr;
  QAction* SelectedOnly = nullptr;
  QAction* SaveZpos = nullptr;
  QAction* IncludeTime = nullptr;
  QAction* SavePixelCoordinates = nullptr;
  QAction* SaveIntXYasTXT = nullptr;
  QAction* SaveXYasTXT = nullptr;
  QAction* SaveIntAsTXT = nullptr;
  QAction* LinkTracks = nullptr;
  QAction* SaveXKIfile = nullptr;
  QAction* Tracking = nullptr;
};

}  // namespace lumetra
