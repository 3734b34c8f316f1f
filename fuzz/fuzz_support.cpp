#include "fuzz/fuzz_support.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace lumetra::fuzz {
namespace {

namespace fs = std::filesystem;

struct Scratch {
  std::string path;
  Scratch() {
    // Memory-backed where there is one: a fuzzer writes its input thousands
    // of times a second, which a disk's file system turns into waiting.
    std::error_code ec;
    const fs::path base =
        access("/dev/shm", W_OK) == 0 ? fs::path("/dev/shm") : fs::temp_directory_path(ec);
    path = (base / ("lumetra-fuzz-" + std::to_string(getpid()))).string();
    fs::remove_all(path, ec);
    fs::create_directories(path, ec);
  }
  ~Scratch() {
    std::error_code ec;
    fs::remove_all(path, ec);
  }
};

}  // namespace

void Fail(const char* what, const char* file, int line) {
  std::fprintf(stderr, "fuzz invariant broken at %s:%d: %s\n", file, line, what);
  std::fflush(stderr);
  std::abort();
}

const std::string& ScratchDir() {
  static Scratch scratch;
  return scratch.path;
}

void ClearScratch() {
  std::error_code ec;
  for (const fs::directory_entry& e : fs::directory_iterator(ScratchDir(), ec))
    fs::remove_all(e.path(), ec);
}

std::string WriteScratch(std::string_view name, const uint8_t* data, size_t size) {
  const std::string path = ScratchDir() + "/" + std::string(name);
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) Fail("scratch file can be written", __FILE__, __LINE__);
  if (size > 0 && std::fwrite(data, 1, size, f) != size)
    Fail("scratch file is written whole", __FILE__, __LINE__);
  std::fclose(f);
  return path;
}

void ReadBothWays(const uint8_t* data, size_t size, const TableRead& read) {
  if (size == 0) return;
  const uint8_t which = data[0];
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  bool text_ok = false, file_ok = false;
  TextLines in_memory(text);
  const std::string from_text = read(which, in_memory, text_ok);
  FileLines file;
  FUZZ_CHECK(file.Open(WriteScratch("table.tsv", data + 1, size - 1)));
  const std::string from_file = read(which, file, file_ok);
  bool long_line = false;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    long_line = long_line || end - at > FileLines::kMaxLineBytes;
    at = end + 1;
  }
  if (long_line) {
    FUZZ_CHECK(!file_ok);
  } else {
    FUZZ_CHECK(text_ok == file_ok);
    FUZZ_CHECK(from_text == from_file);
  }
}

uint32_t Bytes::U32() {
  uint32_t v = 0;
  for (int i = 0; i < 4; ++i) v |= static_cast<uint32_t>(U8()) << (8 * i);
  return v;
}

uint64_t Bytes::U64() {
  const uint64_t lo = U32();
  return lo | (static_cast<uint64_t>(U32()) << 32);
}

}  // namespace lumetra::fuzz
