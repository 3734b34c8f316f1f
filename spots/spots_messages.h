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

// Dense field detection and the automatic Q.
inline constexpr std::string_view kDenseDetectionCaption = "Dense Field Detection";
inline constexpr std::string_view kQAutomaticCaption = "Q: automatic";
inline constexpr std::string_view kAutoQChose = "Q: automatic, chose Q=";
inline constexpr std::string_view kAutoQDenseUsed = "Dense Field Detection used";
inline constexpr std::string_view kAutoQHandedOver = " by Dense Field Detection (Q: automatic)";
// End of the Detect read-out with the dense detector: ", 3 fits fell back to the centroid".
inline constexpr std::string_view kFallbacksOpen = ", ";
inline constexpr std::string_view kFallbacksPart = " fits fell back to the centroid";

// Linking.
inline constexpr std::string_view kTooManySpots = "Too many spots";
inline constexpr std::string_view kRunOutOfSpots = "Run out of mSpots";
inline constexpr std::string_view kTooFewObjects = "Too few objects (<3)";
// Handing a track's spot to the step-detection window.
inline constexpr std::string_view kSendTrackCaption = "Step Test of a Track (SFDA)";
inline constexpr std::string_view kSendTrackTitle = "Step Test of a Track";
inline constexpr std::string_view kSendTrackLabel = "Track Number=";
inline constexpr std::string_view kNoTrackToSend = "No completed track of that number";

// Track statistics.
inline constexpr std::string_view kVeryFewObjects = "Very few objects detected";
inline constexpr std::string_view kTimeError = "Time ERROR!";
inline constexpr std::string_view kSpotMapEmpty =
    "The Spot Map is empty: check Build Spot Map and run Detect first";
inline constexpr std::string_view kSpotMapFull =
    "Spot Map is full (2000000 spots) - later spots are left out";

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
// Captions of the settings items before their setting first changes.
inline constexpr std::string_view kMaxRadiusStartCaption = "Max.Radius=5pix";
inline constexpr std::string_view kMinTrackStartCaption = "TrackLen >=10 steps ";
inline constexpr std::string_view kSensThrStartCaption = "Q-thresh=8";
inline constexpr std::string_view kClustThrStartCaption = "Cluster Thresh=500";

// Progress of Detect and Link Tracks: "frame 17 of 2000 (Esc stops)",
// "stopped at frame 17 of 2000".
inline constexpr std::string_view kProgressFrame = "frame ";
inline constexpr std::string_view kProgressOf = " of ";
inline constexpr std::string_view kProgressEscStops = " (Esc stops)";
inline constexpr std::string_view kStoppedAtFrame = "stopped at frame ";

// Asked before tracks that are not saved would be lost (another record opens,
// the window or the program closes).
inline constexpr std::string_view kUnsavedTracksTitle = "Tracks not saved";
inline constexpr std::string_view kUnsavedTracksQuestion =
    "The tracking window holds tracks that are not saved.\n"
    "Save them as an XKI file before they are closed?";
// Says which frame the spots drawn over the image come from.
inline constexpr std::string_view kSpotsOfFrame = "spots of frame ";

// Track files.
inline constexpr std::string_view kTrackTimingError =
    "ERROR track timing outside record length - ABORT";
inline constexpr std::string_view kBrokenXkiFile =
    "Broken XKI file: a track with a negative number of points - ABORT";
inline constexpr std::string_view kFileWritingError = "File Writing Error";
inline constexpr std::string_view kCanNotOpenFileForWriting = "Can not open file for writing";
inline constexpr std::string_view kTooManyColumnObjects =
    "Too many objects (>252) -> Data will be truncated";
inline constexpr std::string_view kTracksTooLong = "Tracks are too long -> Data will be truncated";

