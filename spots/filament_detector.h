// DetectSpots of "Track Filaments": an elongated object does not fit the round
// spot template, so the shape test is left out. A pixel is a candidate when
// the disc mean around it stands out from the median of the background ring
// by at least q / 2 counts/pixel and by q standard errors of the disc mean,
// the spread taken from the ring's median deviation (A x sqrt(21) / sd >= q).
// Median and median deviation ignore the few ring pixels a filament crosses.
// Clustering and centres are the spots' own: each filament becomes one object
// at the mean of its pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "common/report.h"
#include "spots/spot_detector.h"

namespace lumetra {

// Scans the area (left/top inclusive, right/bottom exclusive, pixels) with the
// spots' margins. Returns the candidate count, or -1 after "Area is too small
// for filament tracking" when the area is narrower or lower than 13 pixels.
int32_t DetectFilamentPixels(const uint16_t* pixels, int32_t width, int32_t left, int32_t right,
                             int32_t top, int32_t bottom, int32_t q,
                             std::vector<Candidate>& candidates, Reporter& reporter);

}  // namespace lumetra
