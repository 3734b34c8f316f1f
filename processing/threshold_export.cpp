#include "processing/threshold_export.h"

#include <algorithm>

namespace lumetra {

void SubtractThreshold(uint16_t* pixels, size_t n, int32_t t) {
  if (t >= 65535) {
    std::fill(pixels, pixels + n, uint16_t{0});
    return;
  }
  // Below 0 every pixel is above the threshold; the result is held to 65535.
  for (size_t i = 0; i < n; ++i) {
    const int32_t d = static_cast<int32_t>(pixels[i]) - t;
    pixels[i] = static_cast<uint16_t>(std::clamp(d, 0, 65535));
  }
}

ExportResult ExportThreshold(ExportJob& job, const std::string& out_path, int32_t threshold) {
  XkvExportStream s(job);
  if (!s.Open(out_path, 0)) return {};
  RecordStore& store = s.Store();
  while (s.Next()) {
    const size_t n = static_cast<size_t>(store.Width()) * static_cast<size_t>(store.Height());
    SubtractThreshold(store.FrameBuffer(), n, threshold);
    s.Write(store.Prm(), store.FrameBuffer());
  }
  return s.Finish();
}

}  // namespace lumetra
