#include "app/qt_reporter.h"

#include <QMessageBox>
#include <QStatusBar>

namespace lumetra {

void QtReporter::Report(MessageKind kind, std::string_view text) {
  if (log) log->Report(kind, text);
  Show(kind, text);
}

void QtReporter::Show(MessageKind kind, std::string_view text) {
  const QString t = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
  switch (kind) {
    case MessageKind::kModal:
      // A batch run keeps its boxes in the log and goes on.
      if (log) break;
      if (show_modal)
        show_modal(t);
      else
        QMessageBox::information(parent_, QStringLiteral("Lumetra32"), t);
      break;
    case MessageKind::kWarning:
      // The alert line stays until the next message replaces it.
      if (status_) status_->showMessage(t);
      break;
    case MessageKind::kNotice:
      if (show_notice)
        show_notice(t);
      else if (status_)
        status_->showMessage(t, 3000);
      break;
    case MessageKind::kStatus:
      if (status_) status_->showMessage(t, 2000);
      break;
  }
}

void QtReporter::ReportDetailed(MessageKind kind, std::string_view text,
                                std::string_view detail) {
  if (log) {
    log->ReportDetailed(kind, text, detail);
    Show(kind, text);
    return;
  }
  if (kind != MessageKind::kModal || show_modal || detail.empty()) {
    Report(kind, text);
    return;
  }
  QMessageBox box(QMessageBox::Information, QStringLiteral("Lumetra32"),
                  QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())),
                  QMessageBox::Ok, parent_);
  box.setInformativeText(QString::fromUtf8(detail.data(), static_cast<qsizetype>(detail.size())));
  box.exec();
}

}  // namespace lumetra
