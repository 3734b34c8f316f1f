// Small records built in the tests: frames written with the XKV frame writer
// into a scratch folder, and read back frame by frame.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/report.h"
#include "record/record_store.h"
#include "record/xkv_format.h"

namespace lumetra::test {

struct TestFrame {
  PRM_INFO prm;
  std::vector<uint16_t> pixels;
};

// A folder that lives as long as the object.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

 private:
  std::filesystem::path dir_;
};

// A header for a w x h frame with the given time stamp (ms).
PRM_INFO TestHeader(int32_t w, int32_t h, int32_t time_ms);

// Writes frames (each w x h, row-major) with time stamps 100 ms apart unless
// `times_ms` is given.
void WriteRecord(const std::string& path, int32_t w, int32_t h,
                 const std::vector<std::vector<uint16_t>>& frames,
                 const std::vector<int32_t>& times_ms = {});

// Every frame of an XKV file, as the reader gives it.
std::vector<TestFrame> ReadRecord(const std::string& path);

// A frame whose pixel i holds base + i.
std::vector<uint16_t> Ramp(int32_t w, int32_t h, uint16_t base);

std::vector<uint8_t> FileBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes);

// A store with the record opened; the test fails when it cannot be.
std::unique_ptr<RecordStore> OpenRecord(const std::string& path, Reporter& reporter);

// The largest whole number whose square is at most n (0 <= n < 2^44).
int64_t IntSqrt(int64_t n);

}  // namespace lumetra::test
