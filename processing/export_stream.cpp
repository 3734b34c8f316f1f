#include "processing/export_stream.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "processing/processing_messages.h"

namespace lumetra {

bool IsSameFile(const std::string& a, const std::string& b) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (fs::exists(a, ec) && fs::exists(b, ec)) {
    const bool same = fs::equivalent(a, b, ec);
    if (!ec) return same;
  }
  const fs::path ca = fs::weakly_canonical(fs::absolute(a, ec), ec);
  const fs::path cb = fs::weakly_canonical(fs::absolute(b, ec), ec);
  return ca == cb;
}

bool RefuseRecordAsOutput(const RecordStore& store, const std::string& out, Reporter& reporter) {
  if (!store.RecordLoaded() || !IsSameFile(store.RecordFileName(), out)) return false;
  reporter.Modal(kOutputIsOpenRecord);
  return true;
}

std::string NumberedName(const std::string& chosen, int32_t number, const std::string& extension) {
  const size_t slash = chosen.find_last_of('/');
  const size_t dot = chosen.find_last_of('.');
  const bool has_ext = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  return (has_ext ? chosen.substr(0, dot) : chosen) + std::to_string(number) + extension;
}

bool XkvExportStream::Open(const std::string& out_path, int32_t counter) {
  if (!job_.store.RecordLoaded()) {
    job_.reporter.Modal(kNoRecordOpen);
    return false;
  }
  if (RefuseRecordAsOutput(job_.store, out_path, job_.reporter)) return false;
  out_ = OpenFile(out_path, "wb");
  std::string detail = out_ ? std::string() : OpenFailureDetail(out_path, errno);
  CollectingReporter reopen;  // one message for both opens, as the window gives
  if (out_ && !job_.store.RestartStream(counter, reopen))
    detail = reopen.Details().empty() ? job_.store.RecordFileName() : reopen.Details().front();
  if (!detail.empty()) {
    out_.reset();
    job_.reporter.Modal(kExportFileOpenError, detail);
    return false;
  }
  return true;
}

bool ReadExportFrame(ExportJob& job, ExportResult& r, bool& ok) {
  if (job.stop && job.stop->load()) {
    r.stopped = true;
    return false;
  }
  const FrameReadStatus st = job.store.ReadNext(job.reporter);
  if (st != FrameReadStatus::kOk) {
    // The reader has told the user about anything but the normal end.
    ok = ok && st == FrameReadStatus::kEndOfRecord;
    return false;
  }
  ++r.frames_read;
  if (job.progress) job.progress(r.frames_read);
  return true;
}

bool XkvExportStream::Next() {
  if (failed_ || !out_) return false;
  bool ok = true;
  const bool more = ReadExportFrame(job_, result_, ok);
  failed_ = !ok;
  return more;
}

bool XkvExportStream::Write(const PRM_INFO& prm, const uint16_t* pixels) {
  if (failed_ || !out_) return false;
  if (!WriteXKVFrame(out_.get(), prm, job_.store.Add(), pixels, job_.write)) {
    job_.reporter.Modal(kExportWriteError);
    failed_ = true;
    return false;
  }
  ++result_.frames_written;
  return true;
}

ExportResult XkvExportStream::Finish() {
  if (out_) {
    const bool closed = std::fclose(out_.release()) == 0;
    if (!closed && !failed_) {
      job_.reporter.Modal(kExportWriteError);
      failed_ = true;
    }
    result_.ok = !failed_;
  }
  return result_;
}

}  // namespace lumetra
