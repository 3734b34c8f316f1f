#include "surface/surface_render.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>

#include "common/file_handle.h"
#include "common/parallel.h"
#include "common/text_format.h"
#include "display/png_writer.h"
#include "surface/surface_messages.h"

namespace lumetra {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int32_t kMinPictureSide = 16, kMaxPictureSide = 4000;
// Light from the upper left, in the region's own axes (x right, y down, z up).
constexpr double kLightX = -0.35, kLightY = -0.45, kLightZ = 0.82;
// Block sides: the ones facing along x a little darker than the top, along y darker still.
constexpr double kShadeSideX = 0.78, kShadeSideY = 0.62;

uint32_t Shade(uint32_t colour, double factor) {
  const auto ch = [&](int shift) {
    const double v = static_cast<double>((colour >> shift) & 0xFF) * factor;
    return static_cast<uint32_t>(std::clamp(v, 0.0, 255.0)) << shift;
  };
  return ch(16) | ch(8) | ch(0);
}

uint32_t ColourOf(const std::vector<uint32_t>& palette, uint16_t count) {
  if (palette.empty()) return count > 0xFF ? 0xFFFFFF : count * 0x010101u;
  return palette[std::min<size_t>(count, palette.size() - 1)];
}

// Where world points land: turn about the vertical axis, tilt towards the
// viewer, then scale and shift into the picture.
struct Projection {
  double cb, sb, ca, sa, scale = 1, ox = 0, oy = 0;
  void Raw(double X, double Y, double Z, double& sx, double& sy, double& d) const {
    const double xr = X * cb - Y * sb, yr = X * sb + Y * cb;
    sx = xr;
    sy = yr * sa - Z * ca;
    d = -(yr * ca + Z * sa);
  }
};

}  // namespace

bool SetTilt(SurfaceView& view, double tilt_deg, Reporter& reporter) {
  if (!(tilt_deg >= 0 && tilt_deg <= 90)) {
    reporter.Modal(kTiltError);
    return false;
  }
  view.tilt_deg = tilt_deg;
  return true;
}

bool SetTurn(SurfaceView& view, double turn_deg, Reporter& reporter) {
  if (!(turn_deg >= -360 && turn_deg <= 360)) {
    reporter.Modal(kTurnError);
    return false;
  }
  view.turn_deg = turn_deg;
  return true;
}

bool SetHeightScale(SurfaceView& view, double scale, Reporter& reporter) {
  if (!(scale >= 0 && scale <= 5)) {
    reporter.Modal(kHeightError);
    return false;
  }
  view.height_scale = scale;
  return true;
}

std::optional<std::pair<int32_t, int32_t>> ParsePictureSize(std::string_view text,
                                                            Reporter& reporter) {
  std::string s(text);
  std::replace_if(
      s.begin(), s.end(), [](char c) { return c == 'x' || c == 'X' || c == ','; }, ' ');
  int w = 0, h = 0;
  char rest = 0;
  if (std::sscanf(s.c_str(), "%d %d %c", &w, &h, &rest) != 2 || w < kMinPictureSide ||
      h < kMinPictureSide || w > kMaxPictureSide || h > kMaxPictureSide) {
    reporter.Modal(kSizeError);
    return std::nullopt;
  }
  return std::pair<int32_t, int32_t>{w, h};
}

std::optional<Region> SurfaceRegion(const Region& user_region, int32_t width, int32_t height) {
  Region r{0, 0, width, height, true};
  if (user_region.active) {
    r.left = std::max(user_region.left, 0);
    r.top = std::max(user_region.top, 0);
    r.right = std::min(user_region.right, width);
    r.bottom = std::min(user_region.bottom, height);
  }
  if (r.right <= r.left || r.bottom <= r.top) return std::nullopt;
  return r;
}

