// Owning handle for a stdio file: the record store and the writers keep files
// open across calls, and a handle closes itself on every path out.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace lumetra {

struct FileCloser {
  void operator()(std::FILE* f) const {
    if (f) std::fclose(f);
  }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

inline FileHandle OpenFile(const std::string& path, const char* mode) {
  return FileHandle(std::fopen(path.c_str(), mode));
}

// What a failed open concerns, for the detail of "File open ERROR": the path
// and the system's reason ("cell3.xkv: No such file or directory"). `err` is
// the errno the failed call left.
inline std::string OpenFailureDetail(const std::string& path, int err) {
  return path + ": " + std::strerror(err);
}

}  // namespace lumetra
