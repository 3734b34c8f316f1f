#include "record/raw_import.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <limits>
#include <new>
#include <vector>

#include "common/file_handle.h"
#include "common/text_format.h"
#include "record/xkv_writer.h"

namespace lumetra {
namespace {

bool SetSize(ImportSettings& s, std::string_view text, bool width, Reporter& reporter) {
  const auto v = ParseInteger(text);
  if (!v || *v < 5) {
    reporter.Modal(width ? kImageWidthTooSmall : kImageHeightTooSmall);
    return false;
  }
  const int64_t other = width ? s.height : s.width;
  if (*v > kMaxFramePixels || *v * other > kMaxFramePixels) {
    reporter.Modal(kImageSizeTooBig);
    return false;
  }
  (width ? s.width : s.height) = static_cast<int32_t>(*v);
  return true;
}

bool SetScale(float& field, std::string_view text, std::string_view message, Reporter& reporter) {
  const auto v = ParseReal(text);
  if (!v || !(*v >= 0.001 && *v <= 1'000'000.0)) {
    reporter.Modal(message);
    return false;
  }
  field = static_cast<float>(*v);
  return true;
}

bool SetSkip(int64_t& field, std::string_view text, std::string_view message, Reporter& reporter) {
  const auto v = ParseInteger(text);
  if (!v || *v < 0) {
    reporter.Modal(message);
    return false;
  }
  field = *v;
  return true;
}

// Skips n bytes of the source. A source that can seek (a file, a device) is
// sought over, so a huge offset costs nothing; a pipe is read forwards in
// blocks, and Esc ends that. False at the end of the source or on Esc.
bool SkipBytes(std::FILE* f, int64_t n, const std::atomic<bool>* stop) {
  if (n <= 0) return true;
  if (n <= static_cast<int64_t>(std::numeric_limits<off_t>::max()) &&
      fseeko(f, static_cast<off_t>(n), SEEK_CUR) == 0)
    return true;
  std::array<char, 65536> block;
  while (n > 0) {
    if (stop && stop->load()) return false;
    const size_t want = static_cast<size_t>(std::min<int64_t>(n, block.size()));
    const size_t got = std::fread(block.data(), 1, want, f);
    n -= static_cast<int64_t>(got);
    if (got < want) return false;
  }
  return true;
}

// Bytes left in a regular file from the current position, or -1 when the
// source has no size (a pipe, a device).
int64_t BytesLeft(std::FILE* f) {
  struct stat info {};
  const off_t at = ftello(f);
  if (at < 0 || fstat(fileno(f), &info) != 0 || !S_ISREG(info.st_mode)) return -1;
  return static_cast<int64_t>(info.st_size) - at;
}

}  // namespace

bool SetImportWidth(ImportSettings& s, std::string_view text, Reporter& reporter) {
  return SetSize(s, text, true, reporter);
}
bool SetImportHeight(ImportSettings& s, std::string_view text, Reporter& reporter) {
  return SetSize(s, text, false, reporter);
}
bool SetImportInterval(ImportSettings& s, std::string_view text, Reporter& reporter) {
  const auto v = ParseInteger(text);
  if (!v || *v < 1 || *v > 1'000'000) {
    reporter.Modal(kWrongTimeInterval);
    return false;
  }
  s.interval_ms = static_cast<int32_t>(*v);
  return true;
}
bool SetImportScaleX(ImportSettings& s, std::string_view text, Reporter& reporter) {
  return SetScale(s.scale_x, text, kScaleXOutOfOrder, reporter);
}
bool SetImportScaleY(ImportSettings& s, std::string_view text, Reporter& reporter) {
  return SetScale(s.scale_y, text, kScaleYOutOfOrder, reporter);
}
bool SetImportOffset(ImportSettings& s, std::string_view text, Reporter& reporter) {
  return SetSkip(s.offset, text, kOffsetNegative, reporter);
}
bool SetImportFrameHeader(ImportSettings& s, std::string_view text, Reporter& reporter) {
  return SetSkip(s.frame_header, text, kFrameHeaderNegative, reporter);
}

PRM_INFO ImportHeader(const ImportSettings& s, const PRM_INFO& header_template) {
  PRM_INFO p = header_template;
  p.PixelCount = s.width * s.height;
  p.TimeMs = 0;
  p.Width = s.width;
  p.Height = s.height;
  p.ExposureMs = s.interval_ms;
  p.X0 = 0;
  p.Y0 = 0;
  p.ScaleX = s.scale_x;
  p.ScaleY = s.scale_y;
  p.Flags = 0;
  p.AddInfoFlag = 0;
  return p;
}

std::string SequenceFileName(const std::string& first, int32_t k) {
  if (k == 0) return first;
  // The number is the last run of digits in the file name before its extension.
  const size_t name_start =
      first.find_last_of('/') == std::string::npos ? 0 : first.find_last_of('/') + 1;
  size_t stem_end = first.find_last_of('.');
  if (stem_end == std::string::npos || stem_end < name_start) stem_end = first.size();
  size_t end = stem_end;
  while (end > name_start && !std::isdigit(static_cast<unsigned char>(first[end - 1]))) --end;
  size_t begin = end;
  while (begin > name_start && std::isdigit(static_cast<unsigned char>(first[begin - 1]))) --begin;
  if (begin == end || end - begin > 9) return {};
  const int64_t number = std::stoll(first.substr(begin, end - begin)) + k;
  if (number > kLastSequenceNumber) return {};
  std::string digits = std::to_string(number);
  if (digits.size() < end - begin) digits.insert(0, end - begin - digits.size(), '0');
  return first.substr(0, begin) + digits + first.substr(end);
}

namespace {

enum class BmpRead { kOk, kOpenFailed, kUnsupported };

uint32_t Le32(const std::vector<uint8_t>& b, size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}

// Integer luminance of a colour, so a grey bitmap gives back its own values.
uint16_t Grey(uint8_t r, uint8_t g, uint8_t b) {
  return static_cast<uint16_t>((299 * r + 587 * g + 114 * b + 500) / 1000);
}

// Reads an uncompressed 8-bit (palette), 24-bit or 32-bit bitmap as grey
// counts 0..255, row 0 at the top, into `grey` (width x height).
// The whole file, up to `limit` bytes; false when it cannot be opened or is longer.
bool ReadWholeFile(const std::string& path, size_t limit, std::vector<uint8_t>& b,
                   bool& open_failed) {
  FileHandle f = OpenFile(path, "rb");
  open_failed = !f;
  if (!f) return false;
  std::array<uint8_t, 65536> chunk;
  size_t got;
  b.clear();
  while ((got = std::fread(chunk.data(), 1, chunk.size(), f.get())) > 0) {
    b.insert(b.end(), chunk.begin(), chunk.begin() + got);
    if (b.size() > limit) return false;
  }
  return true;
}

BmpRead ReadBmpGrey(const std::string& path, int32_t& width, int32_t& height,
                    std::vector<uint16_t>& grey) {
  std::vector<uint8_t> b;
  bool open_failed = false;
  // The largest bitmap of a 4-Mpix frame: 32 bits per pixel plus headers.
  if (!ReadWholeFile(path, 4u * kMaxFramePixels + 2048, b, open_failed))
    return open_failed ? BmpRead::kOpenFailed : BmpRead::kUnsupported;
  if (b.size() < 54 || b[0] != 'B' || b[1] != 'M') return BmpRead::kUnsupported;
  const uint32_t data = Le32(b, 10), info = Le32(b, 14);
  const auto w = static_cast<int32_t>(Le32(b, 18)), h = static_cast<int32_t>(Le32(b, 22));
  const uint32_t bits = b[28] | (b[29] << 8), compression = Le32(b, 30);
  const bool bitfields = compression == 3 && bits == 32;
  if (info < 40 || (compression != 0 && !bitfields) || (bits != 8 && bits != 24 && bits != 32))
    return BmpRead::kUnsupported;
  const int64_t rows = h < 0 ? -static_cast<int64_t>(h) : h;
  if (w <= 0 || rows <= 0 || static_cast<int64_t>(w) * rows > kMaxFramePixels)
    return BmpRead::kUnsupported;
  const size_t stride = ((static_cast<size_t>(w) * bits + 31) / 32) * 4;
  if (data > b.size() || stride * rows > b.size() - data) return BmpRead::kUnsupported;
  std::array<uint16_t, 256> palette{};
  if (bits == 8) {
    const size_t at = 14 + info;
    for (size_t i = 0; i < 256 && at + 4 * i + 3 <= data; ++i)
      palette[i] = Grey(b[at + 4 * i + 2], b[at + 4 * i + 1], b[at + 4 * i]);
  }
  width = w;
  height = static_cast<int32_t>(rows);
  grey.resize(static_cast<size_t>(w) * rows);
  const size_t step = bits / 8;
  for (int64_t y = 0; y < rows; ++y) {
    // Positive heights store the bottom row first.
    const int64_t file_row = h < 0 ? y : rows - 1 - y;
    const uint8_t* src = b.data() + data + static_cast<size_t>(file_row) * stride;
    uint16_t* dst = grey.data() + static_cast<size_t>(y) * w;
    for (int32_t x = 0; x < w; ++x, src += step)
      dst[x] = bits == 8 ? palette[src[0]] : Grey(src[2], src[1], src[0]);
  }
  return BmpRead::kOk;
}

// Reads one frame of n raw pixels at the current position. 1 byte per pixel
// and big-endian 2-byte frames report a short read; little-endian frames are
// read whole into `bytes` and only the bytes read replace the old ones, so at
// the end of the source the last data keep being written again.
bool ReadRawPixels(std::FILE* f, const ImportSettings& s, std::vector<uint8_t>& bytes,
                   uint16_t* frame, size_t n, bool& short_read) {
  short_read = false;
  if (!s.two_bytes) {
    if (std::fread(bytes.data(), 1, n, f) != n) return false;
    for (size_t i = 0; i < n; ++i) frame[i] = bytes[i];
    return true;
  }
  if (!s.little_endian) {
    for (size_t i = 0; i < n; ++i) {
      const int a = std::getc(f);
      const int c = std::getc(f);
      if (a == EOF || c == EOF) return false;
      frame[i] = static_cast<uint16_t>(a * 256 + c);
    }
    return true;
  }
  short_read = std::fread(bytes.data(), 1, 2 * n, f) != 2 * n;
  for (size_t i = 0; i < n; ++i)
    frame[i] = static_cast<uint16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
  return true;
}

// The output side of an import: the XKV file, its header and frame count.
struct ImportSink {
  const ImportRun& run;
  Reporter& reporter;
  FileHandle out;
  PRM_INFO prm;
  ImportResult result;
  bool write_failed = false;

