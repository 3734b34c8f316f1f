#include "processing/bin_export.h"

#include <algorithm>
#include <new>
#include <vector>

#include "processing/processing_messages.h"

namespace lumetra {

void BinFrame(const uint16_t* in, int32_t width, int32_t height, int32_t n, uint16_t* out) {
  const int32_t w = width / n;
  const int32_t h = height / n;
  for (int32_t oy = 0; oy < h; ++oy) {
    uint16_t* dst = out + static_cast<size_t>(oy) * static_cast<size_t>(w);
    const uint16_t* top = in + static_cast<size_t>(oy) * n * static_cast<size_t>(width);
    for (int32_t ox = 0; ox < w; ++ox) {
      // Integer sums stay integers: n x n 16-bit counts fit 32 bits.
      uint32_t sum = 0;
      for (int32_t dy = 0; dy < n; ++dy) {
        const uint16_t* src = top + static_cast<size_t>(dy) * width + static_cast<size_t>(ox) * n;
        for (int32_t dx = 0; dx < n; ++dx) sum += src[dx];
      }
      dst[ox] = static_cast<uint16_t>(std::min(sum, kBinCeiling));
    }
  }
}

void ExpandFrame(const uint16_t* in, int32_t width, int32_t height, int32_t k, uint16_t* out) {
  const size_t out_width = static_cast<size_t>(width) * static_cast<size_t>(k);
  for (int32_t y = 0; y < height; ++y) {
    const uint16_t* src = in + static_cast<size_t>(y) * static_cast<size_t>(width);
    uint16_t* dst = out + static_cast<size_t>(y) * static_cast<size_t>(k) * out_width;
    for (int32_t x = 0; x < width; ++x) {
      const uint16_t v = static_cast<uint16_t>(std::min<uint32_t>(src[x], kBinCeiling));
      std::fill(dst + static_cast<size_t>(x) * k, dst + static_cast<size_t>(x + 1) * k, v);
    }
    for (int32_t r = 1; r < k; ++r) std::copy(dst, dst + out_width, dst + r * out_width);
  }
}

namespace {

// The header of a binned or expanded frame.
PRM_INFO BinnedHeader(PRM_INFO p, int32_t n) {
  if (n > 0) {
    p.Binning = static_cast<uint8_t>(p.Binning * n);
    p.Width /= n;
    p.Height /= n;
    p.X0 /= n;
    p.Y0 /= n;
    p.ScaleX *= static_cast<float>(n);
    p.ScaleY *= static_cast<float>(n);
  } else {
    const int32_t k = -n;
    p.Width *= k;
    p.Height *= k;
    p.ScaleX /= static_cast<float>(k);
    p.ScaleY /= static_cast<float>(k);
  }
  p.PixelCount = p.Width * p.Height;
  return p;
}

}  // namespace

ExportResult ExportBinning(ExportJob& job, const std::string& out_path, int32_t n) {
  if (n != 2 && n != 3 && n != 5 && n != -3) return {};
  const int64_t k = n < 0 ? -n : n;
  const int64_t pixels = static_cast<int64_t>(job.store.Width()) * job.store.Height();
  // An expanded frame beyond the frame buffer would be unreadable afterwards.
  if (n < 0 && pixels * k * k > kMaxFramePixels) {
    job.reporter.Modal(kExpandedFrameTooLarge);
    return {};
  }
  std::vector<uint16_t> out;
  try {
    out.resize(static_cast<size_t>(n < 0 ? kMaxFramePixels : kMaxFramePixels / (k * k) + 100));
  } catch (const std::bad_alloc&) {
    job.reporter.Modal(kCanNotAllocateTempArray);
    return {};
  }
  XkvExportStream s(job);
  if (!s.Open(out_path, 0)) return {};
  RecordStore& store = s.Store();
  while (s.Next()) {
    const PRM_INFO prm = BinnedHeader(store.Prm(), n);
    const int32_t w = store.Width(), h = store.Height();
    if (prm.Width <= 0 || prm.Height <= 0) {
      job.reporter.Modal(kFrameTooSmallForBinning);
      s.Abandon();
      break;
    }
    if (static_cast<int64_t>(prm.Width) * prm.Height > static_cast<int64_t>(out.size())) {
      job.reporter.Modal(kExpandedFrameTooLarge);
      s.Abandon();
      break;
    }
    if (n > 0)
      BinFrame(store.FrameBuffer(), w, h, n, out.data());
    else
      ExpandFrame(store.FrameBuffer(), w, h, -n, out.data());
    s.Write(prm, out.data());
  }
  return s.Finish();
}

}  // namespace lumetra