void SurfaceRenderer::Triangle(const Vertex& a, const Vertex& b0, const Vertex& c0, uint32_t colour,
                               const Band& band) {
  const Vertex* b = &b0;
  const Vertex* c = &c0;
  float area = (b->x - a.x) * (c->y - a.y) - (b->y - a.y) * (c->x - a.x);
  if (!(std::fabs(area) > 1e-9f)) return;
  if (area < 0) {
    std::swap(b, c);
    area = -area;
  }
  const int32_t y0 =
      std::max(band.top, static_cast<int32_t>(std::floor(std::min({a.y, b->y, c->y}))));
  const int32_t y1 =
      std::min(band.bottom - 1, static_cast<int32_t>(std::ceil(std::max({a.y, b->y, c->y}))));
  if (y0 > y1) return;
  const int32_t width = band.out.width;
  const int32_t x0 = std::max(0, static_cast<int32_t>(std::floor(std::min({a.x, b->x, c->x}))));
  const int32_t x1 =
      std::min(width - 1, static_cast<int32_t>(std::ceil(std::max({a.x, b->x, c->x}))));
  if (x0 > x1) return;
  // Edge functions, positive inside; each steps by -(dy) along a row.
  const auto edge = [](const Vertex& u, const Vertex& v, float px, float py) {
    return (v.x - u.x) * (py - u.y) - (v.y - u.y) * (px - u.x);
  };
  const float inv = 1.0f / area;
  const float s0 = -(c->y - b->y), s1 = -(a.y - c->y), s2 = -(b->y - a.y);
  for (int32_t py = y0; py <= y1; ++py) {
    const float cy = static_cast<float>(py) + 0.5f, cx = static_cast<float>(x0) + 0.5f;
    float e0 = edge(*b, *c, cx, cy), e1 = edge(*c, a, cx, cy), e2 = edge(a, *b, cx, cy);
    float* zrow = band.depth + static_cast<size_t>(py) * width;
    uint32_t* prow = band.out.pixels.data() + static_cast<size_t>(py) * width;
    for (int32_t px = x0; px <= x1; ++px, e0 += s0, e1 += s1, e2 += s2) {
      if (e0 < 0 || e1 < 0 || e2 < 0) continue;
      const float z = (e0 * a.z + e1 * b->z + e2 * c->z) * inv;
      if (z < zrow[px]) {
        zrow[px] = z;
        prow[px] = colour;
      }
    }
  }
}

void SurfaceRenderer::Quad(const Vertex& a, const Vertex& b, const Vertex& c, const Vertex& d,
                           uint32_t colour, const Band& band) {
  Triangle(a, b, c, colour, band);
  Triangle(a, c, d, colour, band);
}

