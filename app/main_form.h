// The main window: owns the open record and everything the tool windows read
// (record store, current frame, header), and the menu handlers that drive it.
#pragma once

#include <QImage>
#include <QMainWindow>
#include <functional>
#include <memory>
#include <optional>

#include "app/qt_reporter.h"
#include "record/record_store.h"

class QLabel;
class QSlider;
class QScrollArea;
class QAction;
class QMenu;

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

  // Every input box of the window goes through here (title, prompt, offered
  // text -> typed text, or nothing when cancelled); tests script it.
  std::function<std::optional<QString>(const QString&, const QString&, const QString&)> AskText;

 public slots:
  void OpenClick();
  void SaveAsClick();
  void NextFrClick();
  void PrevFrClick();
  void FirstFrameClick();
  void FrameTrackBarChange(int position);
  void UsePartOfRecordClick();
  void SelectFirstFrameClick();
  void SelectLastFrameClick();

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
  QAction* UsePartOfRecord = nullptr;
  QMenu* SelectPartOfRec = nullptr;
  bool moving_track_bar_ = false;
};

}  // namespace lumetra
