// Every text the step-detection window and its core show the user: captions,
// input boxes, refusals, status read-outs and the header of the results text.
#pragma once

#include <string_view>

#include "common/common_messages.h"

namespace lumetra {

inline constexpr std::string_view kDetectFormCaption =
    "Lumetra - Single Fluorophore Detection (SFDA)";

// Buffers of the window, allocated when it opens on a record.
inline constexpr std::string_view kImageBuffersError = "Can not allocate memory for image buffers";
inline constexpr std::string_view kDetectionBuffersError =
    "Can not allocate memory for detection buffers";
inline constexpr std::string_view kPixelDataError = "Pixel Data can not be allocated";
inline constexpr std::string_view kSpotDataError = "Spot Data can not be allocated";
inline constexpr std::string_view kAllocatedTail = "Mb allocated - Click 'Detect'";
inline constexpr std::string_view kTooManyFramesSteps =
    "Too many frames in record - analysis will be limited to 1000 frames";

// Detection and the choice of objects.
inline constexpr std::string_view kDropsCaption = "Drops";
inline constexpr std::string_view kRisesCaption = "Rises";
inline constexpr std::string_view kSpotsAboveFormat = "%d spots above Thresh(%d) (up to %d spots)";
inline constexpr std::string_view kPixsAboveFormat = "%d pixs above Thresh(%d) (up to %d pixs)";
inline constexpr std::string_view kRecordTooShortFormat =
    "Record too short for step detection: %d frames read, %d needed - the maps are empty";
inline constexpr std::string_view kDetectFirst = "No drop map yet - Click 'Detect' first";
inline constexpr std::string_view kNoObjects = "No objects above the Drop Threshold";
inline constexpr std::string_view kCollectFirst = "No traces yet - Click 'Tracking' first";
inline constexpr std::string_view kNoRecord = "No record is open";
inline constexpr std::string_view kOutsideFrame = "The position is outside the frame";

// Input boxes: titles, labels and refusals.
inline constexpr std::string_view kDropThrTitle = "Set Drop Threshold";
inline constexpr std::string_view kDropThrLabel = "Input Drop Threshold";
inline constexpr std::string_view kDropThrError = "Drop Threshold Out of Range";
inline constexpr std::string_view kWindLenTitle = "Set Filter Size (window)";
inline constexpr std::string_view kWindLenLabel = "Filter LEngth (frames)=";
inline constexpr std::string_view kWindLenError = "Value out of Order (1-10)";
inline constexpr std::string_view kMaxStepsTitle = "Limit Number of Steps";
inline constexpr std::string_view kMaxStepsLabel = "Max N of Steps=";
inline constexpr std::string_view kMaxStepsError = "Steps Number must be between 2 and 9";
inline constexpr std::string_view kStestThrLabel = "S-test Thr=";
inline constexpr std::string_view kPtestThrLabel = "P-test Thr=";
inline constexpr std::string_view kMtestThrLabel = "M-test Thr=";
inline constexpr std::string_view kTestThrTitle = "Set Test Threshold";
inline constexpr std::string_view kTestThrError = "Test Threshold Out of Order (0-1000)";
inline constexpr std::string_view kAmpBinTitle = "Set Bin size for Intensity distribution";
inline constexpr std::string_view kAmpBinLabel = "Bin size (counts)=";
inline constexpr std::string_view kAmpBinError = "Intensity bin size Out of Order";
inline constexpr std::string_view kTimeBinTitle = "Set Bin size for Time distribution";
inline constexpr std::string_view kTimeBinLabel = "Bin size (s)=";
inline constexpr std::string_view kTimeBinError = "Time/Dlat bin size Out of Order";

// Menu captions.
inline constexpr std::string_view kSpotSizeCaptionStart = "SpotSize(5X5)";
inline constexpr std::string_view kAver1X1Caption = "1X1 pixel";
inline constexpr std::string_view kAver3X3Caption = "3X3 pixels ";
inline constexpr std::string_view kAver5X5Caption = "5X5 pixels";
inline constexpr std::string_view kNoBackgrSubtrCaption = "No Backgr Subtr";
inline constexpr std::string_view kShowSpotsCaption = "ShowSpots";
inline constexpr std::string_view kShowPixelsCaption = "ShowPixels";

// The tests, for each object; analysis goes on with the next object.
inline constexpr std::string_view kWrongTimingStest = "wrong timing in S-test";
inline constexpr std::string_view kWrongSdStest = "wrong SD in S-test";
inline constexpr std::string_view kWrongSdPtest = "Wrong SD in P-test";
inline constexpr std::string_view kStestLabel = "Stest=";
inline constexpr std::string_view kPtestLabel = "Ptest=";
inline constexpr std::string_view kMStestLabel = " MStest=";
inline constexpr std::string_view kAboveTestFormat = "%d of %d objects above %s%d";

// Results text (SaveTXTClick) and the tables for scripts.
inline constexpr std::string_view kResultsHeader =
    "drTm\t dropA\t rsTm\t riseA\t downA\t upSD\t dnSD\t S-test\t P-test\t Xpos\t Ypos\n";
inline constexpr std::string_view kStepTableHeader =
    "object\tx\ty\tdrop_frame\trise_frame\tdrop_time_s\trise_time_s\tupper\tlower\tdrop_amp\t"
    "rise_amp\tup_sd\tdn_sd\ts_test\tp_test\tms_test\tms_steps\tgood\tp_up_sd\tp_dn_sd\t"
    "ms_drop_amp\tms_rise_amp\n";
inline constexpr std::string_view kTraceTableHeader = "object\tframe\ttime_s\tvalue\n";
inline constexpr std::string_view kMapTableHeader = "x\ty\tdrop\tdrop_frame\trise\trise_frame\n";
inline constexpr std::string_view kFileWritingErrorSteps = "File Writing Error";

}  // namespace lumetra
