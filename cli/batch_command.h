// What `lumetra-cli batch` and `lumetra-mpi` share: reading a batch's command
// line (the kind, the records or a manifest, the analysis options), the
// progress line and writing the summary table.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "batch/batch_job.h"

namespace lumetra::cli {

struct BatchRun {
  BatchOptions options;
  std::vector<std::string> files;  // the records of this run (a task's share)
  int jobs = 1;
  std::string summary;  // --summary, empty when not given
};

// Reads "KIND FILES... [options]" with `args[0]` the kind. `program` names
// the program in the usage line and messages ("lumetra-cli batch",
// "lumetra-mpi"). `local` offers --jobs and the task options of a job array.
// Returns an exit code when the caller should end now (0 after --help, 2
// after a bad command line, with the reason printed), else nothing.
std::optional<int> ParseBatchRun(const std::string& program, const std::vector<std::string>& args,
                                 bool local, BatchRun& run);

// "[17/230] cell3.xkv"
std::string ProgressLine(size_t number, size_t total, const std::string& file);

// The summary table under `path`, written whole under a temporary name and
// renamed. False with the reason in `error`.
bool WriteSummary(const std::string& path, const std::vector<RecordResult>& rows,
                  std::string& error);

}  // namespace lumetra::cli