// Text export headers.
inline constexpr std::string_view kCurSpotsHeader = "Intensity\tX-coor\tY-coor\n";
inline constexpr std::string_view kVelocityHeader = "Velocity(um/s)\tTrack_Length\n";
inline constexpr std::string_view kDlatOutlineHeader = "DistanceToEdge\tMobility(Dlat(um2/s)\n";
inline constexpr std::string_view kIntensityDistributionHeader = "Intensity_Distribution\n";
inline constexpr std::string_view kStatDistributionsHeader =
    "\nDistance/Dlat/velocity_Distributoin\n";
inline constexpr std::string_view kSpotsInMapHeader = "FrNum\tInt(c/pix)\tX(um)\tY(um)\n";
inline constexpr std::string_view kTidyTracksHeader =
    "track\tframe\ttime_s\tx_px\ty_px\tintensity\n";
// The track command's table: the same, then the Cramér-Rao bound of each
// centre (nm) and the Q the template detector used (nan for the dense one).
inline constexpr std::string_view kTrackTableHeader =
    "track\tframe\ttime_s\tx_px\ty_px\tintensity\tsigma_x_nm\tsigma_y_nm\tq\n";

// Reading result and step tables (eval-steps); "line N: " goes before them.
inline constexpr std::string_view kStepTableEmpty = "the table is empty";
inline constexpr std::string_view kStepTableNoColumn = "the header has no column";
inline constexpr std::string_view kStepTableShortLine = "the line ends before column";
inline constexpr std::string_view kStepTableNotNumber = "is not a number";
inline constexpr std::string_view kStepTableBadKind = "kind must be drop or rise, not";


// Statistics of the tracks (MSD, diffusion, jumps, drift).
inline constexpr std::string_view kStatBadFrameInterval = "Frame interval must be above 0 s";
inline constexpr std::string_view kStatNoFrameInterval =
    "Frame interval unknown: give a record or the frame time";
inline constexpr std::string_view kStatNoScale = "Pixel size unknown: give a record or the nm per pixel";
inline constexpr std::string_view kStatShortTracks = " tracks with fewer than 3 points were left out";
inline constexpr std::string_view kStatNanPoints = " points without a finite position were made gaps";
inline constexpr std::string_view kStatGappedTracks =
    " tracks have missing frames: displacements across a gap are not used";
inline constexpr std::string_view kStatNoTracks = "No track has 3 or more points";
inline constexpr std::string_view kStatFrameMismatch = "The tracks and the record disagree: ";
inline constexpr std::string_view kStatTrackFramesPart = "the tracks reach frame ";
inline constexpr std::string_view kStatRecordFramesPart = ", the record has ";
inline constexpr std::string_view kStatFramesWord = " frames";
inline constexpr std::string_view kStatTooLong = "a track spans more than 10000 frames";
inline constexpr std::string_view kStatTooManyTracks = "more than 10000 tracks";
inline constexpr std::string_view kStatNoJumps = "Too few jumps for a jump-distance fit";
inline constexpr std::string_view kStatNoDrift = "No frame pair shares a track: drift unknown";
inline constexpr std::string_view kStatLowSnr = "signal-to-noise below 1 (sqrt(D dt)/sigma)";
inline constexpr std::string_view kStatNoView = "Nothing to show: run the statistics on tracks first";
inline constexpr std::string_view kStatNoDriftView = "Check Correct Drift to estimate the drift";
inline constexpr std::string_view kStatWindowCaption = "Lumetra - Track Statistics";
// Headers of the statistics tables.
inline constexpr std::string_view kMsdHeader = "track\tlag\tlag_s\tmsd_um2\tsem_um2\tpairs\n";
inline constexpr std::string_view kDiffusionHeader =
    "track\tpoints\tD_um2_s\tD_low\tD_high\tsigma_nm\tsnr\tmethod\n";
inline constexpr std::string_view kJumpHeader = "r_um\tcount\tdensity_per_um";
inline constexpr std::string_view kJumpStatesHeader =
    "states\tstate\tD_um2_s\tfraction\tlog_likelihood\tbic\tchosen\n";
inline constexpr std::string_view kDriftHeader = "frame\ttime_s\tdx_nm\tdy_nm\tpairs\n";

}  // namespace lumetra
