// What a TIFF stack's ImageDescription says about its layout, pixel size and
// timing: the ImageJ "key=value" block and OME-XML. Pure text parsing; the TIFF
// source combines it with the resolution tags.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumetra {

enum class TiffMetaKind { kNone, kImageJ, kOme };

// One OME Plane element: which plane it describes and its timing (ms, NaN when absent).
struct OmePlane {
  int64_t c = 0, z = 0, t = 0;
  double delta_ms;
  double exposure_ms;
};

// One OME TiffData element: `count` planes from (first_c, first_z, first_t) in
// dimension order are the pages from `ifd` on. count -1: every plane that follows.
struct OmeTiffData {
  int64_t ifd = 0;
  int64_t first_c = 0, first_z = 0, first_t = 0;
  int64_t count = -1;
};

struct TiffDescription {
  TiffMetaKind kind = TiffMetaKind::kNone;
  // Layout: sizes (0: not stated) and the page order, fastest dimension first
  // after X and Y ("XYCZT": channel, then Z, then time).
  int64_t size_c = 1, size_z = 1, size_time = 0;
  int64_t images = 0;  // ImageJ images=: pages the stack should hold
  std::string order = "XYCZT";
  // Pixel size in nm (0: not stated) and the time between frames in ms (0: not stated).
  double nm_x = 0, nm_y = 0;
  double frame_ms = 0;
  // ImageJ: the unit of the resolution tags ("micron"), nm per unit (0: none usable).
  std::string unit;
  double unit_nm = 0;
  // OME only.
  int64_t image_count = 0;  // Image elements; the first one is read
  std::string pixel_type;
  std::vector<OmePlane> planes;
  std::vector<OmeTiffData> tiff_data;
  // Text that could not be used (an unknown unit, a malformed number), for the notes.
  std::vector<std::string> problems;
};

// Parses an ImageDescription. Text that is neither ImageJ nor OME gives kNone.
TiffDescription ParseTiffDescription(std::string_view text);

// nm in one unit of length ("micron", "um", "µm", "nm", "mm", "cm", "m"), or nothing.
std::optional<double> LengthUnitNm(std::string_view unit);
// ms in one unit of time ("s", "ms", "us", "µs", "min", "h"), or nothing.
std::optional<double> TimeUnitMs(std::string_view unit);

// Index of plane (c, z, t) among the planes in `order` ("XYZCT", ...), with
// the given sizes; -1 for an order that is not a permutation of Z, C and T.
int64_t PlaneIndex(std::string_view order, int64_t size_c, int64_t size_z, int64_t size_time,
                   int64_t c, int64_t z, int64_t t);

}  // namespace lumetra