  // Writes one frame, advances the time stamp and shows the progress. False
  // when the import must end (Esc, the frame limit, or a write error).
  bool Write(const uint16_t* frame) {
    FrameWriteOptions options;  // the rectangle is inactive: whole frames
    options.save_2bytes = run.save_2bytes;
    if (!WriteXKVFrame(out.get(), prm, ADD_INFO{}, frame, options)) {
      reporter.Modal(kImportWriteError);
      write_failed = true;
      return false;
    }
    prm.TimeMs += run.settings.interval_ms;
    ++result.frames_written;
    reporter.Status(std::to_string(result.frames_written) + std::string(kFramesWrittenSuffix));
    if (run.stop && run.stop->load()) {
      result.stopped = true;
      return false;
    }
    // A sequence ends at its last number instead.
    return run.type != ImportType::kRawFile || result.frames_written + 1 < kImportFrameLimit;
  }
};

void ImportRawFile(std::FILE* src, ImportSink& sink, std::vector<uint8_t>& bytes,
                   std::vector<uint16_t>& frame) {
  const ImportSettings& s = sink.run.settings;
  const size_t n = static_cast<size_t>(s.width) * static_cast<size_t>(s.height);
  SkipBytes(src, s.offset, sink.run.stop);
  for (int32_t f = 1; f < kImportFrameLimit; ++f) {
    SkipBytes(src, s.frame_header, sink.run.stop);
    bool short_read = false;
    if (!ReadRawPixels(src, s, bytes, frame.data(), n, short_read)) break;
    if (short_read && sink.result.source_short_at == 0) sink.result.source_short_at = f;
    if (!sink.Write(frame.data())) break;
  }
}

// One frame per file: raw files (offset and frame header skipped in each) or
// bitmaps. Ends at the first name that cannot be opened, a short read or Esc.
bool ImportSequence(const std::string& first, ImportSink& sink, std::vector<uint8_t>& bytes,
                    std::vector<uint16_t>& frame) {
  const ImportSettings& s = sink.run.settings;
  const size_t n = static_cast<size_t>(s.width) * static_cast<size_t>(s.height);
  // Every number up to 9999 (SequenceFileName gives none beyond it).
  for (int32_t k = 0; k <= kLastSequenceNumber; ++k) {
    const std::string name = SequenceFileName(first, k);
    if (name.empty()) break;
    if (sink.run.type == ImportType::kBmpSequence) {
      int32_t w = 0, h = 0;
      const BmpRead st = ReadBmpGrey(name, w, h, frame);
      if (st == BmpRead::kOpenFailed) break;
      if (st == BmpRead::kUnsupported || w != s.width || h != s.height) {
        sink.reporter.Modal(st == BmpRead::kUnsupported ? kBmpNotSupported : kBmpSizeDiffers);
        return false;
      }
    } else {
      FileHandle src = OpenFile(name, "rb");
      if (!src) break;
      bool short_read = false;
      if (!SkipBytes(src.get(), s.offset, sink.run.stop) ||
          !SkipBytes(src.get(), s.frame_header, sink.run.stop) ||
          !ReadRawPixels(src.get(), s, bytes, frame.data(), n, short_read) || short_read)
        break;
    }
    if (!sink.Write(frame.data())) break;
  }
  return true;
}

}  // namespace

ImportResult RunImport(const ImportRun& run, const std::string& source, const std::string& out_path,
                       Reporter& reporter) {
  const ImportSettings& s = run.settings;
  // Settings that bypassed the field checks still must not size a frame wrongly.
  if (s.width < 5 || s.height < 5 || static_cast<int64_t>(s.width) * s.height > kMaxFramePixels) {
    reporter.Modal(s.width < 5 ? kImageWidthTooSmall
                               : (s.height < 5 ? kImageHeightTooSmall : kImageSizeTooBig));
    return {};
  }
  ImportSink sink{run, reporter, nullptr, ImportHeader(s, run.header_template), {}};
  FileHandle src = OpenFile(source, "rb");
  if (!src) {
    reporter.Modal(kImportRawOpenError);
    return {};
  }
  std::error_code ec;
  if (std::filesystem::equivalent(source, out_path, ec)) {
    reporter.Modal(kImportOutputIsSource);
    return {};
  }
  // An offset past the end of the file would leave nothing to import (and a
  // little-endian import would write 9999 empty frames).
  if (run.type == ImportType::kRawFile) {
    const int64_t size = BytesLeft(src.get());
    if (size >= 0 && s.offset > size) {
      reporter.Modal(std::string(kOffsetBeyondSource) + " (" + std::to_string(s.offset) +
                     " bytes, the file holds " + std::to_string(size) + ")");
      return {};
    }
  }
  if (run.type != ImportType::kRawFile) src.reset();
  sink.out = OpenFile(out_path, "wb");
  if (!sink.out) {
    reporter.Modal(kImportXkvOpenError);
    return {};
  }
  const size_t n = static_cast<size_t>(s.width) * static_cast<size_t>(s.height);
  std::vector<uint8_t> bytes;
  std::vector<uint16_t> frame;
  try {
    bytes.assign(2 * n, 0);
    frame.assign(n, 0);
  } catch (const std::bad_alloc&) {
    reporter.Modal(kImageSizeTooBig);
    return {};
  }
  bool ok = true;
  if (run.type == ImportType::kRawFile)
    ImportRawFile(src.get(), sink, bytes, frame);
  else
    ok = ImportSequence(source, sink, bytes, frame);
  if (std::fclose(sink.out.release()) != 0 && !sink.write_failed) {
    reporter.Modal(kImportWriteError);
    sink.write_failed = true;
  }
  sink.result.ok = ok && !sink.write_failed;
  return sink.result;
}

}  // namespace lumetra
