#include "batch/batch_job.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "common/file_handle.h"
#include "batch/batch_messages.h"
#include "batch/record_log.h"
#include "processing/temporal_median.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "spots/spots_messages.h"
#include "spots/track_statistics.h"
#include "spots/tracking_passes.h"
#include "spots/xki_file.h"
#include "steps/step_results.h"

namespace lumetra {
namespace {

struct Outcome {
  bool ok = false;
  int64_t count = -1;
  std::string reason;  // when !ok
};

bool Played(RecordStore& record, FrameConsumer& pass, RecordLog& log,
            const std::atomic<bool>* stop, Outcome& out) {
  Playback play(record, {&pass}, stop);
  play.Run(log);
  if (play.Completed()) return true;
  out.reason = stop && stop->load() ? kRecordStopped : kRecordReadFailed;
  return false;
}

// Detect (detection and linking), the Tracking check, Link Tracks when asked,
// then the XKI file as SaveXKIfileClick writes it.
Outcome RunTracking(RecordStore& record, const BatchOptions& o, const std::string& output,
                    RecordLog& log, const std::atomic<bool>* stop) {
  Outcome out;
  auto store = std::make_unique<TrackStore>();
  DetectPass detect(*store, o.tracking, log, o.workers);
  if (!Played(record, detect, log, stop, out)) return out;
  // Every frame refused ("Area is too small"): nothing was detected.
  if (detect.FrameReadOut().empty()) {
    out.reason = kRecordReadFailed;
    return out;
  }
  if (detect.Finder().ObjectCount() < 3) log.Modal(kTooFewObjects);
  if (o.link_tracks) {
    LinkTracksPass link(*store, o.tracking, log, o.workers);
    if (!Played(record, link, log, stop, out)) return out;
  }
  XkiWriteOptions xki;
  xki.parameter = record.Prm().ScaleX;
  xki.save_zpos = o.save_zpos;
  const std::vector<uint8_t> bytes = EncodeXki(*store, xki);
  if (!WriteFileAtomically(output, std::string(bytes.begin(), bytes.end()), out.reason))
    return out;
  int64_t tracks = 0;
  for (int32_t t = 0; t < store->track_count; ++t)
    tracks += store->Slot(t).completed && store->Slot(t).good;
  out.ok = true;
  out.count = tracks;
  return out;
}

// The step-detection window's batch sequence: Detect, the choice of objects
// for the test, Tracking, the test on show, the spot/pixel display, the
// results text.
Outcome RunStepTest(RecordStore& record, const BatchOptions& o, const std::string& output,
                    RecordLog& log, const std::atomic<bool>* stop) {
  Outcome out;
  StepAnalysis a(log, o.workers);
  a.Params() = o.steps;
  if (!a.OpenRecord(record)) {
    out.reason = "the step analysis can not allocate its buffers";
    return out;
  }
  if (!a.StartTrClick(record, o.median_frames, stop) || (stop && stop->load())) {
    out.reason = stop && stop->load() ? kRecordStopped : kRecordReadFailed;
    return out;
  }
  switch (o.kind) {
    case BatchKind::kStest:
      a.SubtrMaxRiseClick();
      break;
    case BatchKind::kPtest:
      a.AddMaxRiseClick();
      break;
    default:
      a.UseDropMapClick();
      break;
  }
  if (!a.Objects().empty() && !a.CollectClick(record, stop)) {
    out.reason = stop && stop->load() ? kRecordStopped : kRecordReadFailed;
    return out;
  }
  if (stop && stop->load()) {
    out.reason = kRecordStopped;
    return out;
  }
  const StepTest test = o.kind == BatchKind::kPtest   ? StepTest::kP
                        : o.kind == BatchKind::kMStest ? StepTest::kMS
                                                       : StepTest::kS;
  if (!a.Traces().objects.empty()) a.ShowTest(test);
  // The marks on show switch between spots and pixels; the collected
  // objects, their traces and scores stay.
  a.SpotPixClick();
  // The results text as Save TXT writes it.
  if (!WriteFileAtomically(output, ResultsText(a.Traces(), a.Scores(), a.Shown()), out.reason))
    return out;
  if (!a.DetectReadOut().empty()) log.Warning(a.DetectReadOut());
  int64_t above = 0;
  for (size_t i = 0; i < a.Scores().size(); ++i) above += a.AboveThreshold(i);
  out.ok = true;
  out.count = above;
  return out;
}

}  // namespace

std::string_view RecordStatusName(RecordStatus status) {
  switch (status) {
    case RecordStatus::kOk:
      return "ok";
    case RecordStatus::kSkipped:
      return "skipped";
    case RecordStatus::kFailed:
      break;
  }
  return "failed";
}

std::string BatchOutputName(const std::string& record_path, const BatchOptions& options) {
  if (options.kind == BatchKind::kTrack)
    return BatchTrackFileName(record_path, options.tracking, options.link_tracks,
                              options.save_zpos, ".xki");
  return StepBatchFileName(record_path, options.kind, options.steps);
}

bool WriteFileAtomically(const std::string& path, const std::string& bytes, std::string& error) {
  const std::string part = path + ".part";
  FileHandle f = OpenFile(part, "wb");
  if (!f) {
    error = std::string(kOutputNotWritten) + ": " + OpenFailureDetail(part, errno);
    return false;
  }
  const bool written = (bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f.get()) ==
                                             bytes.size()) &&
                       std::fflush(f.get()) == 0;
  const int write_errno = errno;
  const bool closed = std::fclose(f.release()) == 0;
  if (!written || !closed) {
    std::remove(part.c_str());
    error = std::string(kOutputNotWritten) + ": " + OpenFailureDetail(part, write_errno);
    return false;
  }
  if (std::rename(part.c_str(), path.c_str()) != 0) {
    const int e = errno;
    std::remove(part.c_str());
    error = std::string(kOutputNotWritten) + ": " + OpenFailureDetail(path, e);
    return false;
  }
  return true;
}

RecordResult RunBatchRecord(const std::string& record_path, const BatchOptions& options,
                            const std::atomic<bool>* stop) {
  const auto start = std::chrono::steady_clock::now();
  RecordResult r;
  r.file = record_path;
  r.output = BatchOutputName(record_path, options);
  auto finish = [&](RecordResult& res) -> RecordResult {
    res.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return res;
  };
  std::error_code ec;
  if (options.resume && std::filesystem::is_regular_file(r.output, ec)) {
    r.status = RecordStatus::kSkipped;
    r.message = "the output is already there";
    return finish(r);
  }
  RecordLog log;
  auto record = RecordStore::Create(log);
  if (!record) {
    r.message = Because(kRecordUnreadable, log);
    return finish(r);
  }
  record->SetTiffOptions(options.tiff);
  std::unique_ptr<TemporalMedian> median;
  if (options.median_frames > 0) {
    median = std::make_unique<TemporalMedian>(log);
    UseTemporalMedian(*record, *median, options.median_frames);
  }
  if (!record->Open(record_path, log)) {
    r.message = Because(kRecordUnreadable, log);
    return finish(r);
  }
  if (record->FrameCount() <= 0 || !record->HasFrame()) {
    r.message = Because(kRecordNoFrame, log);
    return finish(r);
  }
  const Outcome out = options.kind == BatchKind::kTrack
                          ? RunTracking(*record, options, r.output, log, stop)
                          : RunStepTest(*record, options, r.output, log, stop);
  r.count = out.count;
  if (out.ok) {
    r.status = RecordStatus::kOk;
    r.message = log.Joined();
  } else {
    r.message = Because(out.reason, log);
  }
  return finish(r);
}

}  // namespace lumetra
