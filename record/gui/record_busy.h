// The busy state of a window while a record streams inside a handler: the
// hourglass cursor, the user's input held back so that no second command
// starts, and Esc turned into the stop flag. The handler calls Tick() as it
// goes, which lets the windows repaint a few times a second.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <atomic>

namespace lumetra {

class RecordBusy final : public QObject {
 public:
  // Clears `stop`; it must outlive the busy state.
  explicit RecordBusy(std::atomic<bool>& stop);
  ~RecordBusy() override;
  RecordBusy(const RecordBusy&) = delete;
  RecordBusy& operator=(const RecordBusy&) = delete;

  // Runs the pending events when the last pass is at least kTickMs old: often
  // enough for Esc and the progress read-out, seldom enough to cost nothing.
  void Tick();

  static constexpr int kTickMs = 50;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  std::atomic<bool>& stop_;
  QElapsedTimer since_tick_;
};

}  // namespace lumetra
