#include "mpi/record_ledger.h"

#include <charconv>

#include "batch/batch_messages.h"
#include "batch/batch_runner.h"
#include "batch/batch_summary.h"
#include "common/line_reader.h"
#include "mpi/mpi_messages.h"

namespace lumetra {

RecordLedger::RecordLedger(std::vector<std::string> files, const BatchOptions& options)
    : files_(std::move(files)), rows_(NameClashes(files_, options)), holder_(files_.size(), -1) {
  outputs_.reserve(files_.size());
  for (const std::string& f : files_) outputs_.push_back(BatchOutputName(f, options));
}

std::optional<size_t> RecordLedger::Next(int rank) {
  while (next_ < files_.size() && rows_[next_]) ++next_;
  if (next_ >= files_.size()) return std::nullopt;
  holder_[next_] = rank;
  return next_++;
}

bool RecordLedger::Finished(size_t index, int rank, RecordResult row) {
  if (index >= files_.size() || holder_[index] != rank || rows_[index]) return false;
  holder_[index] = -1;
  // The list's spelling, whatever the row's field made of it.
  row.file = files_[index];
  rows_[index] = std::move(row);
  return true;
}

size_t RecordLedger::InHand() const {
  size_t n = 0;
  for (int h : holder_) n += h >= 0;
  return n;
}

std::vector<size_t> RecordLedger::HeldBy(int rank) const {
  std::vector<size_t> held;
  for (size_t i = 0; i < holder_.size(); ++i)
    if (holder_[i] == rank) held.push_back(i);
  return held;
}

std::vector<RecordResult> RecordLedger::Rows() const {
  std::vector<RecordResult> rows(files_.size());
  for (size_t i = 0; i < files_.size(); ++i) {
    if (rows_[i]) {
      rows[i] = *rows_[i];
      continue;
    }
    RecordResult& r = rows[i];
    r.file = files_[i];
    r.output = outputs_[i];
    r.message = holder_[i] >= 0 ? std::string(kNotFinishedOnRank) + std::to_string(holder_[i]) +
                                      std::string(kNotFinishedOnRankEnd)
                                : std::string(kRecordNotRun);
  }
  return rows;
}

namespace {

// "INDEX<tab>rest": the index and what follows the tab.
bool SplitIndex(std::string_view text, size_t& index, std::string_view& rest) {
  const size_t tab = text.find('\t');
  if (tab == std::string_view::npos || tab == 0) return false;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + tab, index);
  if (ec != std::errc() || end != text.data() + tab) return false;
  rest = text.substr(tab + 1);
  return true;
}

}  // namespace

std::string EncodeTask(size_t index, const std::string& path) {
  return std::to_string(index) + '\t' + path;
}

bool DecodeTask(std::string_view text, size_t& index, std::string& path) {
  std::string_view rest;
  if (!SplitIndex(text, index, rest) || rest.empty()) return false;
  path = rest;
  return true;
}

std::string EncodeReport(size_t index, const RecordResult& row) {
  return std::to_string(index) + '\t' + SummaryRow(row);
}

bool DecodeReport(std::string_view text, size_t& index, RecordResult& row) {
  std::string_view rest;
  if (!SplitIndex(text, index, rest)) return false;
  const std::string table = std::string(kSummaryHeader) + '\n' + std::string(rest);
  TextLines lines(table);
  std::vector<RecordResult> rows;
  std::string error;
  if (!ParseSummary(lines, rows, error) || rows.size() != 1) return false;
  row = std::move(rows[0]);
  return true;
}

}  // namespace lumetra
