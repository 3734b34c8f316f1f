// Which records a run takes: the files named on the command line or in a
// manifest (one path a line), and a cluster task's share of them. A job
// array's task takes one contiguous block, so the task summaries joined in
// task order follow the manifest.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "common/line_reader.h"

namespace lumetra {

// One record path a line; blank lines (or only blanks) and lines starting with "#" are
// skipped, and a trailing carriage return is dropped. False with `error` set
// when the lines cannot be read.
bool ReadManifest(LineSource& lines, std::vector<std::string>& files, std::string& error);

struct TaskShare {
  int64_t task = 0;   // 0 .. tasks - 1
  int64_t tasks = 1;
};

// The task of a Slurm job array from its environment: the task is
// (SLURM_ARRAY_TASK_ID - SLURM_ARRAY_TASK_MIN) / SLURM_ARRAY_TASK_STEP, of
// SLURM_ARRAY_TASK_COUNT tasks (MIN 0 and STEP 1 when not set). `get` reads
// one variable (null when unset). Nothing, with `error` set, when ID or COUNT
// is missing or the numbers do not name a task.
using EnvReader = const char* (*)(const char* name);
std::optional<TaskShare> ArrayTaskFromEnvironment(EnvReader get, std::string& error);

// The records of `share`: the block [task * n / tasks, (task + 1) * n / tasks).
std::vector<std::string> TaskRecords(const std::vector<std::string>& files, TaskShare share);

}  // namespace lumetra
