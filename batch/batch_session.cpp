#include "batch/batch_session.h"

#include <filesystem>
#include <initializer_list>

#include "batch/batch_messages.h"
#include "spots/tracking_settings.h"

namespace lumetra {
namespace {

// The pattern with %1, %2 ... replaced by the values in order.
std::string Fill(std::string_view pattern, std::initializer_list<std::string> values) {
  std::string out(pattern);
  int n = 1;
  for (const std::string& v : values) {
    const std::string mark = "%" + std::to_string(n++);
    const size_t at = out.find(mark);
    if (at != std::string::npos) out.replace(at, mark.size(), v);
  }
  return out;
}

std::string FileName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

}  // namespace

BatchSession::BatchSession(BatchOptions options, std::vector<std::string> files)
    : options_(std::move(options)), files_(std::move(files)) {}

void BatchSession::BeginRecord(int32_t index) {
  index_ = index;
  open_ = true;
  log_.Clear();
  start_ = std::chrono::steady_clock::now();
}

void BatchSession::EndRecord(bool ok, const std::string& output, int64_t count,
                             std::string_view reason) {
  if (!open_) return;
  open_ = false;
  RecordResult r;
  r.file = files_[static_cast<size_t>(index_)];
  r.output = output;
  r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  r.count = count;
  r.status = ok ? RecordStatus::kOk : RecordStatus::kFailed;
  r.message = ok ? log_.Joined() : Because(reason.empty() ? kBatchNoOutput : reason, log_);
  results_.push_back(std::move(r));
}

void BatchSession::Stop() {
  if (stopped_) return;
  stopped_ = true;
  if (open_) EndRecord(false, BatchOutputName(files_[static_cast<size_t>(index_)], options_), -1,
                       kRecordStopped);
  for (size_t i = results_.size(); i < files_.size(); ++i) {
    RecordResult r;
    r.file = files_[i];
    r.output = BatchOutputName(files_[i], options_);
    r.message = kRecordNotRun;
    results_.push_back(std::move(r));
  }
  index_ = Count();
}

std::string BatchSession::StatusText(int32_t frame, int32_t frames) const {
  if (index_ >= Count()) return {};
  std::string text = Fill(kBatchFileProgress, {std::to_string(index_ + 1), std::to_string(Count()),
                                               FileName(files_[static_cast<size_t>(index_)])});
  if (frames > 0)
    text += "   " + Fill(kBatchFrameProgress, {std::to_string(frame), std::to_string(frames)});
  return text;
}

BatchEndBox BatchSession::EndBox() const {
  BatchEndBox box;
  box.stopped = stopped_;
  box.title = std::string(stopped_ ? kBatchStopped : kBatchFinished);
  size_t ok = 0;
  for (const RecordResult& r : results_) {
    if (r.status == RecordStatus::kOk) {
      ++ok;
      continue;
    }
    if (!box.detail.empty()) box.detail += '\n';
    box.detail += FileName(r.file) + ": " + r.message;
  }
  box.text = Fill(kBatchCounts, {std::to_string(ok), std::to_string(results_.size() - ok)});
  return box;
}

BatchOptions AutoTrackOptions(const Settings& stored) {
  BatchOptions o;
  o.kind = BatchKind::kTrack;
  o.tracking = TrackingParamsFrom(stored);
  return o;
}

}  // namespace lumetra
