#include "processing/profile_export.h"

#include <cmath>
#include <new>
#include <vector>

#include "common/text_format.h"
#include "processing/processing_messages.h"

namespace lumetra {

int32_t ProfileBand::Length() const {
  return TruncToInt(std::hypot(x1 - x0, y1 - y0));
}

void BandSamplePoint(const ProfileBand& line, int32_t r, int32_t c, int32_t& x, int32_t& y) {
  const double len = std::hypot(line.x1 - line.x0, line.y1 - line.y0);
  const double ux = (line.x1 - line.x0) / len, uy = (line.y1 - line.y0) / len;
  // Normal pointing to the left of the direction of travel, in image rows.
  const double nx = uy, ny = -ux;
  const double o = (line.width - 1) * 0.5 - r;
  x = static_cast<int32_t>(std::floor(line.x0 + c * ux + o * nx + 0.5));
  y = static_cast<int32_t>(std::floor(line.y0 + c * uy + o * ny + 0.5));
}

void SampleProfileBand(const uint16_t* frame, int32_t frame_width, int32_t frame_height,
                       const ProfileBand& line, uint16_t* out) {
  const int32_t length = line.Length();
  if (length <= 0) return;
  for (int32_t r = 0; r < line.width; ++r) {
    for (int32_t c = 0; c < length; ++c) {
      int32_t x = 0, y = 0;
      BandSamplePoint(line, r, c, x, y);
      const bool inside = x >= 0 && y >= 0 && x < frame_width && y < frame_height;
      out[static_cast<size_t>(r) * length + c] =
          inside ? frame[static_cast<size_t>(y) * frame_width + x] : uint16_t{0};
    }
  }
}

ExportResult ExportProfile(ExportJob& job, const std::string& out_path, const ProfileBand& line) {
  const int32_t length = line.Length();
  if (length < 5) {
    job.reporter.Modal(kDrawProfileFirst);
    return {};
  }
  if (line.width < 3) {
    job.reporter.Modal(kProfileTooNarrow);
    return {};
  }
  const int64_t pixels = static_cast<int64_t>(length) * line.width;
  if (pixels > kMaxFramePixels) {
    job.reporter.Modal(kProfileTooLarge);
    return {};
  }
  std::vector<uint16_t> band;
  try {
    band.resize(static_cast<size_t>(pixels));
  } catch (const std::bad_alloc&) {
    job.reporter.Modal(kCanNotAllocateTempArray);
    return {};
  }
  XkvExportStream s(job);
  if (!s.Open(out_path, -1)) return {};
  RecordStore& store = s.Store();
  while (s.Next()) {
    SampleProfileBand(store.FrameBuffer(), store.Width(), store.Height(), line, band.data());
    PRM_INFO prm = store.Prm();
    prm.Width = length;
    prm.Height = line.width;
    prm.PixelCount = length * line.width;
    prm.ScaleY = prm.ScaleX;
    prm.X0 = TruncToInt(line.x0);
    prm.Y0 = TruncToInt(line.y0);
    s.Write(prm, band.data());
  }
  return s.Finish();
}

}  // namespace lumetra
