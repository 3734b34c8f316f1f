// The XKV frame reader on any bytes, frame after frame as a record is read.
// A refused frame leaves the header and ADD_INFO as they were; an accepted
// one is a header the program can trust, and writing it (whole, and cropped
// by a rectangle) then reading it back gives the same header and pixels.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "record/xkv_reader.h"
#include "record/xkv_writer.h"

namespace lumetra {
namespace {

struct Buffers {
  std::vector<uint16_t> frame = std::vector<uint16_t>(kMaxFramePixels);
  std::vector<uint8_t> bytes = std::vector<uint8_t>(kMaxFramePixels);
  std::vector<uint16_t> again = std::vector<uint16_t>(kMaxFramePixels);
};

// Writes the frame through WriteXKVFrame and reads it back.
void CheckWrittenThenRead(const PRM_INFO& prm, const ADD_INFO& add, Buffers& b,
                          const Region& region) {
  char* text = nullptr;
  size_t length = 0;
  std::FILE* out = open_memstream(&text, &length);
  FrameWriteOptions options;
  options.region = region;
  PRM_INFO whole = prm;
  whole.PixelCount = prm.Width * prm.Height;  // the pixels read are Width x Height
  const bool written = WriteXKVFrame(out, whole, add, b.frame.data(), options);
  std::fclose(out);
  FUZZ_CHECK(written);

  Region c = region;
  if (!c.active) c = Region{0, 0, prm.Width, prm.Height, false};
  PRM_INFO expect = whole;
  expect.Flags |= kFlagNewSizeForm;
  expect.X0 = static_cast<int32_t>(static_cast<uint32_t>(prm.X0) + static_cast<uint32_t>(c.left));
  expect.Y0 = static_cast<int32_t>(static_cast<uint32_t>(prm.Y0) + static_cast<uint32_t>(c.top));
  expect.Width = c.Width();
  expect.Height = c.Height();
  expect.PixelCount = c.Width() * c.Height();

  std::FILE* in = fmemopen(text, length, "rb");
  PRM_INFO back = DefaultPrmInfo();
  ADD_INFO back_add;
  NullReporter quiet;
  const FrameReadStatus st =
      ReadXKVFrame(in, back, back_add, b.again.data(), b.bytes.data(), quiet);
  const bool at_end = std::fgetc(in) == EOF;
  std::fclose(in);
  std::free(text);
  FUZZ_CHECK(st == FrameReadStatus::kOk);
  FUZZ_CHECK(at_end);
  expect.BitsPerPixel = back.BitsPerPixel;
  // Bytes, not fields: a NaN scale or angle is carried through as it is.
  FUZZ_CHECK(EncodePrmInfo(back) == EncodePrmInfo(expect));
  if (prm.AddInfoFlag == 1) FUZZ_CHECK(EncodeAddInfo(back_add) == EncodeAddInfo(add));
  uint16_t max_value = 0;
  for (int32_t y = 0; y < c.Height(); ++y)
    for (int32_t x = 0; x < c.Width(); ++x) {
      const uint16_t v = b.frame[static_cast<size_t>(y + c.top) * prm.Width + x + c.left];
      FUZZ_CHECK(b.again[static_cast<size_t>(y) * c.Width() + x] == v);
      max_value = std::max(max_value, v);
    }
  FUZZ_CHECK(back.BitsPerPixel == BitsForMaxValue(max_value, false));
}

}  // namespace
}  // namespace lumetra

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace lumetra;
  static Buffers b;
  std::FILE* f = fmemopen(const_cast<uint8_t*>(data), size, "rb");
  if (!f) return 0;  // fmemopen refuses a zero-byte buffer
  NullReporter quiet;
  PRM_INFO prm = DefaultPrmInfo();
  ADD_INFO add;
  for (int frame = 0; frame < 16; ++frame) {
    const PRM_INFO prm_before = prm;
    const ADD_INFO add_before = add;
    const long at = std::ftell(f);
    const FrameReadStatus st = ReadXKVFrame(f, prm, add, b.frame.data(), b.bytes.data(), quiet);
    if (st != FrameReadStatus::kOk) {
      // A refused header never becomes the current one.
      FUZZ_CHECK(EncodePrmInfo(prm) == EncodePrmInfo(prm_before));
      FUZZ_CHECK(EncodeAddInfo(add) == EncodeAddInfo(add_before));
      break;
    }
    FUZZ_CHECK(!BrokenSizeReason(prm));
    FUZZ_CHECK(static_cast<int64_t>(prm.Width) * prm.Height <= kMaxFramePixels);
    FUZZ_CHECK(prm.ScaleX >= 1.0f && prm.ScaleY >= 1.0f);
    // The reader leaves the file at the next frame record.
    FUZZ_CHECK(std::ftell(f) - at ==
               kPrmInfoBytes + (prm.AddInfoFlag == 1 ? kAddInfoBytes : 0) + PixelDataBytes(prm));
    const size_t pixels = static_cast<size_t>(prm.Width) * prm.Height;
    if (prm.BitsPerPixel <= 8)
      for (size_t i = 0; i < pixels; ++i) FUZZ_CHECK(b.frame[i] <= 255);

    CheckWrittenThenRead(prm, add, b, Region{});
    if (prm.Width > 2 && prm.Height > 2)
      CheckWrittenThenRead(prm, add, b, Region{1, 1, prm.Width - 1, prm.Height - 1, true});
  }
  std::fclose(f);
  return 0;
}
