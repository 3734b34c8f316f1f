#include "record/tiff_page.h"

#include <tiffio.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "record/xkv_format.h"

namespace lumetra {
namespace {

// No single allocation inside libtiff may exceed this: strip tables and
// decoded pieces of a frame the reader accepts stay far below it.
constexpr tmsize_t kLibtiffAllocLimit = 256 * 1024 * 1024;
// Largest strip or tile the reader decodes (a 2000 x 2000 float frame is 16 MB).
constexpr uint64_t kMaxPieceBytes = 64ull * 1024 * 1024;

std::string SampleName(uint16_t bits, uint16_t format) {
  const char* kind = format == SAMPLEFORMAT_IEEEFP ? "float"
                     : format == SAMPLEFORMAT_INT  ? "signed"
                                                   : "unsigned";
  return std::to_string(bits) + "-bit " + kind;
}

}  // namespace

bool IsTiffMagic(const uint8_t* m) {
  return (m[0] == 'I' && m[1] == 'I' && (m[2] == 42 || m[2] == 43) && m[3] == 0) ||
         (m[0] == 'M' && m[1] == 'M' && m[2] == 0 && (m[3] == 42 || m[3] == 43));
}

TiffFile::~TiffFile() { Close(); }

int TiffFile::OnError(TIFF*, void* user, const char* module, const char* fmt, va_list ap) {
  char text[512];
  std::vsnprintf(text, sizeof text, fmt, ap);
  auto* error = static_cast<std::string*>(user);
  // The first error is the cause; later ones follow from it.
  if (error->empty()) *error = (module && *module ? std::string(module) + ": " : "") + text;
  return 1;  // handled: nothing reaches libtiff's printing handler
}


bool TiffFile::Open(const std::string& path) {
  Close();
  error_.clear();
  warning_.clear();
  std::error_code ec;
  file_bytes_ = std::filesystem::file_size(path, ec);
  if (ec) file_bytes_ = 0;
  TIFFOpenOptions* opts = TIFFOpenOptionsAlloc();
  if (!opts) {
    error_ = "out of memory";
    return false;
  }
  TIFFOpenOptionsSetMaxSingleMemAlloc(opts, kLibtiffAllocLimit);
  TIFFOpenOptionsSetErrorHandlerExtR(opts, &TiffFile::OnError, &error_);
  // Kept, not printed: most warnings are about unknown tags (ImageJ's own),
  // which are not the user's concern; the caller asks where they matter.
  TIFFOpenOptionsSetWarningHandlerExtR(opts, &TiffFile::OnError, &warning_);
  tif_ = TIFFOpenExt(path.c_str(), "r", opts);
  TIFFOpenOptionsFree(opts);
  if (!tif_ && error_.empty()) error_ = std::strerror(errno);
  return tif_ != nullptr;
}

void TiffFile::Close() {
  if (tif_) TIFFClose(tif_);
  tif_ = nullptr;
}

std::string TiffFile::TakeWarning() {
  std::string w = std::move(warning_);
  warning_.clear();
  return w;
}

std::string TiffFile::TakeError() {
  std::string e = std::move(error_);
  error_.clear();
  return e;
}

std::optional<TiffPageLayout> TiffFile::CheckPage(std::string& reason) {
  TiffPageLayout l;
  uint16_t spp = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
  TIFFGetField(tif_, TIFFTAG_IMAGEWIDTH, &l.width);
  TIFFGetField(tif_, TIFFTAG_IMAGELENGTH, &l.height);
  TIFFGetFieldDefaulted(tif_, TIFFTAG_BITSPERSAMPLE, &l.bits);
  TIFFGetFieldDefaulted(tif_, TIFFTAG_SAMPLESPERPIXEL, &spp);
  TIFFGetFieldDefaulted(tif_, TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetFieldDefaulted(tif_, TIFFTAG_PLANARCONFIG, &planar);
  TIFFGetFieldDefaulted(tif_, TIFFTAG_COMPRESSION, &l.compression);
  if (l.width == 0 || l.height == 0) {
    reason = "the page is " + std::to_string(l.width) + " x " + std::to_string(l.height) + " pixels";
    return std::nullopt;
  }
  if (static_cast<uint64_t>(l.width) * l.height > static_cast<uint64_t>(kMaxFramePixels)) {
    reason = std::to_string(l.width) + " x " + std::to_string(l.height) +
             " pixels is above the largest frame of " + std::to_string(kMaxFramePixels);
    return std::nullopt;
  }
  if (spp != 1) {
    reason = std::to_string(spp) + " samples per pixel (colour or interleaved channels) are not read";
    return std::nullopt;
  }
  if (format == SAMPLEFORMAT_VOID) format = SAMPLEFORMAT_UINT;
  const bool ints = format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_INT;
  const bool floats = format == SAMPLEFORMAT_IEEEFP;
  if (!((ints && (l.bits == 8 || l.bits == 16 || l.bits == 32)) ||
        (floats && (l.bits == 32 || l.bits == 64)))) {
    reason = SampleName(l.bits, format) + " samples are not read";
    return std::nullopt;
  }
  l.kind = floats ? SampleKind::kFloat : format == SAMPLEFORMAT_INT ? SampleKind::kInt
                                                                    : SampleKind::kUint;
  if (!TIFFIsCODECConfigured(l.compression)) {
    reason = "compression " + std::to_string(l.compression) + " can not be decoded";
    return std::nullopt;
  }
  l.tiled = TIFFIsTiled(tif_) != 0;
  uint32_t pieces = 0;
  if (l.tiled) {
    TIFFGetField(tif_, TIFFTAG_TILEWIDTH, &l.tile_width);
    TIFFGetField(tif_, TIFFTAG_TILELENGTH, &l.tile_height);
    if (l.tile_width == 0 || l.tile_height == 0) {
      reason = "tiles of 0 pixels";
      return std::nullopt;
    }
    l.piece_bytes = static_cast<uint64_t>(l.tile_width) * l.tile_height * l.BytesPerSample();
    pieces = TIFFNumberOfTiles(tif_);
    const uint64_t need = ((l.width + uint64_t{l.tile_width} - 1) / l.tile_width) *
                          ((l.height + uint64_t{l.tile_height} - 1) / l.tile_height);
    if (pieces < need) {
      reason = std::to_string(pieces) + " tiles, " + std::to_string(need) + " needed";
      return std::nullopt;
    }
  } else {
    TIFFGetFieldDefaulted(tif_, TIFFTAG_ROWSPERSTRIP, &l.rows_per_strip);
    l.rows_per_strip = std::clamp<uint32_t>(l.rows_per_strip, 1, l.height);
    l.piece_bytes = static_cast<uint64_t>(l.rows_per_strip) * l.width * l.BytesPerSample();
    pieces = TIFFNumberOfStrips(tif_);
    const uint64_t need = (l.height + uint64_t{l.rows_per_strip} - 1) / l.rows_per_strip;
    if (pieces < need) {
      reason = std::to_string(pieces) + " strips, " + std::to_string(need) + " needed";
      return std::nullopt;
    }
  }
  if (l.piece_bytes > kMaxPieceBytes) {
    reason = "a strip or tile of " + std::to_string(l.piece_bytes) + " bytes";
    return std::nullopt;
  }
  for (uint32_t i = 0; i < pieces; ++i) {
    const uint64_t at = TIFFGetStrileOffset(tif_, i);
    const uint64_t n = TIFFGetStrileByteCount(tif_, i);
    if (n == 0 || at > file_bytes_ || n > file_bytes_ - at) {
      reason = std::string(l.tiled ? "tile " : "strip ") + std::to_string(i) + " (" +
               std::to_string(n) + " bytes at " + std::to_string(at) +
               ") lies beyond the end of the file (" + std::to_string(file_bytes_) + " bytes)";
      return std::nullopt;
    }
  }
  return l;
}

bool TiffFile::ReadPiece(const TiffPageLayout& l, uint32_t piece, void* to, uint64_t bytes) {
  const tmsize_t got = l.tiled ? TIFFReadEncodedTile(tif_, piece, to, static_cast<tmsize_t>(bytes))
                               : TIFFReadEncodedStrip(tif_, piece, to, static_cast<tmsize_t>(bytes));
  if (got == static_cast<tmsize_t>(bytes)) return true;
  if (error_.empty())
    error_ = std::string(l.tiled ? "tile " : "strip ") + std::to_string(piece) + " decodes to " +
             std::to_string(got < 0 ? 0 : got) + " of " + std::to_string(bytes) + " bytes";
  return false;
}

}  // namespace lumetra
