// TAreaForm: the region time-course window. Collect plays the record once
// and gathers the region's curves; a tracked object or a bead track can be
// shown instead. Its menus run the views, curve commands and fits of an
// AreaSession and draw the result with a TXKgraph.
//
// Playback belongs to the main window, which lends the window an AreaHost.
// Without a host (tests) the window plays the record itself.
#pragma once

#include <QMainWindow>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "area/area_session.h"
#include "record/gui/window_playback.h"
#include "record/playback.h"
#include "record/record_store.h"

class QAction;
class QLabel;
class QTimer;

namespace lumetra {

class GraphView;
class TXKgraph;

struct AreaHost {
  // Plays the record once with these consumers; false when it could not
  // start. The host calls TAreaForm::PlaybackEnded at the end.
  std::function<bool(std::vector<FrameConsumer*>)> play;
  std::function<void(bool now)> stop;
  // The main window's region.
  std::function<Region()> region;
  // The tracking window's detector settings (nothing: no spot count).
  std::function<std::optional<TrackingParams>()> spot_params;
  // The tracking window's completed tracks, in um.
  std::function<TrackSet()> tracks;
  // The bead track of this index (empty when there is none).
  std::function<TrackSeries(int)> bead;
};

class AreaFormReporter final : public Reporter {
 public:
  void Report(MessageKind kind, std::string_view text) override;
  QWidget* parent = nullptr;
  QLabel* status = nullptr;
  std::function<void(const QString&)> show_modal;
};

class TAreaForm final : public QMainWindow {
  Q_OBJECT

 public:
  explicit TAreaForm(RecordStore& record, QWidget* parent = nullptr);
  ~TAreaForm() override;

  // Dialogs, replaceable by tests.
  std::function<std::optional<QString>(const QString&, const QString&, const QString&)> AskText;
  std::function<QString(const QString& title, const QString& filter, const QString& offered)>
      AskSaveFile;
  std::function<bool(const QString& title, const QString& question)> AskYesNo;

  void SetHost(AreaHost host) { host_ = std::move(host); }
  AreaSession& Session() { return session_; }
  AreaFormReporter& Messages() { return reporter_; }
  const TXKgraph& Graph() const { return *graph_; }
  QAction* Item(const QString& name) const;
  QString StatusText() const;
  QString ProgressText() const;
  bool Playing() const { return playing_; }
  // Runs the window's own playback to its end (tests; no host).
  void FinishPlayback();
  void PlaybackEnded(bool completed);
  // Before the window goes: an unsaved table is offered for saving.
  void OfferToSave();
  // Writes the table as Save TXT does, without asking.
  bool SaveTable(const QString& path);

 public slots:
  void CollectClick();
  void RefRegionClick();
  void TrackedObjectClick();
  void StopClick();
  void ShowIntensClick();
  void ShowXYClick();
  void ShowIntXYClick();
  void ShowSpotIntClick();
  void ShowAbsValsClick();
  void Show1ver2Click();
  void ShowRMSDverTimeClick();
  void ShowVelocityClick();
  void ShowStageXYZClick();
  void Demp5Click();
  void Demp10Click();
  void Med3ptClick();
  void Med5ptClick();
  void Med7ptClick();
  void FirstDerivativeClick();
  void FitBleachingClick();
  void FitRecoveryClick();
  void FitSpotsCurveClick();
  void FitDoubleBleachingClick();
  void FullScaleClick();
  void DoubleNormClick();
  void MSDver_dTClick();
  void CalcVarClick();
  void CalcKdiffClick();
  void CutTrackClick();
  void StretchedGraphsClick();
  void StretchGraphClick();
  void AutoScalingClick();
  void SetAxisClick();
  void SaveTXTClick();
  void SaveBmpClick();
  void PrintClick();
  // Page Up / Page Down with Show Beads in the main window: bead `index`'s
  // track becomes the time course and its XY view is drawn.
  void ShowBead(int index);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  class Progress;
  void BuildMenus();
  QAction* Add(QMenu* menu, const char* name, const char* caption, void (TAreaForm::*slot)());
  void Redraw(std::optional<AxisScaling> scaling = std::nullopt);
  void Run(bool (AreaSession::*command)());
  void RunFit(bool (AreaSession::*command)());
  void ShowView(AreaView view);
  void UpdateEnabled();
  bool DropUnsaved();

  RecordStore& record_;
  AreaFormReporter reporter_;
  AreaSession session_;
  AreaHost host_;
  std::optional<Region> reference_;
  std::unique_ptr<Progress> progress_;
  // The window's own playback, without a host.
  std::unique_ptr<WindowPlayback> own_playback_;
  bool playing_ = false;
  QLabel* status_ = nullptr;
  QLabel* progress_label_ = nullptr;
  GraphView* view_ = nullptr;
  std::unique_ptr<TXKgraph> graph_;
  std::vector<float> matrix_;
  std::map<QString, QAction*> items_;
};

}  // namespace lumetra
