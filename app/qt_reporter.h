// The desktop program's side of the core's reporting interface: message
// boxes for modal texts, the status bar for warnings and status, a short
// notice for completions.
#pragma once

#include <QString>
#include <functional>

#include "common/report.h"

class QWidget;
class QStatusBar;

namespace lumetra {

class QtReporter final : public Reporter {
 public:
  QtReporter(QWidget* parent, QStatusBar* status) : parent_(parent), status_(status) {}
  void Report(MessageKind kind, std::string_view text) override;
  // The box keeps the program's own text as its message; the file and the
  // reason go below it as the box's informative text.
  void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) override;

  // Tests replace the message box with a collector.
  std::function<void(const QString&)> show_modal;
  // Where notices are drawn (the image area); the status bar when unset.
  std::function<void(const QString&)> show_notice;
  // While set (a batch run), every message is handed on here and no box is shown.
  Reporter* log = nullptr;

 private:
  void Show(MessageKind kind, std::string_view text);
  QWidget* parent_;
  QStatusBar* status_;
};

}  // namespace lumetra
