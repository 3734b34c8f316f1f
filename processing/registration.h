// Registering one colour channel onto the other ("image-split matching"): an
// affine transform found from points seen in both channels, either beads (the
// bright spots of the channels' mean images) or the matched points of tracks
// found in each channel, and the channel warped onto the other's pixels.
//
// The transform maps a point of the reference channel A to the same point in
// channel B: xb = c[0] + c[1] xa + c[2] ya, yb = c[3] + c[4] xa + c[5] ya
// (frame pixels, pixel centres at whole numbers). Warping B onto A then reads
// B at T(x, y) for every pixel (x, y) of A.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "processing/export_stream.h"

namespace lumetra {

struct Affine {
  std::array<double, 6> c{0, 1, 0, 0, 0, 1};  // identity
  void Apply(double xa, double ya, double& xb, double& yb) const {
    xb = c[0] + c[1] * xa + c[2] * ya;
    yb = c[3] + c[4] * xa + c[5] * ya;
  }
};

struct PointXY {
  double x = 0, y = 0;
};

struct PointPair {
  PointXY a, b;
};

// Least-squares affine transform taking every a to its b. Nothing when fewer
// than 3 pairs are given or they lie on one line.
std::optional<Affine> FitAffine(const std::vector<PointPair>& pairs);

// Bright isolated spots of an image (counts, row-major): local maxima of
// their 5 x 5 neighbourhood standing `snr` robust standard deviations above the
// median, at least 3 pixels from the edge, placed by a Gaussian through the
// column (row) sums of their 5 x 5 box above the median. At most `max_beads`, the brightest first.
std::vector<PointXY> FindBeads(const std::vector<double>& image, int32_t width, int32_t height,
                               double snr = 6.0, size_t max_beads = 500);

struct RegistrationOptions {
  double max_shift_px = 20;  // the largest offset between the channels looked for
  double match_px = 1.5;     // a matched pair lies this close once transformed
};

struct Registration {
  Affine transform;
  std::vector<PointPair> pairs;  // the pairs of the last fit
  double rms_px = 0;             // residual of the pairs after the fit
};

// Matches points of A and B frame by frame (the lists of one index belong to
// one frame; beads are one frame). The offset most pairs agree on within
// max_shift_px starts the match; then nearest points within match_px, one to
// one, are fitted and matched again, three rounds. Nothing when fewer than 3
// non-collinear pairs remain.
std::optional<Registration> RegisterPoints(const std::vector<std::vector<PointXY>>& a,
                                           const std::vector<std::vector<PointXY>>& b,
                                           const RegistrationOptions& options);

// Mean image of up to `frames` frames of the open record from its first
// (frames of another size than frame 0 are left out). Empty when nothing is read.
std::vector<double> MeanImage(RecordStore& store, int32_t frames, Reporter& reporter,
                              int32_t& width, int32_t& height);

// Channel B (`in`, same size as the output) read at T(x, y) for every output
// pixel (x, y), bilinear; points outside B take the frame's mean, as the
// drift-corrected record does. Rows run on `workers` threads (0: every core);
// the result is the same for any number.
void WarpAffineBilinear(const uint16_t* in, uint16_t* out, int32_t width, int32_t height,
                        const Affine& t, int workers = 0);

// The open record (channel B) streamed with every frame warped onto A's
// pixels; written under a temporary name and renamed when complete.
ExportResult ExportRegistered(ExportJob& job, const std::string& out_path, const Affine& t);

// The transform as a table under kTransformHeader (c0..c5, rms_px, pairs), and back.
std::string TransformText(const Registration& r);
std::optional<Affine> ParseTransform(std::string_view text);

}  // namespace lumetra
