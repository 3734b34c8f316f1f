// What the commands that stream a record share: "what: frame i of n" on stderr
// while stderr is a terminal (nothing in a log), and reading a small table.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <iostream>
#include <string>

#include "common/line_reader.h"

namespace lumetra::cli {

class TerminalProgress {
 public:
  explicit TerminalProgress(std::string what) : what_(std::move(what)) {}
  ~TerminalProgress() { Clear(); }
  void operator()(int32_t done, int32_t total) {
    if (!shown_ || (done % 25 != 0 && done != total)) return;
    std::cerr << '\r' << what_ << ": frame " << done << " of " << total << std::flush;
    dirty_ = true;
  }
  void Clear() {
    if (dirty_) std::cerr << '\r' << std::string(60, ' ') << '\r' << std::flush;
    dirty_ = false;
  }

 private:
  std::string what_;
  bool shown_ = isatty(2) != 0;
  bool dirty_ = false;
};

// The lines of a text file joined with line feeds. False with `error` naming
// the file and the reason.
inline bool ReadWholeText(const std::string& path, std::string& text, std::string& error) {
  FileLines lines;
  if (!lines.Open(path)) {
    error = lines.Error();
    return false;
  }
  std::string_view line;
  text.clear();
  while (lines.Next(line)) {
    text += line;
    text += '\n';
  }
  if (!lines.Error().empty()) {
    error = path + ": " + lines.Error();
    return false;
  }
  return true;
}

}  // namespace lumetra::cli
