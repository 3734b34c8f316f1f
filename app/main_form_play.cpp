// Playback, the key handler and the mouse-drawn markers of the main window.
#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QSlider>

#include "app/app_messages.h"
#include "app/image_view.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "display/region_readout.h"
#include "spots/gui/spot_form.h"

namespace lumetra {
namespace {

// Qt key codes to the virtual-key codes of the key rules; 0 for other keys.
// Only the keypad's plus and minus are the region keys, with or without Ctrl;
// the main keyboard's are not (with Ctrl they zoom).
int VirtualKey(int qt_key, Qt::KeyboardModifiers mods) {
  switch (qt_key) {
    case Qt::Key_Escape:
      return vk::kEscape;
    case Qt::Key_PageUp:
      return vk::kPrior;
    case Qt::Key_PageDown:
      return vk::kNext;
    case Qt::Key_Left:
      return vk::kLeft;
    case Qt::Key_Up:
      return vk::kUp;
    case Qt::Key_Right:
      return vk::kRight;
    case Qt::Key_Down:
      return vk::kDown;
    case Qt::Key_S:
      return vk::kS;
    case Qt::Key_T:
      return vk::kT;
    case Qt::Key_F4:
      return vk::kF4;
    case Qt::Key_F5:
      return vk::kF5;
    case Qt::Key_F7:
      return vk::kF7;
    case Qt::Key_F8:
      return vk::kF8;
    case Qt::Key_Plus:
      return (mods & Qt::KeypadModifier) ? vk::kAdd : 0;
    case Qt::Key_Minus:
      return (mods & Qt::KeypadModifier) ? vk::kSubtract : 0;
    default:
      return 0;
  }
}

bool IsOwnKey(int key) {
  return key == vk::kEscape || key == vk::kLeft || key == vk::kRight || key == vk::kUp ||
         key == vk::kDown || key == vk::kAdd || key == vk::kSubtract;
}

}  // namespace

void TMainForm::PlayClick() {
  if (Playing() || !store_ || !store_->RecordLoaded()) return;
  stop_ = false;
  playback_ = std::make_unique<Playback>(*store_, consumers_, &stop_);
  RefreshMenus();
  if (!playback_->Begin(reporter_)) {
    EndPlayback();
    return;
  }
  ShowFrame();
  // At the record's own frame interval when asked for, but a playback that
  // feeds an analysis always runs as fast as frames can be read.
  const bool paced =
      consumers_.empty() && MenuItem(QStringLiteral("RealTimePlay"))->isChecked();
  play_timer_.start(paced ? std::max(1, static_cast<int>(store_->FrameInterval() * 1000)) : 0);
}

bool TMainForm::PlayWithConsumers(std::vector<FrameConsumer*> consumers) {
  if (Playing()) return false;
  std::vector<FrameConsumer*> others = std::move(consumers_);
  consumers_ = std::move(consumers);
  PlayClick();
  consumers_ = std::move(others);
  return Playing();
}

void TMainForm::StopPlayback(bool now) {
  stop_ = true;
  if (now) EndPlayback();
}

void TMainForm::StopClick() {
  stop_ = true;
  // A batch run ends after the record under way stops.
  if (BatchRunning()) batch_stop_ = true;
  // Esc in this window also stops Detect or Link Tracks of the tracking window.
  if (spot_form_) spot_form_->StopClick();
}

// One frame a tick; the stop flag is seen at the next step. The timer rests
// while a frame is read: a message box about a broken frame runs its own
// event loop, and the next tick must not read on behind it.
void TMainForm::PlayTick() {
  play_timer_.stop();
  if (!playback_ || !playback_->Step(reporter_)) {
    EndPlayback();
    return;
  }
  ShowFrame();
  if (playback_) play_timer_.start();
}

void TMainForm::EndPlayback() {
  play_timer_.stop();
  if (!playback_) return;
  playback_->Finish();
  const bool completed = playback_->Completed();
  const int32_t played = playback_->FramesPlayed();
  playback_.reset();
  RefreshMenus();
  ShowFrame();
  reporter_.Status(S(Q(completed ? kFramesPlayed : kFramesPlayedStopped).arg(played)));
  emit PlaybackFinished(completed);
}

bool TMainForm::FormKeyDown(int qt_key, Qt::KeyboardModifiers modifiers) {
  const int key = VirtualKey(qt_key, modifiers);
  if (key == 0) return false;
  const KeyState state{
      region_,     line_,      view_->View(), spot_window_open_, ShowBeads->isChecked(),
      bead_index_, bead_count_};
  const KeyResult r = ::lumetra::FormKeyDown(state, key, (modifiers & Qt::ControlModifier) != 0);
  const KeyActions& act = r.actions;
  region_ = r.region;
  line_ = r.line;
  bead_index_ = r.bead_index;
  if (act.stop) StopClick();
  if (act.bead_views) {
    ShowBeadTrack(true);
    emit BeadViewsRequested(bead_index_);
  }
  if (act.spot != SpotWindowCommand::kNone) emit SpotWindowCommandRequested(act.spot);
  if (act.region_readout) {
    UpdateRegionReadout();
    emit RegionChanged();
  }
  if (act.repaint || act.info_lines) {
    view_->SetRegion(region_);
    view_->SetLine(line_, line_shown_, settings_.values().ProfileWidth);
  }
  return IsOwnKey(key) || act.bead_views || act.spot != SpotWindowCommand::kNone;
}

bool TMainForm::eventFilter(QObject* watched, QEvent* event) {
  // The track bar shares the window's keys: arrows nudge the markers, not the frame.
  if (watched == FrameTrackBar && event->type() == QEvent::KeyPress) {
    const auto* k = static_cast<QKeyEvent*>(event);
    if (FormKeyDown(k->key(), k->modifiers())) return true;
  }
  // Ctrl with the keypad's plus or minus resizes the region; it is no zoom shortcut.
  if (watched == FrameTrackBar && event->type() == QEvent::ShortcutOverride &&
      IsKeypadRegionKey(*static_cast<QKeyEvent*>(event))) {
    event->accept();
    return true;
  }
  return QMainWindow::eventFilter(watched, event);
}

void TMainForm::SetRegion(const Region& region) {
  region_ = region;
  view_->SetRegion(region_);
  if (region_.active)
    UpdateRegionReadout();
  else
    region_panel_->clear();
  emit RegionChanged();
}

void TMainForm::SetLine(const ProfileLine& line) {
  line_ = line;
  // A right click without a drag gives a line of no length: it hides the line.
  line_shown_ = line.x0 != line.x1 || line.y0 != line.y1;
  view_->SetLine(line_, line_shown_, settings_.values().ProfileWidth);
}

void TMainForm::UpdateRegionReadout() {
  if (!store_ || !store_->RecordLoaded() || !region_.active) return;
  const RegionStats stats =
      MeasureRegion(store_->FrameBuffer(), store_->Width(), store_->Height(), region_);
  region_panel_->setText(Q(RegionReadout(region_, stats)));
}

void TMainForm::ShowCursorReadout(int x, int y) {
  if (x < 0 || !store_ || !store_->RecordLoaded()) {
    cursor_panel_->clear();
    return;
  }
  const uint16_t count = store_->FrameBuffer()[static_cast<int64_t>(y) * store_->Width() + x];
  cursor_panel_->setText(
      Q(CursorReadout(x, y, store_->Prm().ScaleX, store_->Prm().ScaleY, count)));
}

}  // namespace lumetra
