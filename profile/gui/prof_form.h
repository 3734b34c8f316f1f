// TProfForm: the profile and kymograph window. It shows the intensity profile
// of the main window's profile line in the current frame (redrawn with every
// frame shown and every new line) and builds a kymograph along the line by
// playing the record through the main window, with progress and Esc.
#pragma once

#include <QMainWindow>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "common/report.h"
#include "profile/kymograph.h"
#include "profile/line_profile.h"
#include "record/playback.h"
#include "record/record_store.h"

class QLabel;
class QScrollArea;

namespace lumetra {

class GraphView;
class TXKgraph;

// What the window needs from the main window.
struct ProfHost {
  // The profile line with the profile width, or nothing while no line is drawn.
  std::function<std::optional<ProfileBand>()> line;
  // Plays the record once with these consumers (not owned); false when it
  // could not start. The host calls TProfForm::PlaybackEnded at the end.
  std::function<bool(std::vector<FrameConsumer*>)> play;
  // Stops the playback: at its next frame, or at once (`now`, when the window
  // goes away and its kymograph with it).
  std::function<void(bool now)> stop;
};

class TProfForm final : public QMainWindow {
  Q_OBJECT

 public:
  explicit TProfForm(RecordStore& record, Reporter& reporter, QWidget* parent = nullptr);
  ~TProfForm() override;

  // Dialogs, replaceable by tests: save file name (title, filter, offered path;
  // empty: cancelled) and a yes/no question.
  std::function<QString(const QString&, const QString&, const QString&)> AskSaveFile;
  std::function<bool(const QString&)> AskYesNo;

  void SetHost(ProfHost host) { host_ = std::move(host); }
  const LineProfile& Profile() const { return profile_; }
  const KymographBuilder* Kymograph() const { return kymograph_.get(); }
  bool Playing() const { return playing_; }
  bool KymographUnsaved() const { return unsaved_; }
  QString StatusText() const;
  const TXKgraph& Graph() const { return *graph_; }

 public slots:
  // The profile of the frame shown (also while a kymograph plays).
  void ShowProfile();
  void KymographClick();
  void StopClick();
  void SaveProfileClick();
  void SaveKymographPngClick();
  void SaveKymographTsvClick();
  // The host's playback ended.
  void PlaybackEnded(bool completed);

 protected:
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void BuildMenus();
  void DrawProfile();
  void ShowKymographImage();
  void SetStatus(const QString& text);
  QString OfferedName(const char* suffix, const char* ext) const;

  RecordStore& record_;
  Reporter& reporter_;
  ProfHost host_;
  LineProfile profile_;
  std::unique_ptr<KymographBuilder> kymograph_;
  bool playing_ = false;
  bool unsaved_ = false;
  std::unique_ptr<TXKgraph> graph_;
  std::vector<float> matrix_;
  GraphView* graph_view_ = nullptr;
  QLabel* kymo_label_ = nullptr;
  QScrollArea* kymo_scroll_ = nullptr;
  QLabel* status_ = nullptr;
};

}  // namespace lumetra
