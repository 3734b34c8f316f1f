// The skeleton every "Save Record As" transform follows: refuse an output that
// is the record itself, open the output, reopen the record at its first frame,
// read frame after frame through the store (so the processing chain runs),
// hand each output frame to the XKV frame writer, close.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "common/file_handle.h"
#include "common/region.h"
#include "common/report.h"
#include "record/record_store.h"
#include "record/xkv_format.h"
#include "record/xkv_writer.h"

namespace lumetra {

// What a transform is given by the window or the command line.
struct ExportJob {
  RecordStore& store;
  Reporter& reporter;
  // The user's rectangle: the RAW and BMP exports cut to it when active.
  Region roi;
  // The frame writer's options: write.region is the rectangle when "save only
  // the region" is on (the writer crops, never the transform).
  FrameWriteOptions write;
  // Set by Esc; checked after each frame.
  const std::atomic<bool>* stop = nullptr;
  // Progress read-out: frames read so far.
  std::function<void(int32_t)> progress;
};

struct ExportResult {
  bool ok = false;  // false: refused, or a file failed (already reported)
  int32_t frames_read = 0;
  int32_t frames_written = 0;
  bool stopped = false;  // Esc ended it early
};

// True when both names lead to one file (or would, for a file not yet made).
bool IsSameFile(const std::string& a, const std::string& b);

// Reports kOutputIsOpenRecord and returns true when `out` is the open record.
bool RefuseRecordAsOutput(const RecordStore& store, const std::string& out, Reporter& reporter);

// The chosen name up to its last "." (within the file name) followed by the
// frame number and `extension`: ("out.raw", 12, ".raw") -> "out12.raw".
std::string NumberedName(const std::string& chosen, int32_t number, const std::string& extension);

// Reads the next frame of an export through the store and counts it in `r`
// (and the job's progress read-out). False at the end of the record, on Esc
// (r.stopped) or after a read error, which the reader has reported and which
// clears `ok`.
bool ReadExportFrame(ExportJob& job, ExportResult& r, bool& ok);

// The record streamed once into one XKV output file.
class XkvExportStream {
 public:
  explicit XkvExportStream(ExportJob& job) : job_(job) {}

  // Refuses the record as output, opens `out_path` "wb" and reopens the record
  // at its first frame with the frame counter set to `counter` (-1: the counter
  // holds the 0-based index of the frame just read; 0: its 1-based number).
  // False after reporting.
  bool Open(const std::string& out_path, int32_t counter);
  // Reads the next frame through the store. False at the end of the record,
  // after a read error (reported by the reader), on Esc, or after a write error.
  bool Next();
  // Writes one output frame with the record's ADD_INFO and the job's options.
  bool Write(const PRM_INFO& prm, const uint16_t* pixels);
  // Ends the export as failed after the transform has reported why.
  void Abandon() { failed_ = true; }
  // Closes the output; the record stays open and usable.
  ExportResult Finish();

  RecordStore& Store() { return job_.store; }
  // The store's frame counter (see Open).
  int32_t Counter() const { return job_.store.CurrentFrame(); }

 private:
  ExportJob& job_;
  FileHandle out_;
  ExportResult result_;
  bool failed_ = false;
};

}  // namespace lumetra
