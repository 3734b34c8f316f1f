// The 3D surface view: the region of a frame drawn as a tilted surface (or as
// a block per pixel) whose height is the pixel's count, coloured through the
// display palette, into an RGB picture. A small z-buffered rasteriser; its
// buffers are kept between frames, so repainting during playback allocates
// nothing once the picture size stays.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/region.h"
#include "common/report.h"
#include "processing/bmp_writer.h"

namespace lumetra {

struct SurfaceView {
  double tilt_deg = 40;       // 0 edge-on, 90 straight from above
  double turn_deg = 30;       // about the vertical axis, counter-clockwise seen from above
  double height_scale = 0.3;  // the brightest pixel rises this many times the longer side
  bool blocks = false;        // a block per pixel instead of a smooth surface
};

inline constexpr uint32_t kSurfaceBackground = 0xFFFFFF;

// Checks a typed view: false after the range message (the view unchanged).
bool SetTilt(SurfaceView& view, double tilt_deg, Reporter& reporter);
bool SetTurn(SurfaceView& view, double turn_deg, Reporter& reporter);
bool SetHeightScale(SurfaceView& view, double scale, Reporter& reporter);
// "640 x 480", "640x480" or "640 480"; nothing after the size message.
std::optional<std::pair<int32_t, int32_t>> ParsePictureSize(std::string_view text,
                                                            Reporter& reporter);

// The region the view draws: the user's region clipped to the frame, or the
// whole frame when none is drawn. Nothing when it holds no pixel.
std::optional<Region> SurfaceRegion(const Region& user_region, int32_t width, int32_t height);

class SurfaceRenderer {
 public:
  // Draws `region` (inside the frame) of the frame `pixels` (row-major counts)
  // into `out`, which keeps its size (at least 1 x 1). Heights run from the
  // region's lowest count (0) to its highest; a flat region lies flat.
  // Colours are palette[count] (the last entry for counts beyond it).
  // `workers` threads (0: every core) each draw a band of picture rows; the
  // picture is the same for any number.
  void Render(const uint16_t* pixels, int32_t frame_width, const Region& region,
              const std::vector<uint32_t>& palette, const SurfaceView& view, RgbImage& out,
              int workers = 0);

 private:
  struct Vertex {
    float x, y, z;  // picture pixels and depth (smaller is nearer)
  };
  // Picture rows [top, bottom) that one thread fills.
  struct Band {
    RgbImage& out;
    float* depth;
    int32_t top, bottom;
  };
  static void Triangle(const Vertex& a, const Vertex& b, const Vertex& c, uint32_t colour,
                       const Band& band);
  static void Quad(const Vertex& a, const Vertex& b, const Vertex& c, const Vertex& d,
                   uint32_t colour, const Band& band);

  std::vector<float> depth_;
  std::vector<float> heights_;     // per region pixel, world units
  std::vector<uint32_t> colours_;  // per region pixel, from the palette
  std::vector<float> corner_z_;    // (w + 1) x (h + 1) corner heights of the surface
  std::vector<Vertex> base_;       // the corners at height 0 on the picture
  std::vector<Vertex> grid_;       // the surface's corners on the picture
};

// True when the name ends in .png or .bmp (any letter case).
bool KnownPictureName(const std::string& path);
// Saves the picture as PNG or BMP by the name's ending, under a temporary name
// renamed when complete. False after the message (naming the file).
bool SaveSurfacePicture(const std::string& path, const RgbImage& picture, Reporter& reporter);

}  // namespace lumetra
