// One TIFF file opened through libtiff, and one page of it: its layout read
// from the directory tags and checked before anything is allocated, and its
// pixels decoded row piece by row piece. libtiff's own messages are kept per
// file (never printed) so the caller can name them.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

typedef struct tiff TIFF;

namespace lumetra {

// True for "II*\0", "MM\0*" (classic TIFF) and "II+\0", "MM\0+" (BigTIFF).
bool IsTiffMagic(const uint8_t* first4);

enum class SampleKind { kUint, kInt, kFloat };

struct TiffPageLayout {
  uint32_t width = 0, height = 0;  // pixels
  uint16_t bits = 0;               // bits per sample
  SampleKind kind = SampleKind::kUint;
  uint16_t compression = 1;
  bool tiled = false;
  uint32_t tile_width = 0, tile_height = 0;  // pixels (tiled)
  uint32_t rows_per_strip = 0;               // rows (stripped)
  uint64_t piece_bytes = 0;                  // bytes of one decoded strip or tile
  // 8- and 16-bit unsigned pages are counts as they are; all else is converted.
  bool Direct() const { return kind == SampleKind::kUint && (bits == 8 || bits == 16); }
  uint32_t BytesPerSample() const { return bits / 8u; }
};

class TiffFile {
 public:
  TiffFile();
  ~TiffFile();
  TiffFile(const TiffFile&) = delete;
  TiffFile& operator=(const TiffFile&) = delete;

  // Opens `path` at its first page; false with Error() set.
  bool Open(const std::string& path);
  void Close();
  bool IsOpen() const { return tif_ != nullptr; }
  TIFF* Handle() const { return tif_; }
  uint64_t FileBytes() const { return file_bytes_; }
  // libtiff's last error on this file ("" when none), cleared by TakeError.
  std::string TakeError();
  bool HasError() const { return !error_.empty(); }
  // libtiff's first warning since the last TakeWarning ("" when none).
  std::string TakeWarning();

  // The current page's layout, or nothing with `reason` set: a layout the
  // reader does not take (several samples, 12 bits, an unknown compression),
  // a frame above kMaxFramePixels, or a strip or tile that lies past the end
  // of the file. Reads tags only.
  std::optional<TiffPageLayout> CheckPage(std::string& reason);

  // Decodes the current page, calling sink(y, x, n, samples) for each run of
  // `n` samples of row `y` from column `x` (native byte order). Pieces go
  // through `scratch`, sized here once for the largest piece; with `direct16`
  // non-null, whole-width 16-bit strips are decoded straight into it instead.
  template <typename Sink>
  bool Decode(const TiffPageLayout& l, std::vector<uint8_t>& scratch, uint16_t* direct16,
              Sink&& sink);

  static int OnError(TIFF*, void* user, const char* module, const char* fmt, va_list ap);

 private:
  bool ReadPiece(const TiffPageLayout& l, uint32_t piece, void* to, uint64_t bytes);

  // The file as libtiff sees it: reads through a small buffer, see tiff_page.cpp.
  struct Input;
  std::unique_ptr<Input> input_;
  TIFF* tif_ = nullptr;
  std::string error_;
  std::string warning_;
  uint64_t file_bytes_ = 0;
};

template <typename Sink>
bool TiffFile::Decode(const TiffPageLayout& l, std::vector<uint8_t>& scratch, uint16_t* direct16,
                      Sink&& sink) {
  if (scratch.size() < l.piece_bytes) scratch.resize(l.piece_bytes);
  const uint32_t bps = l.BytesPerSample();
  if (!l.tiled) {
    const uint32_t rps = l.rows_per_strip;
    for (uint32_t y0 = 0, s = 0; y0 < l.height; y0 += rps, ++s) {
      const uint32_t rows = std::min(rps, l.height - y0);
      const uint64_t bytes = static_cast<uint64_t>(rows) * l.width * bps;
      if (direct16 && l.bits == 16 && l.kind == SampleKind::kUint) {
        if (!ReadPiece(l, s, direct16 + static_cast<uint64_t>(y0) * l.width, bytes)) return false;
        continue;
      }
      if (!ReadPiece(l, s, scratch.data(), bytes)) return false;
      for (uint32_t r = 0; r < rows; ++r)
        sink(y0 + r, 0u, l.width, scratch.data() + static_cast<uint64_t>(r) * l.width * bps);
    }
    return true;
  }
  for (uint32_t ty = 0, t = 0; ty < l.height; ty += l.tile_height) {
    for (uint32_t tx = 0; tx < l.width; tx += l.tile_width, ++t) {
      if (!ReadPiece(l, t, scratch.data(), l.piece_bytes)) return false;
      const uint32_t rows = std::min(l.tile_height, l.height - ty);
      const uint32_t cols = std::min(l.tile_width, l.width - tx);
      for (uint32_t r = 0; r < rows; ++r)
        sink(ty + r, tx, cols,
             scratch.data() + static_cast<uint64_t>(r) * l.tile_width * bps);
    }
  }
  return true;
}

}  // namespace lumetra