void SurfaceRenderer::Render(const uint16_t* pixels, int32_t frame_width, const Region& region,
                             const std::vector<uint32_t>& palette, const SurfaceView& view,
                             RgbImage& out, int workers) {
  if (out.width < 1 || out.height < 1) out.Resize(1, 1, kSurfaceBackground);
  std::fill(out.pixels.begin(), out.pixels.end(), kSurfaceBackground);
  depth_.assign(out.pixels.size(), std::numeric_limits<float>::infinity());
  const int32_t w = region.Width(), h = region.Height();
  if (!pixels || w < 1 || h < 1) return;
  const size_t cells = static_cast<size_t>(w) * h;
  heights_.resize(cells);
  colours_.resize(cells);
  uint16_t lo = 0xFFFF, hi = 0;
  for (int32_t j = 0; j < h; ++j) {
    const uint16_t* row = pixels + static_cast<int64_t>(region.top + j) * frame_width + region.left;
    for (int32_t i = 0; i < w; ++i) {
      lo = std::min(lo, row[i]);
      hi = std::max(hi, row[i]);
      colours_[static_cast<size_t>(j) * w + i] = ColourOf(palette, row[i]);
    }
  }
  const double top = view.height_scale * std::max(w, h);
  // A flat region has no height to scale: it lies flat at 0.
  const double k = hi > lo ? top / (hi - lo) : 0.0;
  for (int32_t j = 0; j < h; ++j) {
    const uint16_t* row = pixels + static_cast<int64_t>(region.top + j) * frame_width + region.left;
    for (int32_t i = 0; i < w; ++i)
      heights_[static_cast<size_t>(j) * w + i] = static_cast<float>((row[i] - lo) * k);
  }

  Projection p;
  p.cb = std::cos(view.turn_deg * kPi / 180);
  p.sb = std::sin(view.turn_deg * kPi / 180);
  p.ca = std::cos(view.tilt_deg * kPi / 180);
  p.sa = std::sin(view.tilt_deg * kPi / 180);
  // Fit the whole box the surface can fill, not this frame's heights, so the
  // picture stays put while the frames change.
  double min_x = 1e300, max_x = -1e300, min_y = 1e300, max_y = -1e300;
  for (int corner = 0; corner < 8; ++corner) {
    double sx, sy, d;
    p.Raw((corner & 1 ? 0.5 : -0.5) * w, (corner & 2 ? 0.5 : -0.5) * h, corner & 4 ? top : 0, sx,
          sy, d);
    min_x = std::min(min_x, sx);
    max_x = std::max(max_x, sx);
    min_y = std::min(min_y, sy);
    max_y = std::max(max_y, sy);
  }
  const double margin = std::max(2.0, 0.05 * std::min(out.width, out.height));
  const double fit_x = (out.width - 2 * margin) / std::max(max_x - min_x, 1e-9);
  const double fit_y = (out.height - 2 * margin) / std::max(max_y - min_y, 1e-9);
  p.scale = std::max(std::min(fit_x, fit_y), 1e-6);
  p.ox = out.width * 0.5 - p.scale * (min_x + max_x) * 0.5;
  p.oy = out.height * 0.5 - p.scale * (min_y + max_y) * 0.5;
  // The corners at height 0; a height z lifts a corner up the picture and
  // towards the viewer.
  const size_t row = static_cast<size_t>(w) + 1;
  base_.resize(row * (h + 1));
  for (int32_t j = 0; j <= h; ++j)
    for (int32_t i = 0; i <= w; ++i) {
      double sx, sy, d;
      p.Raw(i - 0.5 * w, j - 0.5 * h, 0, sx, sy, d);
      base_[j * row + i] = Vertex{static_cast<float>(p.ox + p.scale * sx),
                                  static_cast<float>(p.oy + p.scale * sy), static_cast<float>(d)};
    }
  const float up_y = static_cast<float>(p.ca * p.scale), up_z = static_cast<float>(p.sa);
  const auto lift = [&](size_t corner, float z) {
    const Vertex& b = base_[corner];
    return Vertex{b.x, b.y - z * up_y, b.z - z * up_z};
  };
  const auto height = [&](int32_t i, int32_t j) {
    return heights_[static_cast<size_t>(j) * w + i];
  };

  std::function<void(const Band&)> draw;
  if (view.blocks) {
    // A side is seen when its outward normal turns towards the viewer, and
    // only above the neighbour's block on that side.
    const bool see_px = p.sb * p.ca > 1e-9, see_nx = p.sb * p.ca < -1e-9;
    const bool see_py = p.cb * p.ca > 1e-9, see_ny = p.cb * p.ca < -1e-9;
    draw = [&, see_px, see_nx, see_py, see_ny](const Band& band) {
      const auto side = [&](size_t c0, size_t c1, float z, float below, uint32_t colour) {
        if (below < z)
          Quad(lift(c0, z), lift(c1, z), lift(c1, below), lift(c0, below), colour, band);
      };
      for (int32_t j = 0; j < h; ++j)
        for (int32_t i = 0; i < w; ++i) {
          const float z = height(i, j);
          const uint32_t c = colours_[static_cast<size_t>(j) * w + i];
          const size_t c00 = j * row + i, c10 = c00 + 1, c01 = c00 + row, c11 = c01 + 1;
          Quad(lift(c00, z), lift(c10, z), lift(c11, z), lift(c01, z), c, band);
          if (z <= 0) continue;
          const uint32_t cx = Shade(c, kShadeSideX), cy = Shade(c, kShadeSideY);
          if (see_px) side(c10, c11, z, i + 1 < w ? height(i + 1, j) : 0.0f, cx);
          if (see_nx) side(c00, c01, z, i > 0 ? height(i - 1, j) : 0.0f, cx);
          if (see_py) side(c01, c11, z, j + 1 < h ? height(i, j + 1) : 0.0f, cy);
          if (see_ny) side(c00, c10, z, j > 0 ? height(i, j - 1) : 0.0f, cy);
        }
    };
  } else {
    // The smooth surface: corners at the mean height of the pixels around
    // them, each square shaded by its slope.
    corner_z_.resize(base_.size());
    grid_.resize(base_.size());
    for (int32_t j = 0; j <= h; ++j)
      for (int32_t i = 0; i <= w; ++i) {
        float sum = 0;
        int n = 0;
        for (int32_t dj = std::max(j - 1, 0); dj <= std::min(j, h - 1); ++dj)
          for (int32_t di = std::max(i - 1, 0); di <= std::min(i, w - 1); ++di, ++n)
            sum += height(di, dj);
        corner_z_[j * row + i] = sum / static_cast<float>(n);
        grid_[j * row + i] = lift(j * row + i, corner_z_[j * row + i]);
      }
    const double light = std::sqrt(kLightX * kLightX + kLightY * kLightY + kLightZ * kLightZ);
    for (int32_t j = 0; j < h; ++j)
      for (int32_t i = 0; i < w; ++i) {
        const size_t g = j * row + i;
        const double gx = 0.5 * ((corner_z_[g + 1] + corner_z_[g + row + 1]) -
                                 (corner_z_[g] + corner_z_[g + row]));
        const double gy = 0.5 * ((corner_z_[g + row] + corner_z_[g + row + 1]) -
                                 (corner_z_[g] + corner_z_[g + 1]));
        const double dot =
            (-gx * kLightX - gy * kLightY + kLightZ) / (std::sqrt(gx * gx + gy * gy + 1) * light);
        uint32_t& c = colours_[static_cast<size_t>(j) * w + i];
        c = Shade(c, 0.35 + 0.65 * std::max(dot, 0.0));
      }
    draw = [&](const Band& band) {
      for (int32_t j = 0; j < h; ++j)
        for (int32_t i = 0; i < w; ++i) {
          const size_t g = j * row + i;
          Quad(grid_[g], grid_[g + 1], grid_[g + row + 1], grid_[g + row],
               colours_[static_cast<size_t>(j) * w + i], band);
        }
    };
  }
  // Every band meets the squares in the same order, so each pixel's depth
  // test sees the same sequence as with one thread.
  ParallelChunks(
      out.height,
      [&](int64_t first, int64_t last) {
        draw(Band{out, depth_.data(), static_cast<int32_t>(first), static_cast<int32_t>(last)});
      },
      64, workers);
}

