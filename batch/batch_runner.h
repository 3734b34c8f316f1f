// A batch over many records on one machine: `jobs` records side by side, each
// taken by the next free job in the list's order. The results come back in
// the list's order whatever finished first, and each record's output is the
// one a run of that record alone writes.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "batch/batch_job.h"

namespace lumetra {

struct BatchEvents {
  // Both are called from the jobs' threads, one call at a time.
  std::function<void(size_t index, const std::string& file)> started;
  std::function<void(size_t index, const RecordResult& result)> finished;
};

// The jobs a machine runs by default: its cores (at least 1).
int DefaultJobs();

// Records a run must leave out because of their names, each with its row: a
// record listed again is skipped ("listed before"), and one whose output
// would overwrite an earlier record's output (cell3.xkv and cell3.XKV.xkv do
// not, cell3.xkv and cell3.dat do) fails. Nothing for the others.
std::vector<std::optional<RecordResult>> NameClashes(const std::vector<std::string>& files,
                                                      const BatchOptions& options);

// Runs every record, except the name clashes, which get their rows. With more than one job each record keeps to its own
// thread (its analysis would otherwise compete with the other jobs for the
// cores). Once `stop` is set no record starts; those not started are failed
// rows ("not run: ...") and the one under way stops without an output.
std::vector<RecordResult> RunBatch(const std::vector<std::string>& files,
                                   const BatchOptions& options, int jobs,
                                   const std::atomic<bool>* stop = nullptr,
                                   const BatchEvents& events = {});

}  // namespace lumetra
