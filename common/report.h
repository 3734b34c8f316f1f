// The one way the core hands user-facing texts to whoever runs it: the desktop
// program shows them in message boxes and the status bar, the command line
// prints them on stderr, tests collect them. No core function prints or exits.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumetra {

enum class MessageKind {
  kModal,    // a message box the user must acknowledge ("Frame Reading Error")
  kWarning,  // the alert line of the main window ("DANGER! - ...")
  kNotice,   // a short notice drawn on the image that fades ("Done")
  kStatus,   // plain status text (progress, read-outs)
};

struct Message {
  MessageKind kind;
  std::string text;
  bool operator==(const Message&) const = default;
};

class Reporter {
 public:
  virtual ~Reporter() = default;
  virtual void Report(MessageKind kind, std::string_view text) = 0;
  // A message with what it concerns, such as the file and the system's reason
  // ("cell3.xkv: No such file or directory"). The window's box shows the
  // program's own text with the detail below it; the command line prints
  // "text: detail".
  virtual void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) {
    (void)detail;
    Report(kind, text);
  }

  void Modal(std::string_view text) { Report(MessageKind::kModal, text); }
  void Modal(std::string_view text, std::string_view detail) {
    ReportDetailed(MessageKind::kModal, text, detail);
  }
  void Warning(std::string_view text) { Report(MessageKind::kWarning, text); }
  void Notice(std::string_view text) { Report(MessageKind::kNotice, text); }
  void Status(std::string_view text) { Report(MessageKind::kStatus, text); }
};

// Drops everything; for callers that have nobody to tell.
class NullReporter final : public Reporter {
 public:
  void Report(MessageKind, std::string_view) override {}
};

// Keeps every message in order; used by tests and by batch runs that log and go on.
class CollectingReporter final : public Reporter {
 public:
  void Report(MessageKind kind, std::string_view text) override;
  void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) override;
  const std::vector<Message>& messages() const { return messages_; }
  // The details of the detailed messages, in order.
  const std::vector<std::string>& Details() const { return details_; }
  // Texts of one kind, in order.
  std::vector<std::string> Texts(MessageKind kind) const;
  // Texts of every kind, in order.
  std::vector<std::string> Texts() const;
  bool Contains(std::string_view text) const;
  void Clear() {
    messages_.clear();
    details_.clear();
  }

 private:
  std::vector<Message> messages_;
  std::vector<std::string> details_;
};

}  // namespace lumetra
