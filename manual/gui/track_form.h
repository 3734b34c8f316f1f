// TTrackForm: manual object tracking. The user marks objects frame by frame
// with clicks on the main window's image (each click sets the current
// object's point in the frame shown and moves to the next frame); keys switch
// objects and step back. The window lists the objects, draws their positions,
// speeds or distances with TXKgraph, and reads and writes XKI files and tidy
// tables. All of it is core (manual/); this window asks and shows.
#pragma once

#include <QMainWindow>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "common/report.h"
#include "manual/manual_measures.h"
#include "manual/manual_tracks.h"
#include "record/record_store.h"
#include "spots/track_store.h"

class QAction;
class QLabel;
class QPainter;
class QTableWidget;

namespace lumetra {

class GraphView;
class TXKgraph;

// What the window needs of the main window.
struct TrackFormHost {
  std::function<void(int32_t frame)> go_to_frame;             // show that frame
  std::function<double()> fwhm_nm;                            // spot size for the snap
  std::function<const TrackStore*()> tracking_window_tracks;  // null when that window is closed
  std::function<void()> marks_changed;                        // redraw the main image's marks
};

class TTrackForm final : public QMainWindow {
  Q_OBJECT

 public:
  TTrackForm(RecordStore& record, Reporter& reporter, QWidget* parent = nullptr);
  ~TTrackForm() override;

  void SetHost(TrackFormHost host) { host_ = std::move(host); }
  // Dialogs, replaceable by tests: an empty path is a cancel.
  std::function<QString(const QString& title, const QString& filter)> AskOpenFile;
  std::function<QString(const QString& title, const QString& filter, const QString& name)>
      AskSaveFile;
  // "Replace the unsaved objects?" Yes is true.
  std::function<bool(const QString& question)> AskYesNo;

  const ManualTracks& Objects() const { return tracks_; }
  QString StatusText() const;
  // True when there are no unsaved marks or the user lets them go.
  bool MayDropObjects();
  const TXKgraph& Graph() const { return *graph_; }
  QTableWidget* Table() const { return table_; }
  // The current object's points, frame by frame; a click on one shows its frame.
  QTableWidget* PointTable() const { return points_; }
  // Draws every shown object's points up to the current frame over the main
  // image, the current object's point in this frame ringed.
  void PaintMarks(QPainter& p, int zoom) const;

 public slots:
  // A click on frame pixel (x, y) of the main window's image.
  void ImageClickAt(int x, int y);
  // The main window shows another frame.
  void FrameShown();
  void NextObjectClick();
  void PrevObjectClick();
  void StepBackClick();
  void RemovePointClick();
  void ClearObjectClick();
  void ReadXKIfileClick();
  bool SaveXKIfileClick();
  void SaveTracksTSVClick();
  void SaveDistancesTSVClick();
  void TakeTrackingTracksClick();
  void ShowPositionsClick();
  void ShowSpeedsClick();
  void ShowDistancesClick();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildMenus();
  void Refresh();
  void FillTable();
  void FillPoints();
  void DrawGraph();
  void SelectObject(int32_t object);
  QString SaveName(const char* suffix) const;
  void SaveText(const QString& title, const std::string& text, const char* suffix);

  RecordStore& record_;
  Reporter& reporter_;
  TrackFormHost host_;
  ManualTracks tracks_;
  std::vector<float> times_;
  ManualGraphKind kind_ = ManualGraphKind::kPositions;
  ManualGraph graph_data_;
  std::unique_ptr<TXKgraph> graph_;
  GraphView* graph_view_ = nullptr;
  QTableWidget* table_ = nullptr;
  QTableWidget* points_ = nullptr;
  QLabel* status_ = nullptr;
  QAction* SnapToCentre = nullptr;
  QString status_text_;
  bool filling_ = false;
};

}  // namespace lumetra
