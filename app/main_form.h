// The main window: owns the open record and everything the tool windows read
// (record store, current frame, header), and the menu handlers that drive it.
#pragma once

#include <QImage>
#include <QMainWindow>
#include <memory>

#include "app/qt_reporter.h"
#include "record/record_store.h"

class QLabel;
class QSlider;
class QScrollArea;

namespace lumetra {

class TMainForm : public QMainWindow {
  Q_OBJECT

 public:
  explicit TMainForm(QWidget* parent = nullptr);
  ~TMainForm() override;

  // Opens a record without a dialog (start-up argument, drops, tests).
  bool OpenRecord(const QString& path);

  RecordStore* Store() { return store_.get(); }
  QtReporter& Messages() { return reporter_; }
  const QImage& FrameImage() const { return image_; }
  QString FramePanelText() const;
  QString TimePanelText() const;

 public slots:
  void OpenClick();
  void SaveAsClick();
  void NextFrClick();
  void PrevFrClick();
  void FirstFrameClick();
  void FrameTrackBarChange(int position);

 private:
  void BuildMenus();
  void ShowFrame();

  std::unique_ptr<RecordStore> store_;
  QtReporter reporter_;
  QImage image_;
  QLabel* view_ = nullptr;
  QScrollArea* scroll_ = nullptr;
  QSlider* FrameTrackBar = nullptr;
  QLabel* frame_panel_ = nullptr;
  QLabel* time_panel_ = nullptr;
  bool moving_track_bar_ = false;
};

}  // namespace lumetra
