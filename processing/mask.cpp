#include "processing/mask.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "common/file_handle.h"
#include "processing/two_colour_messages.h"
#include "record/xkv_format.h"
#include "record/xkv_reader.h"

namespace lumetra {

int64_t MaskFrame::Set() const {
  return std::count_if(pixels.begin(), pixels.end(), [](uint16_t v) { return v > 0; });
}

std::optional<MaskFrame> ReadMaskFile(const std::string& path, Reporter& reporter) {
  FileHandle f = OpenFile(path, "rb");
  if (!f) {
    reporter.Modal(kMaskFileError, OpenFailureDetail(path, errno));
    return std::nullopt;
  }
  PrmBytes pb{};
  if (std::fread(pb.data(), 1, pb.size(), f.get()) != pb.size()) {
    reporter.Modal(kMaskFileError, path + ": no frame header");
    return std::nullopt;
  }
  const PRM_INFO prm = DecodePrmInfo(pb);
  if ((prm.Flags & 0x80) == 0) {
    reporter.Modal(kMaskPrmError, path + ": old size form");
    return std::nullopt;
  }
  if (prm.AddInfoFlag == 1) {
    AddBytes ab{};
    if (std::fread(ab.data(), 1, ab.size(), f.get()) != ab.size()) {
      reporter.Modal(kMaskAddError, path);
      return std::nullopt;
    }
  }
  if (const auto broken = BrokenSizeReason(prm)) {
    reporter.Modal(kMaskFileError, path + ": " + *broken);
    return std::nullopt;
  }
  const int64_t n = static_cast<int64_t>(prm.Width) * prm.Height;
  if (n <= 0 || n > kMaxFramePixels || prm.PixelCount < n) {
    reporter.Modal(kMaskFileError, path + ": frame size " + std::to_string(prm.Width) + " x " +
                                       std::to_string(prm.Height));
    return std::nullopt;
  }
  MaskFrame m;
  m.width = prm.Width;
  m.height = prm.Height;
  m.pixels.resize(static_cast<size_t>(n));
  const bool two = prm.BitsPerPixel > 8;
  std::vector<uint8_t> raw(static_cast<size_t>(n) * (two ? 2 : 1));
  if (std::fread(raw.data(), 1, raw.size(), f.get()) != raw.size()) {
    reporter.Modal(kMaskFileError, path + ": pixel data cut short");
    return std::nullopt;
  }
  for (size_t i = 0; i < m.pixels.size(); ++i)
    m.pixels[i] = two ? static_cast<uint16_t>(raw[2 * i] | (raw[2 * i + 1] << 8)) : raw[i];
  return m;
}

bool MaskFitsRecord(const MaskFrame& mask, int32_t width, int32_t height, Reporter& reporter) {
  if (mask.width == width && mask.height == height) return true;
  reporter.Modal(kMaskSizeDiffers, "mask " + std::to_string(mask.width) + " x " +
                                       std::to_string(mask.height) + ", record " +
                                       std::to_string(width) + " x " + std::to_string(height));
  return false;
}

void MaskStep::SetMask(MaskFrame mask) {
  mask_ = std::move(mask);
  double sum = 0;
  for (uint16_t v : mask_.pixels) sum += v;
  mean_ = mask_.pixels.empty() ? 0 : sum / static_cast<double>(mask_.pixels.size());
}

void MaskStep::Apply(FrameView& frame) {
  if (frame.width != mask_.width || frame.height != mask_.height) return;
  const size_t n = mask_.pixels.size();
  const uint16_t* m = mask_.pixels.data();
  uint16_t* p = frame.pixels;
  if (boolean_)
    for (size_t i = 0; i < n; ++i)
      if (m[i] == 0) p[i] = 0;
  if (subtract_)
    for (size_t i = 0; i < n; ++i) p[i] = p[i] > m[i] ? static_cast<uint16_t>(p[i] - m[i]) : 0;
  if (equalize_)
    for (size_t i = 0; i < n; ++i) {
      if (m[i] == 0) {
        p[i] = 0;
        continue;
      }
      const double v = std::trunc(p[i] * mean_ / m[i]);
      p[i] = static_cast<uint16_t>(std::min(v, 65535.0));
    }
}

}  // namespace lumetra
