// Every text the manual tracking window and its core show the user: message
// boxes, the status line and the headers of the text exports.
#pragma once

#include <string_view>

#include "common/common_messages.h"

namespace lumetra {

inline constexpr std::string_view kTrackFormCaption = "Lumetra - Manual Object Tracking";

// Reading XKI files.
inline constexpr std::string_view kOldTypeXki = "Old type XKI file - Aborting";
inline constexpr std::string_view kTooManyTracksTruncated = "Too many tracks. Data truncated";

// Saving: an object's points after its first gap are not part of its XKI track.
inline constexpr std::string_view kGapNotSaved =
    "points after a gap are not saved in the XKI file: object ";
inline constexpr std::string_view kGapAtFrame = ", from frame ";
inline constexpr std::string_view kNoObjectToSave = "No object holds a point - nothing to save";

// Taking the tracks of the tracking window.
inline constexpr std::string_view kNoLinkedTracks =
    "The tracking window holds no linked tracks: run Detect and Link Tracks first";
inline constexpr std::string_view kDropUnsavedObjects =
    "The marked objects are not saved. Replace them anyway?";

// Status line while marking: "object 3, frame 17 of 200: point set".
inline constexpr std::string_view kStatusObject = "object ";
inline constexpr std::string_view kStatusFrame = ", frame ";
inline constexpr std::string_view kStatusOf = " of ";
inline constexpr std::string_view kStatusPointSet = ": point set";
inline constexpr std::string_view kStatusPointCorrected = ": point corrected";
inline constexpr std::string_view kStatusPointRemoved = ": point removed";
inline constexpr std::string_view kStatusLastFrame = " (last frame)";

// The tidy tables.
inline constexpr std::string_view kManualTableHeader =
    "track\tframe\ttime_s\tx_px\ty_px\tintensity\tx_um\ty_um\tspeed_um_s\n";
inline constexpr std::string_view kDistanceTableHeader =
    "frame\ttime_s\ttrack_a\ttrack_b\tdistance_um\n";

}  // namespace lumetra
