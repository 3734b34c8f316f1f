#include "batch/batch_plan.h"

#include "common/text_format.h"

namespace lumetra {

bool ReadManifest(LineSource& lines, std::vector<std::string>& files, std::string& error) {
  std::string_view line;
  while (lines.Next(line)) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.find_first_not_of(" \t") == std::string_view::npos || line.front() == '#') continue;
    files.emplace_back(line);
  }
  if (!lines.Error().empty()) {
    error = lines.Error();
    return false;
  }
  return true;
}

std::optional<TaskShare> ArrayTaskFromEnvironment(EnvReader get, std::string& error) {
  auto number = [&](const char* name, std::optional<int64_t> fallback) -> std::optional<int64_t> {
    const char* v = get(name);
    if (!v || !*v) {
      if (!fallback) error = std::string(name) + " is not set: is this a Slurm array task?";
      return fallback;
    }
    const auto n = ParseInteger(v);
    if (!n) error = std::string(name) + "=" + v + " is not a whole number";
    return n;
  };
  const auto id = number("SLURM_ARRAY_TASK_ID", std::nullopt);
  if (!id) return std::nullopt;
  const auto count = number("SLURM_ARRAY_TASK_COUNT", std::nullopt);
  if (!count) return std::nullopt;
  const auto min = number("SLURM_ARRAY_TASK_MIN", int64_t{0});
  if (!min) return std::nullopt;
  const auto step = number("SLURM_ARRAY_TASK_STEP", int64_t{1});
  if (!step) return std::nullopt;
  if (*step < 1 || *count < 1 || *id < *min || (*id - *min) % *step != 0 ||
      (*id - *min) / *step >= *count) {
    error = "SLURM_ARRAY_TASK_ID=" + std::to_string(*id) + " is not one of " +
            std::to_string(*count) + " tasks from " + std::to_string(*min) + " in steps of " +
            std::to_string(*step) + "; give --task I --tasks N instead";
    return std::nullopt;
  }
  return TaskShare{(*id - *min) / *step, *count};
}

std::vector<std::string> TaskRecords(const std::vector<std::string>& files, TaskShare share) {
  if (share.tasks < 1 || share.task < 0 || share.task >= share.tasks) return {};
  const auto n = static_cast<int64_t>(files.size());
  const int64_t from = share.task * n / share.tasks, to = (share.task + 1) * n / share.tasks;
  return {files.begin() + from, files.begin() + to};
}

}  // namespace lumetra
