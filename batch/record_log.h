// The messages of one record of a batch run, kept in order. The record's row
// shows the boxes and alert lines (status read-outs are left out), each with
// what it concerns; a text said many times (once per object) appears once
// with its count.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/report.h"

namespace lumetra {

class RecordLog final : public Reporter {
 public:
  void Report(MessageKind kind, std::string_view text) override { Add(kind, std::string(text)); }
  void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) override {
    Add(kind, detail.empty() ? std::string(text) : std::string(text) + ": " + std::string(detail));
  }
  // "Frame Reading Error: cell3.xkv: ...; Too few objects (<3)".
  std::string Joined() const {
    std::string out;
    for (size_t i = 0; i < texts_.size(); ++i) {
      if (!out.empty()) out += "; ";
      out += texts_[i];
      if (counts_[i] > 1) out += " (" + std::to_string(counts_[i]) + " times)";
    }
    return out;
  }
  bool Any() const { return !texts_.empty(); }
  void Clear() {
    texts_.clear();
    counts_.clear();
  }

 private:
  void Add(MessageKind kind, std::string text) {
    if (kind == MessageKind::kStatus || kind == MessageKind::kNotice) return;
    for (size_t i = 0; i < texts_.size(); ++i)
      if (texts_[i] == text) {
        ++counts_[i];
        return;
      }
    texts_.push_back(std::move(text));
    counts_.push_back(1);
  }
  std::vector<std::string> texts_;
  std::vector<int> counts_;
};

// "reason: what the run said", or the reason alone.
inline std::string Because(std::string_view reason, const RecordLog& log) {
  return log.Any() ? std::string(reason) + ": " + log.Joined() : std::string(reason);
}

}  // namespace lumetra
