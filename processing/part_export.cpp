#include "processing/part_export.h"

#include "common/text_format.h"
#include "processing/processing_messages.h"

namespace lumetra {

bool CheckPartFirst(std::string_view text, int32_t frame_count, int32_t& first,
                    Reporter& reporter) {
  const int32_t v = IntegerOr(text, 0);
  if (v < 0 || v >= frame_count) {
    reporter.Modal(kFirstFrameOutOfRange);
    return false;
  }
  first = v;
  return true;
}

bool CheckPartLast(std::string_view text, int32_t first, int32_t frame_count, int32_t& last,
                   Reporter& reporter) {
  const int32_t v = IntegerOr(text, 0);
  if (v <= first || v > frame_count) {
    reporter.Modal(kLastFrameOutOfRange);
    return false;
  }
  last = v;
  return true;
}

ExportResult ExportPart(ExportJob& job, const std::string& out_path, int32_t first, int32_t last) {
  XkvExportStream s(job);
  if (!s.Open(out_path, -1)) return {};
  int32_t base_ms = 0;
  // The loop runs while the index is at most last: the frame after it is read
  // (and passes the chain) but not written.
  while (s.Next()) {
    const int32_t index = s.Counter();
    PRM_INFO prm = s.Store().Prm();
    if (index == first - 1) base_ms = prm.TimeMs;
    prm.TimeMs -= base_ms;
    if (index >= first && index <= last) s.Write(prm, s.Store().FrameBuffer());
    if (index > last) break;
  }
  return s.Finish();
}

}  // namespace lumetra
