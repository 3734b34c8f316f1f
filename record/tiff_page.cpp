#include "record/tiff_page.h"

#include <fcntl.h>
#include <tiffio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

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

// libtiff reads a directory in many small pieces (the entry count, the
// entries, each value stored outside them), each a seek and a read of the
// file. Opening a stack of 2000 pages made 30,000 system calls that way. Small
// reads are served from one buffer filled with a single pread; large ones (the
// pixel data) go straight to the caller's memory.
struct TiffFile::Input {
  static constexpr size_t kBufferBytes = 16 * 1024;
  int fd = -1;
  uint64_t size = 0;
  uint64_t pos = 0;
  std::vector<uint8_t> buffer = std::vector<uint8_t>(kBufferBytes);
  uint64_t buffer_at = 0;
  size_t buffer_len = 0;

  ~Input() {
    if (fd >= 0) ::close(fd);
  }

  // pread until `n` bytes or the end of the file; the count read.
  size_t ReadAt(uint64_t at, uint8_t* to, size_t n) const {
    size_t got = 0;
    while (got < n) {
      const ssize_t r = ::pread(fd, to + got, n - got, static_cast<off_t>(at + got));
      if (r < 0 && errno == EINTR) continue;
      if (r <= 0) break;
      got += static_cast<size_t>(r);
    }
    return got;
  }

  static tmsize_t Read(thandle_t h, void* data, tmsize_t n) {
    auto* in = static_cast<Input*>(h);
    if (n <= 0) return 0;
    auto* to = static_cast<uint8_t*>(data);
    const size_t want = static_cast<size_t>(n);
    size_t got;
    if (want >= kBufferBytes / 2) {
      got = in->ReadAt(in->pos, to, want);
    } else {
      if (in->pos < in->buffer_at || in->pos + want > in->buffer_at + in->buffer_len) {
        in->buffer_at = in->pos;
        in->buffer_len = in->ReadAt(in->pos, in->buffer.data(), in->buffer.size());
      }
      const size_t from = static_cast<size_t>(in->pos - in->buffer_at);
      got = std::min(want, in->buffer_len > from ? in->buffer_len - from : 0);
      std::memcpy(to, in->buffer.data() + from, got);
    }
    in->pos += got;
    return static_cast<tmsize_t>(got);
  }
  static tmsize_t Write(thandle_t, void*, tmsize_t) { return 0; }
  static toff_t Seek(thandle_t h, toff_t off, int whence) {
    auto* in = static_cast<Input*>(h);
    const uint64_t base = whence == SEEK_CUR ? in->pos : whence == SEEK_END ? in->size : 0;
    in->pos = base + off;
    return in->pos;
  }
  static int Close(thandle_t) { return 0; }  // the handle closes with TiffFile
  static toff_t Size(thandle_t h) { return static_cast<Input*>(h)->size; }
  static int Map(thandle_t, void**, toff_t*) { return 0; }
  static void Unmap(thandle_t, void*, toff_t) {}
};

bool IsTiffMagic(const uint8_t* m) {
  return (m[0] == 'I' && m[1] == 'I' && (m[2] == 42 || m[2] == 43) && m[3] == 0) ||
         (m[0] == 'M' && m[1] == 'M' && m[2] == 0 && (m[3] == 42 || m[3] == 43));
}

TiffFile::TiffFile() = default;
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
  auto input = std::make_unique<Input>();
  input->fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (input->fd < 0) {
    error_ = std::strerror(errno);
    return false;
  }
  const off_t end = ::lseek(input->fd, 0, SEEK_END);
  input->size = file_bytes_ = end < 0 ? 0 : static_cast<uint64_t>(end);
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
  // "m": no mapping, reads go through Input. "c": a page stored as one strip
  // is read in one piece, not chopped into 8 KB reads.
  tif_ = TIFFClientOpenExt(path.c_str(), "rmc", input.get(), &Input::Read, &Input::Write,
                           &Input::Seek, &Input::Close, &Input::Size, &Input::Map, &Input::Unmap,
                           opts);
  TIFFOpenOptionsFree(opts);
  if (!tif_) {
    if (error_.empty()) error_ = "not a TIFF file libtiff can open";
    return false;
  }
  input_ = std::move(input);
  return true;
}

void TiffFile::Close() {
  if (tif_) TIFFClose(tif_);
  tif_ = nullptr;
  input_.reset();
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
  // libtiff can count a deflate piece whose stream ends early as whole and
  // leave its tail unwritten: that tail must read 0, not what the buffer held
  // (a tile of another page, the frame shown before).
  std::memset(to, 0, static_cast<size_t>(bytes));
  const tmsize_t got = l.tiled ? TIFFReadEncodedTile(tif_, piece, to, static_cast<tmsize_t>(bytes))
                               : TIFFReadEncodedStrip(tif_, piece, to, static_cast<tmsize_t>(bytes));
  if (got == static_cast<tmsize_t>(bytes)) return true;
  if (error_.empty())
    error_ = std::string(l.tiled ? "tile " : "strip ") + std::to_string(piece) + " decodes to " +
             std::to_string(got < 0 ? 0 : got) + " of " + std::to_string(bytes) + " bytes";
  return false;
}

}  // namespace lumetra
