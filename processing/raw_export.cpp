#include "processing/raw_export.h"

#include <algorithm>
#include <array>

#include "processing/processing_messages.h"

namespace lumetra {
namespace {

// Writes the frame (or the part of it inside `roi`) as 1- or 2-byte counts,
// little-endian, through a fixed buffer so nothing is allocated per frame.
bool WriteRawFrame(std::FILE* out, const RecordStore& store, const Region& roi, int32_t bytes) {
  const int32_t w = store.Width(), h = store.Height();
  Region c{0, 0, w, h, true};
  if (roi.active) {
    c = {std::max(roi.left, 0), std::max(roi.top, 0), std::min(roi.right, w),
         std::min(roi.bottom, h), true};
    if (c.right <= c.left || c.bottom <= c.top) return true;  // nothing of it in this frame
  }
  std::array<uint8_t, 65536> buf;
  size_t used = 0;
  for (int32_t y = c.top; y < c.bottom; ++y) {
    const uint16_t* row = store.FrameBuffer() + static_cast<size_t>(y) * w;
    for (int32_t x = c.left; x < c.right; ++x) {
      if (used + 2 > buf.size()) {
        if (std::fwrite(buf.data(), 1, used, out) != used) return false;
        used = 0;
      }
      buf[used++] = static_cast<uint8_t>(row[x]);
      if (bytes == 2) buf[used++] = static_cast<uint8_t>(row[x] >> 8);
    }
  }
  return std::fwrite(buf.data(), 1, used, out) == used;
}

}  // namespace

int32_t RawBytesPerPixel(int32_t max_level) {
  return max_level < 257 ? 1 : 2;
}

ExportResult ExportRaw(ExportJob& job, const std::string& out_path) {
  RecordStore& store = job.store;
  if (!store.RecordLoaded()) {
    job.reporter.Modal(kNoRecordOpen);
    return {};
  }
  if (RefuseRecordAsOutput(store, out_path, job.reporter)) return {};
  const int32_t bytes = RawBytesPerPixel(store.MaxLevel());
  FileHandle out = OpenFile(out_path, "wb");
  NullReporter quiet;
  if (!out || !store.RestartStream(0, quiet)) {
    job.reporter.Modal(kExportFileOpenError);
    return {};
  }
  ExportResult r;
  bool ok = true;
  while (ok && ReadExportFrame(job, r, ok)) {
    ok = WriteRawFrame(out.get(), store, job.roi, bytes);
    if (!ok) job.reporter.Modal(kExportWriteError);
    r.frames_written += ok ? 1 : 0;
  }
  r.stopped = job.stop && job.stop->load();
  if (std::fclose(out.release()) != 0 && ok) {
    job.reporter.Modal(kExportWriteError);
    ok = false;
  }
  r.ok = ok;
  if (ok) job.reporter.Notice(bytes == 1 ? kRawWritten1Byte : kRawWritten2Bytes);
  return r;
}

ExportResult ExportRawSequence(ExportJob& job, const std::string& chosen_path) {
  RecordStore& store = job.store;
  NullReporter quiet;
  if (!store.RecordLoaded() || !store.RestartStream(0, quiet)) {
    job.reporter.Modal(kInputFileOpenError);
    return {};
  }
  const int32_t bytes = RawBytesPerPixel(store.MaxLevel());
  ExportResult r;
  bool ok = true;
  while (ok && ReadExportFrame(job, r, ok)) {
    const std::string name = NumberedName(chosen_path, store.CurrentFrame(), ".raw");
    if (RefuseRecordAsOutput(store, name, job.reporter)) {
      ok = false;
      break;
    }
    FileHandle out = OpenFile(name, "wb");
    if (!out) {
      job.reporter.Modal(kRawFileOpenError);
      ok = false;
      break;
    }
    ok = WriteRawFrame(out.get(), store, job.roi, bytes) && std::fclose(out.release()) == 0;
    if (!ok) job.reporter.Modal(kExportWriteError);
    r.frames_written += ok ? 1 : 0;
  }
  r.stopped = job.stop && job.stop->load();
  r.ok = ok;
  if (ok) job.reporter.Notice(bytes == 1 ? kRawSeqWritten1Byte : kRawSeqWritten2Bytes);
  return r;
}

}  // namespace lumetra
