#include "processing/median5_export.h"

#include <cstring>

#include "processing/processing_messages.h"

namespace lumetra {

ExportResult ExportMedian5(ExportJob& job, const std::string& out_path, TemporalMedian& filter) {
  if (!filter.EnsureBuffer()) return {};
  const int32_t mode = filter.MedianFrames();
  filter.SetMedianFrames(0);
  XkvExportStream s(job);
  if (!s.Open(out_path, 0)) {
    filter.SetMedianFrames(mode);
    return {};
  }
  RecordStore& store = s.Store();
  int32_t slot = 0;
  while (s.Next()) {
    const size_t n = static_cast<size_t>(store.Width()) * static_cast<size_t>(store.Height());
    const uint16_t* slots[5];
    for (int32_t k = 0; k < 5; ++k) slots[k] = filter.SlotPointer(k, n);
    if (!slots[4]) break;  // cannot happen with the full buffer: frames are at most 4 Mpix
    std::memcpy(filter.SlotPointer(slot, n), store.FrameBuffer(), n * sizeof(uint16_t));
    if (++slot > 4) slot = 0;
    if (slot != 4) continue;
    MedianOfSlots(slots, 5, store.FrameBuffer(), n);
    s.Write(store.Prm(), store.FrameBuffer());
  }
  filter.SetMedianFrames(mode);
  ExportResult r = s.Finish();
  // The first frame is written once 4 have been read.
  if (r.ok && !r.stopped && r.frames_written == 0) {
    job.reporter.Modal(std::string(kRecordShorterThanMedian5) + " (the record holds " +
                       std::to_string(r.frames_read) + ")");
    r.ok = false;
  }
  return r;
}

}  // namespace lumetra
