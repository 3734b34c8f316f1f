// The tracking window's own settings (R, L, Q, C, FWHM and the options that
// change detection), with their defaults and the ranges the input boxes accept.
#pragma once

#include <cstdint>

namespace lumetra {

// Which detector finds the spots: the template match of the window (the
// default), or "Dense Field Detection" for crowded and dim records.
enum class SpotDetectorKind { kTemplate, kDense };

struct TrackingParams {
  double fwhm_nm = 250;              // FWHM of the spot (nm), "Set FWHM (250nm)"
  double max_radius = 5;             // R: largest jump between frames (pixels)
  int32_t min_track = 10;            // L: a track must have more steps than this
  int32_t q_threshold = 8;           // Q: amplitude over residual a candidate needs
  int32_t cluster_threshold = 500;   // C: brightest intensity a track may have (counts/pixel)
  bool subtract_background = false;  // "Subtract Background": intensity above the ring
  bool resolve_close = false;        // "Resolve Close Spots": split clusters of close spots
  bool track_filaments = false;      // "Track Filaments": elongated objects, no shape test
  bool spot_map = false;             // "Build Spot Map": keep every object of the Detect pass
  bool q_auto = false;               // "Q: automatic": Q chosen from the record's noise at Detect
  SpotDetectorKind detector = SpotDetectorKind::kTemplate;
};

// Ranges of the input boxes of the window.
inline constexpr int32_t kMaxRadiusLow = 0, kMaxRadiusHigh = 30;
inline constexpr int32_t kMinTrackLow = 3, kMinTrackHigh = 100;
inline constexpr int32_t kSensThrLow = 2, kSensThrHigh = 10000;
inline constexpr int32_t kClustThrLow = 3, kClustThrHigh = 65000;

// Fixed capacities of the window's stores.
inline constexpr int32_t kMaxCandidates = 50000;   // the scan stops a row once this is exceeded
inline constexpr int32_t kMaxObjects = 10000;      // spots a frame
inline constexpr int32_t kMaxTracks = 10000;       // track slots
inline constexpr int32_t kMaxTrackFrames = 10000;  // analysed frames of a record

}  // namespace lumetra
