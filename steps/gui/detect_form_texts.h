// Texts of the step-detection window itself: menus, progress, prompts about
// unsaved results and the labels of its views. The analysis's own texts are
// in steps/steps_messages.h.
#pragma once

#include <string_view>

namespace lumetra {

// Progress of a pass in the window's status bar; %1 the frame, %2 the frames.
inline constexpr std::string_view kDetectProgress = "Detect: frame %1 of %2 (Esc stops)";
inline constexpr std::string_view kCollectProgress = "Tracking: frame %1 of %2 (Esc stops)";
inline constexpr std::string_view kDetectFinished = "Detect finished: %1 frames";
inline constexpr std::string_view kDetectStopped = "Detect stopped at frame %1 of %2";
inline constexpr std::string_view kCollectFinished = "Tracking finished: %1 traces of %2 frames";
inline constexpr std::string_view kCollectStopped =
    "Tracking stopped at frame %1 of %2: the traces end there";
inline constexpr std::string_view kPlaybackBusy = "The record is playing - Esc stops it first";
inline constexpr std::string_view kNothingToShow = "No object above the test threshold";

// Per-object messages of a test, shown once with the number of objects.
inline constexpr std::string_view kObjectsWithMessage = "%1 (%2 objects)";

// Before results that were not saved are dropped.
inline constexpr std::string_view kUnsavedTitle = "Step results not saved";
inline constexpr std::string_view kUnsavedQuestion =
    "The test results of %1 objects are not saved (File > Save Results). Drop them?";
inline constexpr std::string_view kUnsavedOfferSave =
    "The test results of %1 objects are not saved. Save them before the window closes?";

inline constexpr std::string_view kSaveResultsTitle = "Save Results (TXT)";
inline constexpr std::string_view kResultsSaved = "%1 objects saved to %2";
inline constexpr std::string_view kTextFilter = "Text files (*.txt)";

// Captions that follow a setting.
inline constexpr std::string_view kDropThrCaption = "Set Drop Threshold (%1)";
inline constexpr std::string_view kMaxStepsCaption = "Max N of Steps=%1";
inline constexpr std::string_view kAmpBinCaption = "Intensity Bin=%1";
inline constexpr std::string_view kTimeBinCaption = "Time Bin=%1 s";

// The views.
inline constexpr std::string_view kObjectReadout =
    "Object %1 of %2  x=%3 y=%4  drTm=%5 rsTm=%6  %7";
inline constexpr std::string_view kTraceTitleX = "Frame";
inline constexpr std::string_view kTraceTitleY = "Intensity (counts/pixel)";
inline constexpr std::string_view kAmpTitleX = "Step amplitude (counts/pixel)";
inline constexpr std::string_view kTimeTitleX = "Step time (s)";
inline constexpr std::string_view kPulseTitleX = "Pulse length (s)";
inline constexpr std::string_view kHistTitleY = "Objects";
inline constexpr std::string_view kSendSpotFromTrack = "Spot at x=%1 y=%2 from the tracking window";

}  // namespace lumetra
