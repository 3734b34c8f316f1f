// A batch run of the desktop program. The windows run each record through
// their own handlers; the session keeps what the run is about: the records in
// the dialog's order, the messages of the record under way (collected, so an
// unattended run is never held up by a box), one row per record for the end
// report, the status line while it runs and the one box at its end.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "batch/batch_job.h"
#include "batch/record_log.h"
#include "settings/settings_model.h"

namespace lumetra {

// The box at the end of a run: kBatchFinished or kBatchStopped, "2 ok, 1
// failed", and one line per record without output ("cell3.xkv: reason").
struct BatchEndBox {
  bool stopped = false;
  std::string title;
  std::string text;
  std::string detail;
};

class BatchSession {
 public:
  BatchSession(BatchOptions options, std::vector<std::string> files);

  const BatchOptions& Options() const { return options_; }
  const std::vector<std::string>& Files() const { return files_; }
  int32_t Count() const { return static_cast<int32_t>(files_.size()); }
  // The record under way (0-based); Count() once the run is over.
  int32_t Index() const { return index_; }

  // Starts the record at `index`: its clock and an empty log.
  void BeginRecord(int32_t index);
  // Where the messages of the record under way go.
  RecordLog& Log() { return log_; }
  // Ends the record under way with its row: `count` tracks written or
  // objects above the threshold; `reason` says why there is no output.
  void EndRecord(bool ok, const std::string& output, int64_t count, std::string_view reason = {});
  // Esc: the record under way fails as stopped (unless it has its row), and
  // every record after it is not run.
  void Stop();
  bool Stopped() const { return stopped_; }
  const std::vector<RecordResult>& Results() const { return results_; }

  // "file 2 of 3: cell2.xkv", and with frames "... frame 17 of 60 (Esc stops)".
  std::string StatusText(int32_t frame = 0, int32_t frames = 0) const;
  BatchEndBox EndBox() const;

 private:
  BatchOptions options_;
  std::vector<std::string> files_;
  int32_t index_ = 0;
  bool open_ = false;  // a record is under way and has no row yet
  bool stopped_ = false;
  std::chrono::steady_clock::time_point start_;
  RecordLog log_;
  std::vector<RecordResult> results_;
};

// The unattended tracking of the open record: radius, minimum track length,
// sensitivity and cluster thresholds and the FWHM from the stored settings,
// no second linking pass, no Z positions.
BatchOptions AutoTrackOptions(const Settings& stored);

}  // namespace lumetra
