#include "batch/batch_runner.h"

#include <algorithm>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "batch/batch_messages.h"
#include "spots/worker_pool.h"

namespace lumetra {

int DefaultJobs() {
  return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

std::vector<std::optional<RecordResult>> NameClashes(const std::vector<std::string>& files,
                                                      const BatchOptions& options) {
  std::vector<std::optional<RecordResult>> clashes(files.size());
  std::unordered_map<std::string, size_t> by_file, by_output;
  for (size_t i = 0; i < files.size(); ++i) {
    RecordResult r;
    r.file = files[i];
    r.output = BatchOutputName(files[i], options);
    if (auto [it, fresh] = by_file.emplace(files[i], i); !fresh) {
      r.status = RecordStatus::kSkipped;
      r.message = "listed before: the record runs once";
      clashes[i] = std::move(r);
    } else if (auto [at, free] = by_output.emplace(r.output, i); !free) {
      r.message = std::string(kOutputClash) + files[at->second];
      clashes[i] = std::move(r);
    }
  }
  return clashes;
}

std::vector<RecordResult> RunBatch(const std::vector<std::string>& files,
                                   const BatchOptions& options, int jobs,
                                   const std::atomic<bool>* stop, const BatchEvents& events) {
  std::vector<RecordResult> results(files.size());
  jobs = std::clamp(jobs, 1, std::max(1, static_cast<int>(files.size())));
  BatchOptions per_record = options;
  if (jobs > 1) per_record.workers = 1;
  const std::vector<std::optional<RecordResult>> clashes = NameClashes(files, per_record);
  std::mutex lock;
  auto run_one = [&](int i) {
    const auto index = static_cast<size_t>(i);
    RecordResult& r = results[index];
    if (clashes[index]) {
      r = *clashes[index];
    } else if (stop && stop->load()) {
      r.file = files[index];
      r.output = BatchOutputName(files[index], per_record);
      r.message = kRecordNotRun;
    } else {
      if (events.started) {
        std::lock_guard<std::mutex> hold(lock);
        events.started(index, files[index]);
      }
      r = RunBatchRecord(files[index], per_record, stop);
    }
    if (events.finished) {
      std::lock_guard<std::mutex> hold(lock);
      events.finished(index, r);
    }
  };
  if (jobs == 1) {
    for (size_t i = 0; i < files.size(); ++i) run_one(static_cast<int>(i));
  } else {
    WorkerPool pool(jobs - 1);
    pool.Run(static_cast<int>(files.size()), run_one);
  }
  return results;
}

}  // namespace lumetra
