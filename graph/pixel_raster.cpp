#include "graph/pixel_raster.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace lumetra {
namespace {

void HSpan(PixelBuffer& buf, int y, int x0, int x1, uint32_t color) {
  if (y < buf.clip.top || y > buf.clip.bottom) return;
  x0 = std::max(x0, buf.clip.left);
  x1 = std::min(x1, buf.clip.right);
  uint32_t* row = buf.bits + static_cast<int64_t>(y) * buf.stride;
  for (int x = x0; x <= x1; ++x) row[x] = color;
}

void VSpan(PixelBuffer& buf, int x, int y0, int y1, uint32_t color) {
  if (x < buf.clip.left || x > buf.clip.right) return;
  y0 = std::max(y0, buf.clip.top);
  y1 = std::min(y1, buf.clip.bottom);
  uint32_t* p = buf.bits + static_cast<int64_t>(y0) * buf.stride + x;
  for (int y = y0; y <= y1; ++y, p += buf.stride) *p = color;
}

// Liang-Barsky clipping of a segment to a rectangle (inclusive bounds).
bool ClipSegment(double& x0, double& y0, double& x1, double& y1, const PixelRect& r) {
  double t0 = 0, t1 = 1;
  const double dx = x1 - x0, dy = y1 - y0;
  const double p[4] = {-dx, dx, -dy, dy};
  const double q[4] = {x0 - r.left, r.right - x0, y0 - r.top, r.bottom - y0};
  for (int i = 0; i < 4; ++i) {
    if (p[i] == 0) {
      if (q[i] < 0) return false;
      continue;
    }
    const double t = q[i] / p[i];
    if (p[i] < 0) {
      if (t > t1) return false;
      t0 = std::max(t0, t);
    } else {
      if (t < t0) return false;
      t1 = std::min(t1, t);
    }
  }
  const double nx0 = x0 + t0 * dx, ny0 = y0 + t0 * dy;
  x1 = x0 + t1 * dx;
  y1 = y0 + t1 * dy;
  x0 = nx0;
  y0 = ny0;
  return true;
}

bool Inside(PixelPoint p, const PixelRect& r) {
  return p.x >= r.left && p.x <= r.right && p.y >= r.top && p.y <= r.bottom;
}

int RoundToInt(double v) {
  return static_cast<int>(std::floor(v + 0.5));
}

// The stepping loops of a line already clipped to the buffer: the major axis
// advances one pixel a step, the minor one when the error runs out. `Put`
// writes the span across the line at each step.
template <typename Put>
void Walk(int ax, int ay, int dx, int dy, int sx, int sy, bool steep, Put put) {
  if (steep) {
    int err = dy / 2;
    for (int i = 0; i <= dy; ++i, ay += sy) {
      put(ax, ay);
      err -= dx;
      if (err < 0) {
        ax += sx;
        err += dy;
      }
    }
  } else {
    int err = dx / 2;
    for (int i = 0; i <= dx; ++i, ax += sx) {
      put(ax, ay);
      err -= dy;
      if (err < 0) {
        ay += sy;
        err += dx;
      }
    }
  }
}

// The steep case of Walk, unclipped, a vertical run at a time: the error
// term says how many rows stay in one column, so the rows are filled without
// a test per row. The same pixels as Walk; most segments of a dense trace
// are a single run.
void SteepRuns(uint32_t* p, int64_t row_step, int dx, int dy, int sx, int lo, int hi,
               uint32_t color) {
  int err = dy / 2;
  int remaining = dy + 1;
  while (remaining > 0) {
    const int run = dx == 0 ? remaining : std::min(remaining, err / dx + 1);
    if (lo == hi) {
      for (int i = 0; i < run; ++i, p += row_step) p[0] = color;
    } else {
      for (int i = 0; i < run; ++i, p += row_step)
        for (int j = lo; j <= hi; ++j) p[j] = color;
    }
    remaining -= run;
    err += dy - run * dx;
    p += sx;
  }
}

// False when nothing of the line can reach the clip (a span reaches at most
// 1.5 widths across). Ends outside the reach are cut to it, widened by the
// width, so far-off ends cost nothing.
bool CutToReach(const PixelBuffer& buf, PixelPoint& a, PixelPoint& b, int width) {
  const PixelRect& c = buf.clip;
  const int pad = 2 * width;
  if (std::max(a.x, b.x) + pad < c.left || std::min(a.x, b.x) - pad > c.right ||
      std::max(a.y, b.y) + pad < c.top || std::min(a.y, b.y) - pad > c.bottom)
    return false;
  if (Inside(a, buf.reach) && Inside(b, buf.reach)) return true;
  const PixelRect wide{buf.reach.left - width, buf.reach.top - width, buf.reach.right + width,
                       buf.reach.bottom + width};
  double x0 = a.x, y0 = a.y, x1 = b.x, y1 = b.y;
  if (!ClipSegment(x0, y0, x1, y1, wide)) return false;
  a = {RoundToInt(x0), RoundToInt(y0)};
  b = {RoundToInt(x1), RoundToInt(y1)};
  return true;
}

}  // namespace

void FillPixelRect(PixelBuffer& buf, PixelRect r, uint32_t color) {
  const int top = std::max(r.top, buf.clip.top), bottom = std::min(r.bottom, buf.clip.bottom);
  for (int y = top; y <= bottom; ++y) HSpan(buf, y, r.left, r.right, color);
}

