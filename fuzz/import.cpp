// Raw and BMP import on any bytes: a 16-byte head chooses the window's fields
// (type, depth, byte order, width, height, offset, frame header, files in a
// sequence) and the rest is the source. Every frame of a raw import holds the
// source's pixels at the place the fields say; bitmaps give 8-bit frames of
// the size asked for; nothing is written past an offset beyond the file.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "record/raw_import.h"
#include "record/xkv_reader.h"

namespace lumetra {
namespace {

// An import of a little-endian raw file never ends by itself (it repeats the
// last data until Esc or 9999 frames): the "user" presses Esc after this many.
constexpr int32_t kStopAfter = 12;
constexpr int32_t kIntervalMs = 40;

// Presses Esc once enough frames were written.
class EscAfter final : public Reporter {
 public:
  explicit EscAfter(std::atomic<bool>& stop) : stop_(stop) {}
  void Report(MessageKind kind, std::string_view) override {
    if (kind == MessageKind::kModal) ++modals;
    if (kind == MessageKind::kStatus && ++frames >= kStopAfter) stop_ = true;
  }
  int32_t frames = 0, modals = 0;

 private:
  std::atomic<bool>& stop_;
};

// The pixels one raw frame should hold, read as the import reads the file:
// skips are seeks (past the end too), 1-byte and big-endian frames need all
// their bytes, a little-endian frame takes what is left over the last data.
class RawModel {
 public:
  RawModel(const uint8_t* data, size_t size, const ImportSettings& s)
      : data_(data),
        size_(static_cast<int64_t>(size)),
        s_(s),
        n_(static_cast<size_t>(s.width) * s.height),
        last_(2 * n_, 0) {}
  void Skip(int64_t bytes) {
    if (bytes > 0) pos_ = pos_ > INT64_MAX - bytes ? INT64_MAX : pos_ + bytes;
  }
  // False when the frame cannot be read (the import ends there).
  bool Frame(std::vector<uint16_t>& out, bool& short_read) {
    const int64_t left = std::max<int64_t>(0, size_ - std::min(pos_, size_));
    const int64_t want = static_cast<int64_t>((s_.two_bytes ? 2 : 1) * n_);
    short_read = left < want;
    out.resize(n_);
    if (!s_.two_bytes || !s_.little_endian) {
      if (short_read) return false;
      for (size_t i = 0; i < n_; ++i)
        out[i] = s_.two_bytes
                     ? static_cast<uint16_t>(data_[pos_ + 2 * i] * 256 + data_[pos_ + 2 * i + 1])
                     : data_[pos_ + i];
      pos_ += want;
      return true;
    }
    const int64_t got = std::min(left, want);
    if (got > 0) {
      std::copy(data_ + pos_, data_ + pos_ + got, last_.begin());
      pos_ += got;
    }
    for (size_t i = 0; i < n_; ++i)
      out[i] = static_cast<uint16_t>(last_[2 * i] | (last_[2 * i + 1] << 8));
    return true;
  }

