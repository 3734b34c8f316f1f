#include "processing/registration.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "common/parallel.h"
#include "common/text_format.h"
#include "processing/processing_messages.h"
#include "processing/text_output.h"
#include "processing/two_colour_messages.h"

namespace lumetra {

std::optional<Affine> FitAffine(const std::vector<PointPair>& pairs) {
  if (pairs.size() < 3) return std::nullopt;
  const double n = static_cast<double>(pairs.size());
  double mx = 0, my = 0, bx = 0, by = 0;
  for (const PointPair& p : pairs) {
    mx += p.a.x;
    my += p.a.y;
    bx += p.b.x;
    by += p.b.y;
  }
  mx /= n;
  my /= n;
  bx /= n;
  by /= n;
  // Centred on the mean of A, the constant term separates from the linear part.
  double suu = 0, suv = 0, svv = 0, sux = 0, svx = 0, suy = 0, svy = 0;
  for (const PointPair& p : pairs) {
    const double u = p.a.x - mx, v = p.a.y - my;
    suu += u * u;
    suv += u * v;
    svv += v * v;
    sux += u * (p.b.x - bx);
    svx += v * (p.b.x - bx);
    suy += u * (p.b.y - by);
    svy += v * (p.b.y - by);
  }
  const double det = suu * svv - suv * suv;
  if (!(det > 1e-9 * (suu + svv) * (suu + svv)) || !(suu + svv > 0)) return std::nullopt;
  Affine t;
  t.c[1] = (sux * svv - svx * suv) / det;
  t.c[2] = (svx * suu - sux * suv) / det;
  t.c[4] = (suy * svv - svy * suv) / det;
  t.c[5] = (svy * suu - suy * suv) / det;
  t.c[0] = bx - t.c[1] * mx - t.c[2] * my;
  t.c[3] = by - t.c[4] * mx - t.c[5] * my;
  return t;
}

namespace {

// Where the peak of five samples 1 pixel apart lies, relative to the middle:
// the top of the parabola through the logarithms of the middle three (exact
// for a Gaussian), or their centroid when one of them is not above 0.
double GaussianOffset(const double v[5]) {
  if (v[1] > 0 && v[2] > 0 && v[3] > 0) {
    const double l = std::log(v[1]), c = std::log(v[2]), r = std::log(v[3]);
    const double d = l - 2 * c + r;
    if (d < 0) return std::clamp(0.5 * (l - r) / d, -1.0, 1.0);
  }
  double s = 0, m = 0;
  for (int k = 0; k < 5; ++k) {
    s += v[k];
    m += v[k] * (k - 2);
  }
  return s > 0 ? m / s : 0.0;
}

}  // namespace

std::vector<PointXY> FindBeads(const std::vector<double>& image, int32_t width, int32_t height,
                               double snr, size_t max_beads) {
  std::vector<PointXY> beads;
  const size_t n = static_cast<size_t>(std::max(width, 0)) * static_cast<size_t>(std::max(height, 0));
  if (n == 0 || image.size() < n || width < 7 || height < 7) return beads;
  std::vector<double> sorted(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(n));
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(n / 2), sorted.end());
  const double median = sorted[n / 2];
  for (double& v : sorted) v = std::fabs(v - median);
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(n / 2), sorted.end());
  const double sd = std::max(1.4826 * sorted[n / 2], 1e-6);
  const double threshold = median + snr * sd;
  struct Found {
    double peak;
    PointXY at;
  };
  std::vector<Found> found;
  for (int32_t y = 3; y < height - 3; ++y) {
    for (int32_t x = 3; x < width - 3; ++x) {
      const size_t i = static_cast<size_t>(y) * width + x;
      const double v = image[i];
      if (!(v > threshold)) continue;
      bool peak = true;
      // Column and row sums of the 5 x 5 box above the median: a Gaussian spot
      // stays a Gaussian along each axis.
      double col[5] = {0, 0, 0, 0, 0}, row[5] = {0, 0, 0, 0, 0};
      for (int32_t dy = -2; dy <= 2 && peak; ++dy)
        for (int32_t dx = -2; dx <= 2; ++dx) {
          const size_t j = static_cast<size_t>(y + dy) * width + (x + dx);
          // A flat top keeps its first pixel in reading order.
          if (image[j] > v || (image[j] == v && j < i)) {
            peak = false;
            break;
          }
          const double w = std::max(image[j] - median, 0.0);
          col[dx + 2] += w;
          row[dy + 2] += w;
        }
      if (peak) found.push_back({v, {x + GaussianOffset(col), y + GaussianOffset(row)}});
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Found& l, const Found& r) { return l.peak > r.peak; });
  if (found.size() > max_beads) found.resize(max_beads);
  for (const Found& f : found) beads.push_back(f.at);
  return beads;
}

