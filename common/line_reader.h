// Text tables read one line at a time with a cap on the line length, so that
// an endless or binary input (a device, a file without line ends) is refused
// at the line it breaks on instead of filling the memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/file_handle.h"

namespace lumetra {

// The tab-separated fields of a line; an empty line gives one empty field.
std::vector<std::string_view> SplitTabs(std::string_view line);

class LineSource {
 public:
  virtual ~LineSource() = default;
  // The next line without its line feed. False at the end of the text, or on
  // a failure, which Error() then names ("line 3 is longer than ...").
  virtual bool Next(std::string_view& line) = 0;
  const std::string& Error() const { return error_; }

 protected:
  std::string error_;
};

// The lines of a text held in memory; a last line without a line feed counts.
class TextLines final : public LineSource {
 public:
  explicit TextLines(std::string_view text) : text_(text) {}
  bool Next(std::string_view& line) override;

 private:
  std::string_view text_;
  size_t pos_ = 0;
};

// The lines of a file, read in blocks; a last line without a line feed counts.
class FileLines final : public LineSource {
 public:
  // Far beyond any line of a table of numbers.
  static constexpr size_t kMaxLineBytes = 65536;

  // False with Error() set to the path and the system's reason.
  bool Open(const std::string& path);
  bool Next(std::string_view& line) override;

 private:
  FileHandle file_;
  std::string line_;
  char block_[65536];
  size_t pos_ = 0, len_ = 0;
  int64_t line_no_ = 0;
};

}  // namespace lumetra
