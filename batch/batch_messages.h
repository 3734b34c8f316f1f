// Texts of the batch runs: dialog titles, the status line, the summary
// table's header and what a record's row says when it failed.
#pragma once

#include <string_view>

namespace lumetra {

inline constexpr std::string_view kBatchSptTitle =
    "Select group of ''XKV'' Files for Batch Mode ASPT  Analysis";
inline constexpr std::string_view kBatchStepsTitle =
    "Select group of ''XKV'' Files for Batch Mode SFDA Analysis";
inline constexpr std::string_view kBatchMStestTitle =
    "Select group of ''XKV'' Files for Batch Mode SFDA MS-test";
inline constexpr std::string_view kBatchMenuCaption = "Batch Analysis";
inline constexpr std::string_view kBatchSptCaption = "Single Particle Tracking";
inline constexpr std::string_view kLinkTracksInBatchCaption = "LinkTracks in Batch Mode";

inline constexpr std::string_view kSummaryHeader = "file\tstatus\toutput\tseconds\tcount\tmessage";

// Why a record has no output.
inline constexpr std::string_view kRecordUnreadable = "the record can not be opened";
inline constexpr std::string_view kRecordNoFrame = "the record holds no frame that can be read";
inline constexpr std::string_view kRecordReadFailed = "a frame can not be read";
inline constexpr std::string_view kRecordStopped = "stopped before the record was finished";
inline constexpr std::string_view kRecordNotRun = "not run: the batch ended before this record";
inline constexpr std::string_view kOutputNotWritten = "the output can not be written";
inline constexpr std::string_view kOutputClash = "its output would overwrite the one of ";
inline constexpr std::string_view kNoReportFromTask = "no summary holds this record";

// The end of a run.
inline constexpr std::string_view kBatchFinished = "Batch finished";
inline constexpr std::string_view kBatchStopped = "Batch stopped";

// The desktop program's batch menu, its status line and its end box.
inline constexpr std::string_view kBatchStestCaption = "Step Detection: S-test";
inline constexpr std::string_view kBatchPtestCaption = "Step Detection: P-test";
inline constexpr std::string_view kBatchMStestCaption = "Step Detection: MS-test";
inline constexpr std::string_view kBatchFileProgress = "file %1 of %2: %3";
inline constexpr std::string_view kBatchFrameProgress = "frame %1 of %2 (Esc stops)";
inline constexpr std::string_view kBatchCounts = "%1 ok, %2 failed";
inline constexpr std::string_view kBatchNoOutput = "no output was written";
inline constexpr std::string_view kBatchWindowClosed = "the analysis window was closed";

}  // namespace lumetra