namespace {

// The offset B - A most point pairs agree on: a histogram of 0.5 px bins,
// summed over 3 x 3 bins, then the mean of the offsets within 1 px of the best.
std::optional<PointXY> CommonOffset(const std::vector<std::vector<PointXY>>& a,
                                    const std::vector<std::vector<PointXY>>& b, double max_shift) {
  const int32_t half = static_cast<int32_t>(std::ceil(max_shift * 2));
  const int32_t side = 2 * half + 1;
  std::vector<int64_t> hist(static_cast<size_t>(side) * side, 0);
  const size_t frames = std::min(a.size(), b.size());
  auto each_offset = [&](auto&& body) {
    for (size_t f = 0; f < frames; ++f)
      for (const PointXY& p : a[f])
        for (const PointXY& q : b[f]) {
          const double dx = q.x - p.x, dy = q.y - p.y;
          if (std::fabs(dx) <= max_shift && std::fabs(dy) <= max_shift) body(dx, dy);
        }
  };
  each_offset([&](double dx, double dy) {
    const int32_t ix = static_cast<int32_t>(std::lround(dx * 2)) + half;
    const int32_t iy = static_cast<int32_t>(std::lround(dy * 2)) + half;
    if (ix >= 0 && iy >= 0 && ix < side && iy < side) ++hist[static_cast<size_t>(iy) * side + ix];
  });
  int64_t best = 0;
  int32_t bx = 0, by = 0;
  for (int32_t y = 0; y < side; ++y)
    for (int32_t x = 0; x < side; ++x) {
      int64_t s = 0;
      for (int32_t dy = -1; dy <= 1; ++dy)
        for (int32_t dx = -1; dx <= 1; ++dx) {
          const int32_t xx = x + dx, yy = y + dy;
          if (xx >= 0 && yy >= 0 && xx < side && yy < side) s += hist[static_cast<size_t>(yy) * side + xx];
        }
      if (s > best) {
        best = s;
        bx = x;
        by = y;
      }
    }
  if (best == 0) return std::nullopt;
  const double cx = (bx - half) * 0.5, cy = (by - half) * 0.5;
  double sx = 0, sy = 0, count = 0;
  each_offset([&](double dx, double dy) {
    if (std::fabs(dx - cx) <= 1 && std::fabs(dy - cy) <= 1) {
      sx += dx;
      sy += dy;
      ++count;
    }
  });
  return PointXY{sx / count, sy / count};
}

// Nearest pairs within `tol` after the transform, one to one, closest first.
std::vector<PointPair> MatchPairs(const std::vector<std::vector<PointXY>>& a,
                                  const std::vector<std::vector<PointXY>>& b, const Affine& t,
                                  double tol) {
  std::vector<PointPair> pairs;
  const size_t frames = std::min(a.size(), b.size());
  struct Candidate {
    double d2;
    size_t i, j;
  };
  std::vector<Candidate> cand;
  std::vector<char> used_a, used_b;
  for (size_t f = 0; f < frames; ++f) {
    cand.clear();
    for (size_t i = 0; i < a[f].size(); ++i) {
      double x = 0, y = 0;
      t.Apply(a[f][i].x, a[f][i].y, x, y);
      for (size_t j = 0; j < b[f].size(); ++j) {
        const double dx = b[f][j].x - x, dy = b[f][j].y - y;
        const double d2 = dx * dx + dy * dy;
        if (d2 <= tol * tol) cand.push_back({d2, i, j});
      }
    }
    std::stable_sort(cand.begin(), cand.end(),
                     [](const Candidate& l, const Candidate& r) { return l.d2 < r.d2; });
    used_a.assign(a[f].size(), 0);
    used_b.assign(b[f].size(), 0);
    for (const Candidate& c : cand) {
      if (used_a[c.i] || used_b[c.j]) continue;
      used_a[c.i] = used_b[c.j] = 1;
      pairs.push_back({a[f][c.i], b[f][c.j]});
    }
  }
  return pairs;
}

double Residual(const std::vector<PointPair>& pairs, const Affine& t) {
  if (pairs.empty()) return 0;
  double s = 0;
  for (const PointPair& p : pairs) {
    double x = 0, y = 0;
    t.Apply(p.a.x, p.a.y, x, y);
    s += (p.b.x - x) * (p.b.x - x) + (p.b.y - y) * (p.b.y - y);
  }
  return std::sqrt(s / static_cast<double>(pairs.size()));
}

}  // namespace

std::optional<Registration> RegisterPoints(const std::vector<std::vector<PointXY>>& a,
                                           const std::vector<std::vector<PointXY>>& b,
                                           const RegistrationOptions& options) {
  const auto offset = CommonOffset(a, b, options.max_shift_px);
  if (!offset) return std::nullopt;
  Registration r;
  r.transform.c[0] = offset->x;
  r.transform.c[3] = offset->y;
  for (int round = 0; round < 3; ++round) {
    std::vector<PointPair> pairs = MatchPairs(a, b, r.transform, options.match_px);
    const auto fit = FitAffine(pairs);
    if (!fit) return std::nullopt;
    r.transform = *fit;
    r.pairs = std::move(pairs);
  }
  r.rms_px = Residual(r.pairs, r.transform);
  return r;
}

