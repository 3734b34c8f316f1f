#include "processing/sum_export.h"

#include <algorithm>
#include <new>
#include <vector>

#include "processing/processing_messages.h"

namespace lumetra {

bool IsSumLength(int32_t n) {
  for (int32_t v : {2, 5, 10, 20, 50, 100, 150, 200})
    if (n == v) return true;
  return false;
}

ExportResult ExportSum(ExportJob& job, const std::string& out_path, int32_t n) {
  if (!IsSumLength(n)) return {};
  // The accumulator: 32-bit counts, one per pixel. Sized for the current
  // frame and grown only when a larger frame comes (cells beyond the old size
  // start at zero, as they would have been).
  std::vector<uint32_t> acc;
  XkvExportStream s(job);
  if (!s.Open(out_path, 0)) return {};
  RecordStore& store = s.Store();
  while (s.Next()) {
    uint16_t* frame = store.FrameBuffer();
    const size_t count = static_cast<size_t>(store.Width()) * static_cast<size_t>(store.Height());
    if (count > acc.size()) {
      try {
        acc.resize(count, 0);
      } catch (const std::bad_alloc&) {
        job.reporter.Modal(kCanNotAllocateTempArray);
        s.Abandon();
        break;
      }
    }
    for (size_t i = 0; i < count; ++i) acc[i] += frame[i];
    if (s.Counter() % n != 0) continue;
    for (size_t i = 0; i < count; ++i) {
      frame[i] = static_cast<uint16_t>(std::min<uint32_t>(acc[i], 65535));
      acc[i] = 0;
    }
    PRM_INFO prm = store.Prm();
    // Wraps like the 32-bit field it is rather than overflowing.
    prm.ExposureMs =
        static_cast<int32_t>(static_cast<uint32_t>(prm.ExposureMs) * static_cast<uint32_t>(n));
    s.Write(prm, frame);
  }
  ExportResult r = s.Finish();
  // Frames after the last whole group are dropped: fewer than N give a file
  // with no frame, and the user is told why.
  if (r.ok && !r.stopped && r.frames_written == 0) {
    job.reporter.Modal(std::string(kRecordShorterThanSum) + " (" + std::to_string(n) +
                       " frames needed, the record holds " + std::to_string(r.frames_read) + ")");
    r.ok = false;
  }
  return r;
}

}  // namespace lumetra
