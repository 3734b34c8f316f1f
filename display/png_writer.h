// A small PNG writer for the command line's frame images: 8-bit RGB, rows
// streamed one at a time, pixel data in stored (uncompressed) deflate blocks,
// so it needs no compression library. A 512 x 512 image is about 0.8 MB.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/file_handle.h"

namespace lumetra {

// CRC-32 of PNG chunks (polynomial 0xEDB88320), continued from `crc`.
uint32_t Crc32(const uint8_t* data, size_t size, uint32_t crc = 0);
// Adler-32 of the zlib stream, continued from `adler`.
uint32_t Adler32(const uint8_t* data, size_t size, uint32_t adler = 1);

class PngWriter {
 public:
  // Creates the file and writes the signature and the image header. False
  // when the file cannot be created or the size is not 1..2^31-1 a side.
  bool Open(const std::string& path, int32_t width, int32_t height);
  // One row of `width` pixels, 0x00RRGGBB. Rows go top to bottom.
  bool WriteRow(const uint32_t* pixels);
  // After the last row: the end of the pixel data and the end chunk. False
  // when a row is missing or a write failed.
  bool Finish();

 private:
  void Deflate(const uint8_t* data, size_t size);
  void FlushBlock(bool final_block);
  bool FlushIdat();
  bool WriteChunk(const char type[4], const uint8_t* data, size_t size);

  FileHandle file_;
  int32_t width_ = 0;
  int32_t height_ = 0;
  int32_t rows_ = 0;
  uint64_t raw_total_ = 0;  // bytes of filtered row data in the whole image
  uint64_t raw_done_ = 0;   // of those, bytes already put into stored blocks
  uint32_t adler_ = 1;
  bool ok_ = false;
  std::vector<uint8_t> row_;    // filter byte and RGB triples of one row
  std::vector<uint8_t> block_;  // uncompressed bytes of the stored block being filled
  std::vector<uint8_t> idat_;   // zlib bytes not yet written as a chunk
};

// Writes a whole image of 0x00RRGGBB pixels. False when it cannot.
bool WritePng(const std::string& path, const uint32_t* pixels, int32_t width, int32_t height);

}  // namespace lumetra
