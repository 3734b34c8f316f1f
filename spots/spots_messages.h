// Every text the tracking window and its core show the user: message boxes,
// status read-outs and the headers of the text exports.
#pragma once

#include <string_view>

#include "common/common_messages.h"

namespace lumetra {

inline constexpr std::string_view kSpotFormCaption =
    "Lumetra - Automatic Single Particle Tracking (ASPT) ";

// Detection.
inline constexpr std::string_view kAreaTooSmall = "Area is too small";
inline constexpr std::string_view kAreaTooSmallFilaments =
    "Area is too small for filament tracking";
inline constexpr std::string_view kPixelLimitTruncated = "Pixel Limit => Data Truncated";
inline constexpr std::string_view kDetectCentersMemory =
    "Can not allocate memory in ''DetectCenters''";
inline constexpr std::string_view kImageBuffersMemory = "Can not allocate memory for image buffers";
inline constexpr std::string_view kSpotDataMemory = "Spot Data can not be allocated";
inline constexpr std::string_view kTooManyFrames =
    "Too many frames in record - Analysis will be limited to 10000 frames";

// Read-out pieces: "58 objects (1204 pixels,85 cnts/pix),0 completed tracks".
inline constexpr std::string_view kObjectsOpen = " objects (";
inline constexpr std::string_view kPixelsPart = " pixels,";
inline constexpr std::string_view kCountsPerPixelPart = " cnts/pix),";
inline constexpr std::string_view kCompletedTracks = " completed tracks";
inline constexpr std::string_view kSpotsInMap = " Spots in Map)";
inline constexpr std::string_view kCompletedTracksOpen = " completed tracks (";
inline constexpr std::string_view kTooBrightPart = " - too bright,";
inline constexpr std::string_view kTooBigRadiusPart = " - too big radius,";
inline constexpr std::string_view kTruncatedPart = " - truncated)";
inline constexpr std::string_view kMinDistanceTitle = "Min. Distance (um)";

// Linking.
inline constexpr std::string_view kTooManySpots = "Too many spots";
inline constexpr std::string_view kRunOutOfSpots = "Run out of mSpots";
inline constexpr std::string_view kTooFewObjects = "Too few objects (<3)";
// Handing a track's spot to the step-detection window.
inline constexpr std::string_view kSendTrackCaption = "Step Test of a Track (SFDA)";
inline constexpr std::string_view kSendTrackTitle = "Step Test of a Track";
inline constexpr std::string_view kSendTrackLabel = "Track Number=";
inline constexpr std::string_view kNoTrackToSend = "No completed track of that number";

// Settings of the window: input box titles, labels and refusals.
inline constexpr std::string_view kMaxRadiusTitle = "Set max. range of spot movements";
inline constexpr std::string_view kMaxRadiusLabel = "Max. Radius in pixels=";
inline constexpr std::string_view kMaxRadiusError = "Movement Range out of Order";
inline constexpr std::string_view kMinTrackTitle = "Set min. number of points/track";
inline constexpr std::string_view kMinTrackLabel = "min track length (points)=";
inline constexpr std::string_view kMinTrackError = "Track Length out of Order";
inline constexpr std::string_view kSensThrTitle = "Set Sensetivity Threshold";
inline constexpr std::string_view kSensThrLabel = "Q-Thresh(A.U.)=";
inline constexpr std::string_view kClustThrTitle = "Set Clastering Threshold";
inline constexpr std::string_view kClustThrLabel = "Clastering Thresh (counts/pixel)=";
inline constexpr std::string_view kThresholdError = "Threshold Out of Order";

// Track files.
inline constexpr std::string_view kTrackTimingError =
    "ERROR track timing outside record length - ABORT";
inline constexpr std::string_view kFileWritingError = "File Writing Error";
inline constexpr std::string_view kCanNotOpenFileForWriting = "Can not open file for writing";
inline constexpr std::string_view kTooManyColumnObjects =
    "Too many objects (>252) -> Data will be truncated";
inline constexpr std::string_view kTracksTooLong = "Tracks are too long -> Data will be truncated";

// Text export headers.
inline constexpr std::string_view kCurSpotsHeader = "Intensity\tX-coor\tY-coor\n";
inline constexpr std::string_view kVelocityHeader = "Velocity(um/s)\tTrack_Length\n";
inline constexpr std::string_view kTidyTracksHeader =
    "track\tframe\ttime_s\tx_px\ty_px\tintensity\n";

}  // namespace lumetra
