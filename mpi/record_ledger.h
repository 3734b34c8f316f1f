// Rank 0's account of an MPI batch: which records are still to hand out,
// which rank works on which, and the rows of those finished. Its table is
// the summary at any moment: a record handed out and not reported yet is a
// failed row naming the rank, one not handed out yet a failed "not run" row,
// so a summary written before the end names exactly what is missing.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "batch/batch_job.h"

namespace lumetra {

class RecordLedger {
 public:
  // The name clashes of the list (a record listed twice, outputs that would
  // collide) have their rows from the start and are never handed out.
  RecordLedger(std::vector<std::string> files, const BatchOptions& options);

  // The next record in the list's order, now in `rank`'s hands; nothing when
  // every record has been handed out.
  std::optional<size_t> Next(int rank);
  // `rank`'s row for record `index`. False (and nothing changes) when the
  // record is not in that rank's hands.
  bool Finished(size_t index, int rank, RecordResult row);

  const std::string& File(size_t index) const { return files_[index]; }
  size_t Total() const { return files_.size(); }
  // Records handed out and not reported yet.
  size_t InHand() const;
  bool AllHandedOut() const { return next_ >= files_.size(); }
  // The records `rank` holds now.
  std::vector<size_t> HeldBy(int rank) const;

  // The table as it stands: one row per record in the list's order.
  std::vector<RecordResult> Rows() const;

 private:
  std::vector<std::string> files_;
  std::vector<std::string> outputs_;
  std::vector<std::optional<RecordResult>> rows_;
  std::vector<int> holder_;  // the rank working on it, -1 none
  size_t next_ = 0;
};

// What travels between the ranks. A task is "INDEX<tab>PATH" (empty: no more
// records); a report is "INDEX<tab>" followed by the record's summary row.
std::string EncodeTask(size_t index, const std::string& path);
bool DecodeTask(std::string_view text, size_t& index, std::string& path);
std::string EncodeReport(size_t index, const RecordResult& row);
bool DecodeReport(std::string_view text, size_t& index, RecordResult& row);

}  // namespace lumetra
