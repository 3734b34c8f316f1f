#include "common/report.h"

#include <algorithm>

namespace lumetra {

void CollectingReporter::Report(MessageKind kind, std::string_view text) {
  messages_.push_back({kind, std::string(text)});
}

void CollectingReporter::ReportDetailed(MessageKind kind, std::string_view text,
                                        std::string_view detail) {
  Report(kind, text);
  details_.emplace_back(detail);
}

std::vector<std::string> CollectingReporter::Texts(MessageKind kind) const {
  std::vector<std::string> out;
  for (const Message& m : messages_)
    if (m.kind == kind) out.push_back(m.text);
  return out;
}

std::vector<std::string> CollectingReporter::Texts() const {
  std::vector<std::string> out;
  for (const Message& m : messages_) out.push_back(m.text);
  return out;
}

bool CollectingReporter::Contains(std::string_view text) const {
  return std::any_of(messages_.begin(), messages_.end(),
                     [&](const Message& m) { return m.text == text; });
}

}  // namespace lumetra
