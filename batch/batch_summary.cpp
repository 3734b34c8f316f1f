#include "batch/batch_summary.h"

#include <cstdio>
#include <unordered_map>

#include "batch/batch_messages.h"
#include "common/text_format.h"

namespace lumetra {
namespace {

std::string Field(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c == '\t' || c == '\n' || c == '\r') c = ' ';
  return out;
}

}  // namespace

std::string SummaryRow(const RecordResult& r) {
  // Room for any double: the largest has 309 digits before the point.
  char seconds[352];
  std::snprintf(seconds, sizeof seconds, "%.3f", r.seconds);
  return Field(r.file) + '\t' + std::string(RecordStatusName(r.status)) + '\t' + Field(r.output) +
         '\t' + seconds + '\t' + (r.count >= 0 ? std::to_string(r.count) : std::string()) + '\t' +
         Field(r.message) + '\n';
}

std::string SummaryText(const std::vector<RecordResult>& results) {
  std::string text = std::string(kSummaryHeader) + '\n';
  for (const RecordResult& r : results) text += SummaryRow(r);
  return text;
}

bool ParseSummary(LineSource& lines, std::vector<RecordResult>& rows, std::string& error) {
  std::string_view line;
  int64_t n = 0;
  while (lines.Next(line)) {
    ++n;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (n == 1) {
      if (line != kSummaryHeader) {
        error = "line 1 is not the summary's header (" + std::string(kSummaryHeader) + ")";
        return false;
      }
      continue;
    }
    if (line.empty()) continue;
    const std::vector<std::string_view> f = SplitTabs(line);
    if (f.size() != 6) {
      error = "line " + std::to_string(n) + " has " + std::to_string(f.size()) +
              " fields, a summary row has 6";
      return false;
    }
    RecordResult r;
    r.file = f[0];
    if (f[1] == "ok") {
      r.status = RecordStatus::kOk;
    } else if (f[1] == "skipped") {
      r.status = RecordStatus::kSkipped;
    } else if (f[1] == "failed") {
      r.status = RecordStatus::kFailed;
    } else {
      error = "line " + std::to_string(n) + ": the status is not ok, failed or skipped";
      return false;
    }
    r.output = f[2];
    const auto seconds = ParseReal(f[3]);
    const auto count = f[4].empty() ? std::optional<int64_t>(-1) : ParseInteger(f[4]);
    if (!seconds || !count) {
      error = "line " + std::to_string(n) + ": seconds and count must be numbers";
      return false;
    }
    r.seconds = *seconds;
    r.count = *count;
    r.message = f[5];
    rows.push_back(std::move(r));
  }
  if (!lines.Error().empty()) {
    error = lines.Error();
    return false;
  }
  if (n == 0) {
    error = "the summary is empty";
    return false;
  }
  return true;
}

std::vector<RecordResult> MergeSummaries(const std::vector<std::vector<RecordResult>>& parts,
                                         const std::vector<std::string>& manifest) {
  std::vector<RecordResult> merged;
  if (manifest.empty()) {
    for (const auto& part : parts) merged.insert(merged.end(), part.begin(), part.end());
    return merged;
  }
  std::unordered_map<std::string, const RecordResult*> latest;
  for (const auto& part : parts)
    for (const RecordResult& r : part) latest[r.file] = &r;
  for (const std::string& file : manifest) {
    auto it = latest.find(file);
    if (it != latest.end()) {
      merged.push_back(*it->second);
      continue;
    }
    RecordResult missing;
    missing.file = file;
    missing.message = kNoReportFromTask;
    merged.push_back(std::move(missing));
  }
  return merged;
}

bool AnyFailed(const std::vector<RecordResult>& results) {
  for (const RecordResult& r : results)
    if (r.status == RecordStatus::kFailed) return true;
  return false;
}

}  // namespace lumetra