 private:
  const uint8_t* data_;
  int64_t size_;
  const ImportSettings& s_;
  size_t n_;
  std::vector<uint8_t> last_;
  int64_t pos_ = 0;
};

struct Source {
  const uint8_t* data;
  size_t size;
};

// Reads the XKV record the import wrote: its frames in order.
std::vector<std::vector<uint16_t>> ReadOutput(const std::string& path, const ImportSettings& s) {
  std::vector<std::vector<uint16_t>> frames;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  FUZZ_CHECK(f != nullptr);
  static std::vector<uint16_t> frame(kMaxFramePixels);
  static std::vector<uint8_t> bytes(kMaxFramePixels);
  PRM_INFO prm = DefaultPrmInfo();
  ADD_INFO add;
  NullReporter quiet;
  FrameReadStatus st;
  while ((st = ReadXKVFrame(f, prm, add, frame.data(), bytes.data(), quiet)) ==
         FrameReadStatus::kOk) {
    FUZZ_CHECK(prm.Width == s.width && prm.Height == s.height);
    FUZZ_CHECK(prm.TimeMs == kIntervalMs * static_cast<int32_t>(frames.size()));
    frames.emplace_back(frame.begin(), frame.begin() + static_cast<size_t>(s.width) * s.height);
  }
  FUZZ_CHECK(st == FrameReadStatus::kEndOfRecord);
  std::fclose(f);
  return frames;
}

void CheckRaw(const ImportRun& run, const std::vector<Source>& files, const ImportResult& result,
              const std::vector<std::vector<uint16_t>>& out) {
  const ImportSettings& s = run.settings;
  std::vector<std::vector<uint16_t>> expect;
  std::vector<uint16_t> frame;
  bool short_read = false;
  if (run.type == ImportType::kRawFile) {
    RawModel model(files[0].data, files[0].size, s);
    model.Skip(s.offset);
    while (static_cast<int32_t>(expect.size()) < kStopAfter) {
      model.Skip(s.frame_header);
      if (!model.Frame(frame, short_read)) break;
      expect.push_back(frame);
    }
  } else {
    for (const Source& file : files) {
      RawModel model(file.data, file.size, s);
      model.Skip(s.offset);
      model.Skip(s.frame_header);
      if (!model.Frame(frame, short_read) || short_read) break;
      expect.push_back(frame);
    }
  }
  FUZZ_CHECK(result.frames_written == static_cast<int32_t>(expect.size()));
  FUZZ_CHECK(out == expect);
}

}  // namespace
}  // namespace lumetra

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace lumetra;
  fuzz::Bytes in(data, size);
  ImportRun run;
  const uint8_t kind = in.U8();
  run.type = static_cast<ImportType>(kind % 3);
  ImportSettings& s = run.settings;
  s.two_bytes = kind & 4;
  s.little_endian = kind & 8;
  run.save_2bytes = kind & 16;
  s.width = 5 + in.U8() % 28;
  s.height = 5 + in.U8() % 28;
  s.interval_ms = kIntervalMs;
  s.offset = static_cast<int64_t>(in.U64());
  s.frame_header = static_cast<int32_t>(in.U32());
  const size_t count = run.type == ImportType::kRawFile ? 1 : 1 + in.U8() % 3;

  // The source files: one raw file, or a numbered sequence sharing the rest.
  fuzz::ClearScratch();
  const char* ext = run.type == ImportType::kBmpSequence ? ".bmp" : ".raw";
  std::vector<Source> files;
  const size_t part = in.RestSize() / count;
  for (size_t i = 0; i < count; ++i) {
    const size_t n = i + 1 == count ? in.RestSize() - part * i : part;
    files.push_back({in.Rest() + part * i, n});
    fuzz::WriteScratch("f000" + std::to_string(i) + ext, files.back().data, n);
  }
  const std::string out_path = fuzz::ScratchDir() + "/out.xkv";

  std::atomic<bool> stop{false};
  run.stop = &stop;
  EscAfter reporter(stop);
  const ImportResult result =
      RunImport(run, fuzz::ScratchDir() + "/f0000" + ext, out_path, reporter);
  FUZZ_CHECK(result.frames_written <= kStopAfter);
  FUZZ_CHECK(result.frames_written == reporter.frames);
  if (run.type == ImportType::kRawFile && s.offset > static_cast<int64_t>(files[0].size)) {
    // Nothing is imported from beyond the end, and the user is told.
    FUZZ_CHECK(!result.ok && result.frames_written == 0 && reporter.modals == 1);
    return 0;
  }
  FUZZ_CHECK(result.ok || run.type == ImportType::kBmpSequence);
  const std::vector<std::vector<uint16_t>> out = ReadOutput(out_path, s);
  FUZZ_CHECK(static_cast<int32_t>(out.size()) == result.frames_written);
  if (run.type == ImportType::kBmpSequence) {
    FUZZ_CHECK(out.size() <= count);
    for (const std::vector<uint16_t>& frame : out)
      FUZZ_CHECK(*std::max_element(frame.begin(), frame.end()) <= 255);
    // A bitmap that is refused is said to be.
    if (!result.ok) FUZZ_CHECK(reporter.modals == 1);
    return 0;
  }
  CheckRaw(run, files, result, out);
  return 0;
}
