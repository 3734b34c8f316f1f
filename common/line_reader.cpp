#include "common/line_reader.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace lumetra {

std::vector<std::string_view> SplitTabs(std::string_view line) {
  std::vector<std::string_view> out;
  size_t start = 0;
  for (;;) {
    const size_t tab = line.find('\t', start);
    out.push_back(line.substr(start, tab == std::string_view::npos ? tab : tab - start));
    if (tab == std::string_view::npos) return out;
    start = tab + 1;
  }
}

bool TextLines::Next(std::string_view& line) {
  if (pos_ >= text_.size()) return false;
  size_t end = text_.find('\n', pos_);
  if (end == std::string_view::npos) end = text_.size();
  line = text_.substr(pos_, end - pos_);
  pos_ = end + 1;
  return true;
}

bool FileLines::Open(const std::string& path) {
  std::error_code ec;
  // A folder opens for reading here and then fails on the first read.
  const bool folder = std::filesystem::is_directory(path, ec);
  file_ = folder ? nullptr : OpenFile(path, "rb");
  if (!file_) {
    error_ = OpenFailureDetail(path, folder ? EISDIR : errno);
    return false;
  }
  return true;
}

bool FileLines::Next(std::string_view& line) {
  if (!file_ || !error_.empty()) return false;
  line_.clear();
  for (;;) {
    if (pos_ == len_) {
      len_ = std::fread(block_, 1, sizeof block_, file_.get());
      pos_ = 0;
      if (len_ == 0) {
        if (std::ferror(file_.get())) {
          error_ = "line " + std::to_string(line_no_ + 1) + " can not be read";
          return false;
        }
        if (line_.empty()) return false;
        ++line_no_;
        line = line_;
        return true;
      }
    }
    const char* at = block_ + pos_;
    const auto* feed = static_cast<const char*>(std::memchr(at, '\n', len_ - pos_));
    const size_t take = feed ? static_cast<size_t>(feed - at) : len_ - pos_;
    if (line_.size() + take > kMaxLineBytes) {
      error_ = "line " + std::to_string(line_no_ + 1) + " is longer than " +
               std::to_string(kMaxLineBytes) + " bytes";
      return false;
    }
    line_.append(at, take);
    pos_ += take;
    if (feed) {
      ++pos_;
      ++line_no_;
      line = line_;
      return true;
    }
  }
}

}  // namespace lumetra
