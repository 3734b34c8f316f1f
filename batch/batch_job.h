// One record of a batch run: open it, run the analysis the batch is for as
// the window's commands would, and write its output beside it under a
// temporary name that is renamed when complete. Every record starts from the
// same settings, so a record's output never depends on which records ran
// before it, on how many jobs ran or on which machine.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "batch/batch_names.h"
#include "record/frame_source.h"
#include "spots/spot_params.h"
#include "steps/step_analysis.h"

namespace lumetra {

struct BatchOptions {
  BatchKind kind = BatchKind::kTrack;
  // Tracking: the tracking window's settings, "LinkTracks in Batch Mode"
  // (Link Tracks after Tracking, "-L" in the name) and SaveZpos ("-Z").
  TrackingParams tracking;
  bool link_tracks = false;
  bool save_zpos = false;
  // Step tests: the step-detection window's settings.
  StepSettings steps;
  // What a TIFF record does not say itself, and its channel and Z plane.
  TiffReadOptions tiff;
  // The main window's temporal median (3, 5 or 7 frames; 0 off).
  int32_t median_frames = 0;
  // Skip a record whose output is already there (outputs appear only complete).
  bool resume = false;
  // Threads for one record: 0 every core, 1 the calling thread only. The
  // outputs are the same either way.
  int workers = 0;
};

enum class RecordStatus { kOk, kFailed, kSkipped };
std::string_view RecordStatusName(RecordStatus status);  // "ok", "failed", "skipped"

struct RecordResult {
  std::string file;
  RecordStatus status = RecordStatus::kFailed;
  std::string output;  // the output's name (also for a failed record: where it would be)
  double seconds = 0;
  // Tracks written, or objects above the shown test's threshold; -1 unknown.
  int64_t count = -1;
  std::string message;  // the failure's messages, or what the run said about the record
};

// The output's name beside the record.
std::string BatchOutputName(const std::string& record_path, const BatchOptions& options);

// Runs one record. Never throws for a bad record: the result says what
// failed, and no output exists under the final name unless it is complete.
// A set `stop` ends the record's passes early; it then fails with no output.
RecordResult RunBatchRecord(const std::string& record_path, const BatchOptions& options,
                            const std::atomic<bool>* stop = nullptr);

// Writes `bytes` to `path` + ".part", then renames it to `path`. On failure
// removes the part file and returns the reason ("out/cell3.xki: Permission denied").
bool WriteFileAtomically(const std::string& path, const std::string& bytes, std::string& error);

}  // namespace lumetra
