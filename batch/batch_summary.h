// The summary table of a batch run: one row per record, tab-separated with
// the header "file status output seconds count message", which pandas and R
// read as it is. Per-task summaries of a cluster run are merged into one.
#pragma once

#include <string>
#include <vector>

#include "batch/batch_job.h"
#include "common/line_reader.h"

namespace lumetra {

// One row with its line feed. Tabs and line breaks inside a field become
// blanks; an unknown count is an empty field (NA to pandas and R).
std::string SummaryRow(const RecordResult& result);
// The header line and every row.
std::string SummaryText(const std::vector<RecordResult>& results);

// Reads a summary table. False with `error` naming the line when the header
// is not the summary's or a row has not six fields.
bool ParseSummary(LineSource& lines, std::vector<RecordResult>& rows, std::string& error);

// Joins per-task summaries. Without a manifest: every row, in the order of
// the parts. With one: one row per manifest entry in its order; a record no
// part holds becomes a failed row ("no summary holds this record"), and a
// record in several parts keeps the row of the latest part (a task run again).
std::vector<RecordResult> MergeSummaries(const std::vector<std::vector<RecordResult>>& parts,
                                         const std::vector<std::string>& manifest);

bool AnyFailed(const std::vector<RecordResult>& results);

}  // namespace lumetra
