// Owning handle for a stdio file: the record store and the writers keep files
// open across calls, and a handle closes itself on every path out.
#pragma once

#include <cstdio>
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

}  // namespace lumetra
