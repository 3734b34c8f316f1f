#include "tests/processing/test_records.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>

#include "common/file_handle.h"
#include "record/xkv_reader.h"
#include "record/xkv_writer.h"

namespace lumetra::test {

ScratchDir::ScratchDir() {
  static std::atomic<int> counter{0};
  dir_ = std::filesystem::temp_directory_path() /
         ("lumetra_processing_" + std::to_string(getpid()) + "_" + std::to_string(counter++));
  std::filesystem::create_directories(dir_);
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  std::filesystem::remove_all(dir_, ec);
}

PRM_INFO TestHeader(int32_t w, int32_t h, int32_t time_ms) {
  PRM_INFO p = DefaultPrmInfo();
  p.Width = w;
  p.Height = h;
  p.PixelCount = w * h;
  p.TimeMs = time_ms;
  p.X0 = 10;
  p.Y0 = 20;
  return p;
}

void WriteRecord(const std::string& path, int32_t w, int32_t h,
                 const std::vector<std::vector<uint16_t>>& frames,
                 const std::vector<int32_t>& times_ms) {
  FileHandle f = OpenFile(path, "wb");
  ASSERT_TRUE(f);
  for (size_t i = 0; i < frames.size(); ++i) {
    const int32_t t = times_ms.empty() ? static_cast<int32_t>(i) * 100 : times_ms[i];
    ASSERT_TRUE(WriteXKVFrame(f.get(), TestHeader(w, h, t), ADD_INFO{}, frames[i].data(), {}));
  }
}

std::vector<TestFrame> ReadRecord(const std::string& path) {
  std::vector<TestFrame> out;
  FileHandle f = OpenFile(path, "rb");
  if (!f) return out;
  std::vector<uint16_t> frame(kMaxFramePixels);
  std::vector<uint8_t> bytes(kMaxFramePixels);
  PRM_INFO prm;
  ADD_INFO add;
  CollectingReporter r;
  while (ReadXKVFrame(f.get(), prm, add, frame.data(), bytes.data(), r) == FrameReadStatus::kOk)
    out.push_back({prm, std::vector<uint16_t>(frame.begin(), frame.begin() + prm.PixelCount)});
  return out;
}

std::vector<uint16_t> Ramp(int32_t w, int32_t h, uint16_t base) {
  std::vector<uint16_t> v(static_cast<size_t>(w) * h);
  for (size_t i = 0; i < v.size(); ++i) v[i] = static_cast<uint16_t>(base + i);
  return v;
}

std::vector<uint8_t> FileBytes(const std::string& path) {
  std::vector<uint8_t> out;
  FileHandle f = OpenFile(path, "rb");
  if (!f) return out;
  int c;
  while ((c = std::getc(f.get())) != EOF) out.push_back(static_cast<uint8_t>(c));
  return out;
}

void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  FileHandle f = OpenFile(path, "wb");
  ASSERT_TRUE(f);
  ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), f.get()), bytes.size());
}

std::unique_ptr<RecordStore> OpenRecord(const std::string& path, Reporter& reporter) {
  auto store = RecordStore::Create(reporter);
  EXPECT_TRUE(store);
  if (store) {
    EXPECT_TRUE(store->Open(path, reporter));
  }
  return store;
}

int64_t IntSqrt(int64_t n) {
  int64_t lo = 0, hi = int64_t{1} << 22;
  while (lo < hi) {
    const int64_t mid = (lo + hi + 1) / 2;
    if (mid * mid <= n)
      lo = mid;
    else
      hi = mid - 1;
  }
  return lo;
}

}  // namespace lumetra::test
