// Writing a record as a TIFF stack: 16-bit pages, one strip each, with the
// pixel size and frame interval in ImageJ's description (Fiji reads the scale
// and interval from it) or in OME-XML. The file is written under a temporary
// name beside the target and renamed when complete; BigTIFF when the pixel
// data would pass 4 GB.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "record/tiff_page.h"

namespace lumetra {

struct TiffStackInfo {
  int32_t width = 0, height = 0;  // pixels, the same for every frame
  int32_t frames = 0;             // pages that will be written
  double nm_x = 100, nm_y = 100;  // nm per pixel
  double frame_ms = 50;           // ms between frames
  std::vector<int32_t> time_ms;   // each frame's time (OME DeltaT); may be empty
  std::vector<int32_t> exposure_ms;  // each frame's exposure; may be empty
  bool ome = false;                  // OME-XML instead of ImageJ's description
  std::string name;                  // the image name in OME-XML
};

// Classic TIFF offsets are 32-bit: above this much pixel data, BigTIFF.
inline constexpr uint64_t kBigTiffThreshold = 4'000'000'000ull;

// The ImageDescription for the stack.
std::string ImageJDescription(const TiffStackInfo& info);
std::string OmeXml(const TiffStackInfo& info);

class TiffStackWriter {
 public:
  TiffStackWriter() = default;
  ~TiffStackWriter();
  TiffStackWriter(const TiffStackWriter&) = delete;
  TiffStackWriter& operator=(const TiffStackWriter&) = delete;

  // Opens the temporary file; false with `error` set.
  bool Open(const std::string& path, const TiffStackInfo& info, std::string& error);
  // Appends one page of width x height 16-bit counts.
  bool WriteFrame(const uint16_t* frame, std::string& error);
  // Closes the file and gives it its name; false (temporary file removed)
  // when fewer pages than announced were written or the file failed.
  bool Finish(std::string& error);
  // Removes the temporary file.
  void Abandon();
  bool BigTiff() const { return big_; }

 private:
  TIFF* tif_ = nullptr;
  std::string libtiff_error_;
  std::string path_, temp_;
  TiffStackInfo info_;
  int32_t written_ = 0;
  bool big_ = false;
};

}  // namespace lumetra
