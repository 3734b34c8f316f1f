#include "processing/bin_export.h"

#include <algorithm>
#include <new>
#include <vector>

#include "processing/processing_messages.h"

namespace lumetra {

namespace {

// One output row: cell x is the sum of column sums x*N .. x*N + N-1, held to
// the ceiling. N is fixed at compile time so the loop is unrolled and vectorised.
template <int N>
void SumCells(const uint32_t* col, uint16_t* dst, int32_t w) {
  for (int32_t ox = 0; ox < w; ++ox) {
    uint32_t sum = 0;
    for (int dx = 0; dx < N; ++dx) sum += col[static_cast<size_t>(ox) * N + dx];
    dst[ox] = static_cast<uint16_t>(std::min(sum, kBinCeiling));
  }
}

}  // namespace

void BinFrame(const uint16_t* in, int32_t width, int32_t height, int32_t n, uint16_t* out,
              std::vector<uint32_t>& columns) {
  const int32_t w = width / n;
  const int32_t h = height / n;
  const size_t used = static_cast<size_t>(w) * static_cast<size_t>(n);
  if (columns.size() < used) columns.resize(used);
  uint32_t* col = columns.data();
  for (int32_t oy = 0; oy < h; ++oy) {
    // Column sums over the n rows first: contiguous, so they vectorise; then
    // n neighbouring column sums make one cell. Integer sums stay integers.
    const uint16_t* src = in + static_cast<size_t>(oy) * n * static_cast<size_t>(width);
    for (size_t x = 0; x < used; ++x) col[x] = src[x];
    for (int32_t dy = 1; dy < n; ++dy) {
      src += width;
      for (size_t x = 0; x < used; ++x) col[x] += src[x];
    }
    uint16_t* dst = out + static_cast<size_t>(oy) * static_cast<size_t>(w);
    if (n == 2) {
      SumCells<2>(col, dst, w);
    } else if (n == 3) {
      SumCells<3>(col, dst, w);
    } else {
      SumCells<5>(col, dst, w);
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
  // A frame narrower or lower than one bin gives no pixel to save.
  if (n > 0 && (job.store.Width() < n || job.store.Height() < n)) {
    job.reporter.Modal(kFrameTooSmallForBinning);
    return {};
  }
  // An expanded frame beyond the frame buffer would be unreadable afterwards.
  if (n < 0 && pixels * k * k > kMaxFramePixels) {
    job.reporter.Modal(kExpandedFrameTooLarge);
    return {};
  }
  std::vector<uint16_t> out;
  std::vector<uint32_t> columns;  // one row of column sums
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
      BinFrame(store.FrameBuffer(), w, h, n, out.data(), columns);
    else
      ExpandFrame(store.FrameBuffer(), w, h, -n, out.data());
    s.Write(prm, out.data());
  }
  return s.Finish();
}

}  // namespace lumetra
