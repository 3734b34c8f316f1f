#include "display/png_writer.h"

#include <array>
#include <cstring>

namespace lumetra {
namespace {

constexpr size_t kStoredBlockMax = 65535;  // the largest stored deflate block
constexpr size_t kIdatChunkBytes = 1 << 20;

const std::array<uint32_t, 256>& CrcTable() {
  static const std::array<uint32_t, 256> table = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t n = 0; n < 256; ++n) {
      uint32_t c = n;
      for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[n] = c;
    }
    return t;
  }();
  return table;
}

void PutBigEndian(std::vector<uint8_t>& out, uint32_t v) {
  out.push_back(static_cast<uint8_t>(v >> 24));
  out.push_back(static_cast<uint8_t>(v >> 16));
  out.push_back(static_cast<uint8_t>(v >> 8));
  out.push_back(static_cast<uint8_t>(v));
}

}  // namespace

uint32_t Crc32(const uint8_t* data, size_t size, uint32_t crc) {
  const auto& t = CrcTable();
  uint32_t c = crc ^ 0xFFFFFFFFu;
  for (size_t i = 0; i < size; ++i) c = t[(c ^ data[i]) & 0xFF] ^ (c >> 8);
  return c ^ 0xFFFFFFFFu;
}

uint32_t Adler32(const uint8_t* data, size_t size, uint32_t adler) {
  constexpr uint32_t kMod = 65521;
  uint32_t a = adler & 0xFFFF, b = adler >> 16;
  while (size > 0) {
    // 5552 bytes is the longest run whose sums cannot overflow 32 bits.
    const size_t n = size < 5552 ? size : 5552;
    for (size_t i = 0; i < n; ++i) {
      a += data[i];
      b += a;
    }
    a %= kMod;
    b %= kMod;
    data += n;
    size -= n;
  }
  return (b << 16) | a;
}

bool PngWriter::Open(const std::string& path, int32_t width, int32_t height) {
  ok_ = false;
  if (width <= 0 || height <= 0) return false;
  file_ = OpenFile(path, "wb");
  if (!file_) return false;
  width_ = width;
  height_ = height;
  rows_ = 0;
  raw_total_ = static_cast<uint64_t>(height) * (1 + 3 * static_cast<uint64_t>(width));
  raw_done_ = 0;
  adler_ = 1;
  row_.assign(1 + 3 * static_cast<size_t>(width), 0);  // filter byte 0: none
  block_.clear();
  block_.reserve(kStoredBlockMax);
  idat_.clear();
  static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  ok_ = std::fwrite(kSignature, 1, 8, file_.get()) == 8;
  std::vector<uint8_t> ihdr;
  PutBigEndian(ihdr, static_cast<uint32_t>(width));
  PutBigEndian(ihdr, static_cast<uint32_t>(height));
  // 8 bits per sample, colour type 2 (RGB), deflate, adaptive filtering, no interlace.
  ihdr.insert(ihdr.end(), {8, 2, 0, 0, 0});
  ok_ = ok_ && WriteChunk("IHDR", ihdr.data(), ihdr.size());
  idat_ = {0x78, 0x01};  // zlib header: deflate, 32 KiB window, no dictionary
  return ok_;
}

bool PngWriter::WriteRow(const uint32_t* pixels) {
  if (!ok_ || rows_ >= height_) return ok_ = false;
  uint8_t* o = row_.data() + 1;
  for (int32_t x = 0; x < width_; ++x) {
    const uint32_t c = pixels[x];
    *o++ = static_cast<uint8_t>(c >> 16);
    *o++ = static_cast<uint8_t>(c >> 8);
    *o++ = static_cast<uint8_t>(c);
  }
  ++rows_;
  Deflate(row_.data(), row_.size());
  if (idat_.size() >= kIdatChunkBytes) ok_ = ok_ && FlushIdat();
  return ok_;
}

void PngWriter::Deflate(const uint8_t* data, size_t size) {
  adler_ = Adler32(data, size, adler_);
  while (size > 0) {
    const size_t n = std::min(size, kStoredBlockMax - block_.size());
    block_.insert(block_.end(), data, data + n);
    data += n;
    size -= n;
    raw_done_ += n;
    // The last block of the stream carries the final flag, so a full block is
    // held back until it is known whether more data follows.
    if (block_.size() == kStoredBlockMax || raw_done_ == raw_total_)
      FlushBlock(raw_done_ == raw_total_);
  }
}

void PngWriter::FlushBlock(bool final_block) {
  const auto len = static_cast<uint16_t>(block_.size());
  idat_.push_back(final_block ? 1 : 0);  // BFINAL, BTYPE 00 (stored), padded to the byte
  idat_.push_back(static_cast<uint8_t>(len));
  idat_.push_back(static_cast<uint8_t>(len >> 8));
  idat_.push_back(static_cast<uint8_t>(~len));
  idat_.push_back(static_cast<uint8_t>(static_cast<uint16_t>(~len) >> 8));
  idat_.insert(idat_.end(), block_.begin(), block_.end());
  block_.clear();
}

bool PngWriter::FlushIdat() {
  const bool ok = WriteChunk("IDAT", idat_.data(), idat_.size());
  idat_.clear();
  return ok;
}

bool PngWriter::Finish() {
  if (!ok_ || rows_ != height_) {
    file_.reset();
    return ok_ = false;
  }
  PutBigEndian(idat_, adler_);
  ok_ = FlushIdat() && WriteChunk("IEND", nullptr, 0);
  ok_ = std::fflush(file_.get()) == 0 && ok_;
  ok_ = std::fclose(file_.release()) == 0 && ok_;
  return ok_;
}

bool PngWriter::WriteChunk(const char type[4], const uint8_t* data, size_t size) {
  std::vector<uint8_t> head;
  PutBigEndian(head, static_cast<uint32_t>(size));
  head.insert(head.end(), type, type + 4);
  uint32_t crc = Crc32(head.data() + 4, 4);
  if (size > 0) crc = Crc32(data, size, crc);
  std::vector<uint8_t> tail;
  PutBigEndian(tail, crc);
  std::FILE* f = file_.get();
  return std::fwrite(head.data(), 1, head.size(), f) == head.size() &&
         (size == 0 || std::fwrite(data, 1, size, f) == size) &&
         std::fwrite(tail.data(), 1, tail.size(), f) == tail.size();
}

bool WritePng(const std::string& path, const uint32_t* pixels, int32_t width, int32_t height) {
  PngWriter w;
  if (!w.Open(path, width, height)) return false;
  for (int32_t y = 0; y < height; ++y)
    if (!w.WriteRow(pixels + static_cast<int64_t>(y) * width)) return false;
  return w.Finish();
}

}  // namespace lumetra
