// What every fuzz target shares: the libFuzzer entry point each one defines,
// the check that turns a broken invariant into a crash the fuzzer keeps, and
// a scratch folder for the readers that take a path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "common/line_reader.h"

// Defined once per target. libFuzzer calls it with each input it makes; the
// replay program of the test suite calls it with every kept input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// An invariant of the reader: when it does not hold, the input is a defect.
#define FUZZ_CHECK(cond)                                           \
  do {                                                             \
    if (!(cond)) ::lumetra::fuzz::Fail(#cond, __FILE__, __LINE__); \
  } while (0)

namespace lumetra::fuzz {

// Prints what failed and aborts, so the fuzzer saves the input as a crash.
[[noreturn]] void Fail(const char* what, const char* file, int line);

// This process's scratch folder (made on first use, removed at exit).
const std::string& ScratchDir();
// Removes every file of the scratch folder: a sequence import must not find
// the files an earlier input left.
void ClearScratch();
// Writes `size` bytes to NAME in the scratch folder and returns its path.
std::string WriteScratch(std::string_view name, const uint8_t* data, size_t size);

// Runs a table reader over the input twice, from memory and from a file
// whose lines the reader caps, and checks that both give the same. The first
// byte picks the reader (`read` gets it, reads the lines, returns what it read
// as text and sets `ok`); the rest is the table. A line beyond the cap is refused.
using TableRead = std::function<std::string(uint8_t which, LineSource& lines, bool& ok)>;
void ReadBothWays(const uint8_t* data, size_t size, const TableRead& read);

// Little-endian reads from the front of an input, 0 past its end.
class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  uint8_t U8() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint32_t U32();
  uint64_t U64();
  // What is left after the fields taken so far.
  const uint8_t* Rest() const { return data_ + pos_; }
  size_t RestSize() const { return size_ - pos_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

}  // namespace lumetra::fuzz