namespace {

bool EndsWithNoCase(const std::string& path, std::string_view end) {
  if (path.size() < end.size()) return false;
  return std::equal(
      end.begin(), end.end(), path.end() - static_cast<std::ptrdiff_t>(end.size()),
      [](char a, char b) { return std::tolower(static_cast<unsigned char>(b)) == a; });
}

}  // namespace

bool KnownPictureName(const std::string& path) {
  return EndsWithNoCase(path, ".png") || EndsWithNoCase(path, ".bmp");
}

bool SaveSurfacePicture(const std::string& path, const RgbImage& picture, Reporter& reporter) {
  if (!KnownPictureName(path)) {
    reporter.Modal(kImageFormatError, path);
    return false;
  }
  const bool png = EndsWithNoCase(path, ".png");
  const std::string part = path + ".part";
  errno = 0;
  const bool ok = png ? WritePng(part, picture.pixels.data(), picture.width, picture.height)
                      : WriteBmp(part, picture);
  const int err = errno;
  if (!ok || std::rename(part.c_str(), path.c_str()) != 0) {
    std::remove(part.c_str());
    reporter.Modal(kCanNotOpenForWriting, OpenFailureDetail(path, ok ? errno : err));
    return false;
  }
  return true;
}

}  // namespace lumetra
