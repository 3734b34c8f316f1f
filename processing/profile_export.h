// "Profile as XKV": the band of pixels along the user's profile line,
// straightened, saved frame by frame as a record of length x width frames.
#pragma once

#include <cstdint>
#include <string>

#include "processing/export_stream.h"

namespace lumetra {

// The band along the profile line from (x0, y0) to (x1, y1), in frame pixels (pixel centres
// at whole numbers), and the band's width across it, in pixels.
struct ProfileBand {
  double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  int32_t width = 1;
  // Length along the line in whole pixels (truncated).
  int32_t Length() const;
};

// The frame pixel that band row r, column c samples (nearest pixel; it may lie
// outside the frame). Length() must be above 0.
void BandSamplePoint(const ProfileBand& line, int32_t r, int32_t c, int32_t& x, int32_t& y);

// Samples the band into out (Length() columns x width rows, row-major): row r
// lies (r - (width - 1) / 2) pixels to the left of the line, column c is c
// pixels from its start; each sample takes the nearest pixel, 0 outside.
void SampleProfileBand(const uint16_t* frame, int32_t frame_width, int32_t frame_height,
                       const ProfileBand& line, uint16_t* out);

// Refuses a line shorter than 5 pixels ("Draw Profile first") and a band
// narrower than 3 ("Profile is too narrow (1 pixel) for saving as XKV").
// Output header: Width = length, Height = band width, ScaleX = ScaleY = the
// record's pixel size, X0 and Y0 = the line's start point.
ExportResult ExportProfile(ExportJob& job, const std::string& out_path, const ProfileBand& line);

}  // namespace lumetra