void FillBars(PixelBuffer& buf, const std::vector<PixelRect>& bars, uint32_t color) {
  const PixelRect& c = buf.clip;
  if (c.right < c.left || c.bottom < c.top) return;
  // top[x - c.left]: highest row covered in column x; bottom + 1 when none.
  std::vector<int32_t> top(static_cast<size_t>(c.right - c.left + 1), c.bottom + 1);
  for (const PixelRect& b : bars) {
    if (b.bottom < c.bottom) {
      FillPixelRect(buf, b, color);
      continue;
    }
    const int x0 = std::max(b.left, c.left), x1 = std::min(b.right, c.right);
    const int t = std::max(b.top, c.top);
    for (int x = x0; x <= x1; ++x) top[x - c.left] = std::min(top[x - c.left], t);
  }
  const int highest = *std::min_element(top.begin(), top.end());
  for (int y = highest; y <= c.bottom; ++y) {
    uint32_t* row = buf.bits + static_cast<int64_t>(y) * buf.stride + c.left;
    for (size_t i = 0; i < top.size(); ++i)
      if (top[i] <= y) row[i] = color;
  }
}

// Bresenham along the major axis; at each step a span across it, lengthened
// by 1 / cos(angle) so the thickness across the line stays `width`.
void DrawThickLine(PixelBuffer& buf, PixelPoint a, PixelPoint b, int width, uint32_t color) {
  width = std::max(width, 1);
  if (!CutToReach(buf, a, b, width)) return;
  const int dx = std::abs(b.x - a.x), dy = std::abs(b.y - a.y);
  const int sx = a.x < b.x ? 1 : -1, sy = a.y < b.y ? 1 : -1;
  const bool steep = dy > dx;
  int span = width;
  if (width > 1 && (dx | dy) != 0) {
    const double major = steep ? dy : dx;
    span = RoundToInt(width * std::sqrt(double(dx) * dx + double(dy) * dy) / major);
  }
  const int lo = -(span - 1) / 2, hi = span / 2;
  // Whole line and its spans inside the clip: write without per-span checks.
  const PixelRect& c = buf.clip;
  const int pad_x = steep ? std::max(-lo, hi) : 0, pad_y = steep ? 0 : std::max(-lo, hi);
  const bool inside = std::min(a.x, b.x) - pad_x >= c.left &&
                      std::max(a.x, b.x) + pad_x <= c.right &&
                      std::min(a.y, b.y) - pad_y >= c.top && std::max(a.y, b.y) + pad_y <= c.bottom;
  uint32_t* const bits = buf.bits;
  const int64_t stride = buf.stride;
  if (inside && steep) {
    SteepRuns(bits + a.y * stride + a.x, stride * sy, dx, dy, sx, lo, hi, color);
  } else if (inside) {
    Walk(a.x, a.y, dx, dy, sx, sy, false, [&](int x, int y) {
      uint32_t* p = bits + (y + lo) * stride + x;
      for (int i = lo; i <= hi; ++i, p += stride) *p = color;
    });
  } else if (steep) {
    Walk(a.x, a.y, dx, dy, sx, sy, true,
         [&](int x, int y) { HSpan(buf, y, x + lo, x + hi, color); });
  } else {
    Walk(a.x, a.y, dx, dy, sx, sy, false,
         [&](int x, int y) { VSpan(buf, x, y + lo, y + hi, color); });
  }
}

void DrawPolyline(PixelBuffer& buf, const PixelPoint* points, int count, int width,
                  uint32_t color) {
  if (count < 2) return;
  for (int i = 1; i < count; ++i) DrawThickLine(buf, points[i - 1], points[i], width, color);
  if (width < 3) return;
  const SymbolStamp join = SymbolStamp::Disc(width, color);
  for (int i = 0; i < count; ++i) join.Stamp(buf, points[i]);
}

SymbolStamp SymbolStamp::Circle(int half, int width, uint32_t outline, bool filled, uint32_t fill) {
  SymbolStamp s;
  half = std::max(half, 0);
  width = std::max(width, 1);
  // Ring between the radii half - width/2 and half + width/2 (at least one pixel).
  const double outer = half + width / 2.0, inner = std::max(0.0, half - width / 2.0);
  const int reach = static_cast<int>(std::ceil(outer));
  for (int dy = -reach; dy <= reach; ++dy) {
    for (int dx = -reach; dx <= reach; ++dx) {
      const double d = std::hypot(dx, dy);
      uint32_t c;
      if (d <= outer && d >= std::min(inner, outer - 1.0)) {
        c = outline;
      } else if (d < inner && filled) {
        c = fill;
      } else {
        continue;
      }
      if (!s.spans_.empty() && s.spans_.back().dy == dy && s.spans_.back().dx1 == dx - 1 &&
          s.spans_.back().color == c) {
        s.spans_.back().dx1 = dx;
      } else {
        s.spans_.push_back({dy, dx, dx, c});
      }
    }
  }
  return s;
}

SymbolStamp SymbolStamp::Disc(int diameter, uint32_t color) {
  SymbolStamp s;
  const double r = diameter / 2.0;
  const int reach = static_cast<int>(std::ceil(r));
  for (int dy = -reach; dy <= reach; ++dy) {
    const double w = r * r - (dy * dy);
    if (w < 0) continue;
    const int dx = static_cast<int>(std::floor(std::sqrt(w)));
    s.spans_.push_back({dy, -dx, dx, color});
  }
  return s;
}

void SymbolStamp::Stamp(PixelBuffer& buf, PixelPoint centre) const {
  for (const Span& sp : spans_)
    HSpan(buf, centre.y + sp.dy, centre.x + sp.dx0, centre.x + sp.dx1, sp.color);
}

}  // namespace lumetra