std::vector<double> MeanImage(RecordStore& store, int32_t frames, Reporter& reporter,
                              int32_t& width, int32_t& height) {
  std::vector<double> sum;
  width = height = 0;
  if (!store.RestartStream(-1, reporter)) return sum;
  int32_t used = 0;
  for (int32_t f = 0; f < frames; ++f) {
    if (store.ReadNext(reporter) != FrameReadStatus::kOk) break;
    if (f == 0) {
      width = store.Width();
      height = store.Height();
      sum.assign(static_cast<size_t>(width) * height, 0.0);
    }
    if (store.Width() != width || store.Height() != height) continue;
    const uint16_t* p = store.FrameBuffer();
    for (size_t i = 0; i < sum.size(); ++i) sum[i] += p[i];
    ++used;
  }
  if (used > 0)
    for (double& v : sum) v /= used;
  return sum;
}

void WarpAffineBilinear(const uint16_t* in, uint16_t* out, int32_t width, int32_t height,
                        const Affine& t, int workers) {
  const size_t n = static_cast<size_t>(width) * static_cast<size_t>(height);
  if (n == 0) return;
  double sum = 0;
  for (size_t i = 0; i < n; ++i) sum += in[i];
  const uint16_t fill = static_cast<uint16_t>(std::lround(sum / static_cast<double>(n)));
  ParallelChunks(
      height,
      [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) {
          uint16_t* row = out + static_cast<size_t>(y) * width;
          for (int64_t x = 0; x < width; ++x) {
            double sx = 0, sy = 0;
            t.Apply(static_cast<double>(x), static_cast<double>(y), sx, sy);
            const double fx0 = std::floor(sx), fy0 = std::floor(sy);
            if (!(fx0 >= 0 && fy0 >= 0 && fx0 <= width - 1 && fy0 <= height - 1)) {
              row[x] = fill;
              continue;
            }
            const int64_t ix = static_cast<int64_t>(fx0), iy = static_cast<int64_t>(fy0);
            const double fx = sx - fx0, fy = sy - fy0;
            // The last column (row) needs no neighbour at a weight of zero.
            if ((fx > 0 && ix + 1 >= width) || (fy > 0 && iy + 1 >= height)) {
              row[x] = fill;
              continue;
            }
            const uint16_t* p = in + static_cast<size_t>(iy) * width + static_cast<size_t>(ix);
            double v = (1 - fx) * (1 - fy) * p[0];
            if (fx > 0) v += fx * (1 - fy) * p[1];
            if (fy > 0) v += (1 - fx) * fy * p[width];
            if (fx > 0 && fy > 0) v += fx * fy * p[width + 1];
            row[x] = static_cast<uint16_t>(std::lround(v));
          }
        }
      },
      16, workers);
}

ExportResult ExportRegistered(ExportJob& job, const std::string& out_path, const Affine& t) {
  if (RefuseRecordAsOutput(job.store, out_path, job.reporter)) return {};
  const std::string part = out_path + ".part";
  XkvExportStream s(job);
  if (!s.Open(part, -1)) return {};
  RecordStore& store = s.Store();
  std::vector<uint16_t> warped;
  while (s.Next()) {
    warped.resize(static_cast<size_t>(store.Width()) * store.Height());
    WarpAffineBilinear(store.FrameBuffer(), warped.data(), store.Width(), store.Height(), t);
    s.Write(store.Prm(), warped.data());
  }
  ExportResult r = s.Finish();
  if (r.ok && !r.stopped) {
    r.ok = CommitPart(part, out_path, job.reporter);
  } else {
    std::error_code ec;
    std::filesystem::remove(part, ec);
  }
  return r;
}

std::string TransformText(const Registration& r) {
  std::string s(kTransformHeader);
  char line[96];
  for (int i = 0; i < 6; ++i) {
    std::snprintf(line, sizeof line, "c%d\t%.10g\n", i, r.transform.c[static_cast<size_t>(i)]);
    s += line;
  }
  s += "rms_px\t" + FormatTable(r.rms_px, "%.4f") + "\npairs\t" + std::to_string(r.pairs.size()) +
       '\n';
  return s;
}

std::optional<Affine> ParseTransform(std::string_view text) {
  Affine t;
  int seen = 0;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(pos, end - pos);
    pos = end + 1;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    const size_t tab = line.find('\t');
    if (tab == std::string_view::npos || line.size() < 2 || line[0] != 'c') continue;
    const auto index = ParseInteger(line.substr(1, tab - 1));
    if (!index) continue;  // the header, or a row of another name
    const auto value = ParseReal(line.substr(tab + 1));
    if (!value || *index < 0 || *index > 5 || !std::isfinite(*value)) return std::nullopt;
    t.c[static_cast<size_t>(*index)] = *value;
    seen |= 1 << *index;
  }
  if (seen != 0x3f) return std::nullopt;
  return t;
}

}  // namespace lumetra
