#include "record/xkv_reader.h"

#include <bit>
#include <cstring>

#include "record/record_messages.h"

namespace lumetra {
namespace {

void ReportBroken(Reporter& reporter, const std::string& reason) {
  reporter.Modal(std::string(kBrokenFrameHeader) + " (" + reason + ")");
}

}  // namespace

std::optional<std::string> NormaliseSizeForm(PRM_INFO& p) {
  if (p.Flags & kFlagNewSizeForm) return std::nullopt;
  if (p.Binning == 0) return "Binning is 0 in the old size form";
  // 64-bit: right edge minus left edge can leave the int32 range.
  int64_t w = (static_cast<int64_t>(p.Width) - p.X0) / p.Binning;
  int64_t h = (static_cast<int64_t>(p.Height) - p.Y0) / p.Binning;
  if (w <= 0 || h <= 0 || w > INT32_MAX || h > INT32_MAX)
    return "right or bottom edge not beyond the left or top edge";
  p.Width = static_cast<int32_t>(w);
  p.Height = static_cast<int32_t>(h);
  p.X0 /= p.Binning;
  p.Y0 /= p.Binning;
  return std::nullopt;
}

std::optional<std::string> BrokenSizeReason(const PRM_INFO& p) {
  if (p.Width <= 0) return "Width=" + std::to_string(p.Width);
  if (p.Height <= 0) return "Height=" + std::to_string(p.Height);
  if (p.PixelCount < 0) return "PixelCount=" + std::to_string(p.PixelCount);
  if (p.PixelCount > kMaxFramePixels)
    return "PixelCount=" + std::to_string(p.PixelCount) + " is above " +
           std::to_string(kMaxFramePixels);
  if (static_cast<int64_t>(p.PixelCount) < static_cast<int64_t>(p.Width) * p.Height)
    return "PixelCount=" + std::to_string(p.PixelCount) + " is below Width x Height";
  if (p.BitsPerPixel > 16) return "BitsPerPixel=" + std::to_string(p.BitsPerPixel);
  return std::nullopt;
}

FrameReadStatus ReadXKVHeader(std::FILE* file, PRM_INFO& prm, ADD_INFO& add, Reporter& reporter) {
  PrmBytes hb;
  if (std::fread(hb.data(), 1, hb.size(), file) != hb.size()) return FrameReadStatus::kEndOfRecord;
  PRM_INFO p = DecodePrmInfo(hb);

  if (auto reason = NormaliseSizeForm(p)) {
    ReportBroken(reporter, *reason);
    return FrameReadStatus::kBrokenHeader;
  }

  if (p.AddInfoFlag == 1) {
    AddBytes ab;
    if (std::fread(ab.data(), 1, ab.size(), file) != ab.size()) {
      reporter.Modal(kFileReadErrorAddInfo);
      return FrameReadStatus::kAddInfoShort;
    }
    add = DecodeAddInfo(ab);
  }

  ApplyScaleRules(p);

  if (p.Width > 0 && p.Height > 0 && static_cast<int64_t>(p.Width) * p.Height > kMaxFramePixels) {
    reporter.Modal(kTooLargeFrameSize);
    return FrameReadStatus::kTooLarge;
  }
  if (auto reason = BrokenSizeReason(p)) {
    ReportBroken(reporter, *reason);
    return FrameReadStatus::kBrokenHeader;
  }
  prm = p;
  return FrameReadStatus::kOk;
}

FrameReadStatus ReadXKVFrame(std::FILE* file, PRM_INFO& prm, ADD_INFO& add, uint16_t* frame,
                             uint8_t* byte_buffer, Reporter& reporter) {
  PRM_INFO p = prm;
  ADD_INFO a = add;
  const FrameReadStatus header = ReadXKVHeader(file, p, a, reporter);
  if (header != FrameReadStatus::kOk) return header;

  const size_t count = static_cast<size_t>(p.PixelCount);
  const size_t pixels = static_cast<size_t>(p.Width) * static_cast<size_t>(p.Height);
  if (p.BitsPerPixel > 8) {
    // Straight into the frame buffer: no copy per frame. A short read leaves
    // it partly overwritten; the caller closes the record then.
    if (std::fread(frame, 2, count, file) != count) {
      reporter.Modal(kFrameReadingError);
      return FrameReadStatus::kShortData;
    }
    if constexpr (std::endian::native == std::endian::big) {
      for (size_t i = 0; i < count; ++i)
        frame[i] = static_cast<uint16_t>((frame[i] >> 8) | (frame[i] << 8));
    }
  } else {
    if (std::fread(byte_buffer, 1, count, file) != count) {
      reporter.Modal(kFrameReadingError);
      return FrameReadStatus::kShortData;
    }
    for (size_t i = 0; i < pixels; ++i) frame[i] = byte_buffer[i];
  }
  prm = p;
  add = a;
  return FrameReadStatus::kOk;
}

}  // namespace lumetra
