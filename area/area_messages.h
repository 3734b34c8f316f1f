// Every text the region window and its core show the user: captions, axis
// titles, refusals and read-outs. The fits' own result texts are built in
// grid_fits.cpp and fit_extras.cpp.
#pragma once

#include <string_view>

namespace lumetra {

inline constexpr std::string_view kAreaFormCaption = "Lumetra - Region Time Course";

// Refusals of the MSD and diffusion commands.
inline constexpr std::string_view kWrongMode = "Wrong mode";
inline constexpr std::string_view kWrongTiming = "Wrong Timing";
inline constexpr std::string_view kTimingOutOfBoundaries = "Timing out of Boundaries";

// Collection.
inline constexpr std::string_view kNoRegion = "Draw a region in the main window first";
inline constexpr std::string_view kRegionOutside = "The region lies outside the frame";
inline constexpr std::string_view kRegionClipped =
    "The region reaches past the frame: only its part inside the frame is measured";
inline constexpr std::string_view kNoTrack = "The chosen track has no point";
inline constexpr std::string_view kNoData = "No time course yet - collect one first";
inline constexpr std::string_view kCollectProgress = "Collecting: frame %1 of %2 (Esc stops)";
inline constexpr std::string_view kCollectFinished = "Collected %d frames";
inline constexpr std::string_view kCollectStopped = "Stopped at frame %d of %d: the curves end there";

// Fits and curve commands.
inline constexpr std::string_view kTooFewPointsSpots =
    "The spot-count fit needs at least 5 points";
inline constexpr std::string_view kNoSpotCount = "No spot count: a tracked object has none";
inline constexpr std::string_view kNoStage = "The record holds no stage positions";
inline constexpr std::string_view kCurveHasNaN = "The curve holds a value that is not a number";
inline constexpr std::string_view kNothingFitted =
    "No grid combination fits: the curve is flat at 0, negative or not a number";
inline constexpr std::string_view kRecoveryNothing =
    "The maximum comes right at the minimum: nothing to fit after the dip";
inline constexpr std::string_view kNoInterval = ": no 95% interval (too few points)";
inline constexpr std::string_view kIntervalLabel = "95% interval of the rate";
inline constexpr std::string_view kNoPreBleach =
    "The curve's minimum is its first point: no point before the bleach";
inline constexpr std::string_view kNoDrop = "The curve does not drop at its minimum";
inline constexpr std::string_view kNoReference =
    "No reference region: choose one with 'Use Region as Reference' and collect again";
inline constexpr std::string_view kPreBleachNotPositive =
    "A mean before the bleach is not above 0: the curves cannot be normalised";
inline constexpr std::string_view kCutPrompt = "Keep points (first-last, counted from 1)";
inline constexpr std::string_view kCutTitle = "Cut Track";
inline constexpr std::string_view kCutOutOfRange = "Points out of range (1-%d)";
inline constexpr std::string_view kTooFewPoints = "Too few points for this command";

// MSD and diffusion read-outs.
inline constexpr std::string_view kFittedDlat = "Fitted Dlat=";
inline constexpr std::string_view kMsd0 = "MSD(0)=";
inline constexpr std::string_view kDlat = "Dlat=";
inline constexpr std::string_view kUm2PerS = " um2/s";

// Axis titles.
inline constexpr std::string_view kTimeAxis = "Time (s)";
inline constexpr std::string_view kIntensityAxis = "Intensity (counts/pixel)";
inline constexpr std::string_view kPositionAxis = "Position (nm)";
inline constexpr std::string_view kSpotsAxis = "Spots in region";
inline constexpr std::string_view kSquaredDispAxis = "Squared displacement (um2)";
inline constexpr std::string_view kVelocityAxis = "Velocity (um/s)";
inline constexpr std::string_view kStageAxis = "Stage position (nm)";
inline constexpr std::string_view kMsdAxis = "MSD (um2)";
inline constexpr std::string_view kDtAxis = "dT (s)";
inline constexpr std::string_view kRecoveryAxis = "Intensity (% of minimum)";
inline constexpr std::string_view kDerivativeAxis = "dI/dt (counts/pixel/s)";
inline constexpr std::string_view kNormalisedAxis = "Normalised intensity";
inline constexpr std::string_view kXAxisNm = "X (nm)";
inline constexpr std::string_view kYAxisNm = "Y (nm)";

}  // namespace lumetra
