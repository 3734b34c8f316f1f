#include "processing/thin_out_export.h"

#include "common/text_format.h"
#include "processing/processing_messages.h"

namespace lumetra {

bool CheckThinFirst(std::string_view text, int32_t frame_count, ThinOutMemory& memory,
                    Reporter& reporter) {
  memory.first = IntegerOr(text, 0);
  if (memory.first < 0 || memory.first >= frame_count - 1) {
    reporter.Modal(kThinFirstOutOfRange);
    return false;
  }
  return true;
}

bool CheckThinOneOfN(std::string_view text, int32_t frame_count, ThinOutMemory& memory,
                     Reporter& reporter) {
  memory.one_of_n = IntegerOr(text, 0);
  if (memory.one_of_n < 1 ||
      static_cast<int64_t>(memory.one_of_n) >= static_cast<int64_t>(frame_count) - memory.first) {
    reporter.Modal(kOneFrameOfNOutOfRange);
    return false;
  }
  return true;
}

ExportResult ExportThinOut(ExportJob& job, const std::string& out_path, int32_t first, int32_t n) {
  if (n < 1) return {};
  XkvExportStream s(job);
  if (!s.Open(out_path, -1)) return {};
  int32_t base_ms = 0;
  while (s.Next()) {
    const int32_t index = s.Counter();
    PRM_INFO prm = s.Store().Prm();
    if (index == first - 1) base_ms = prm.TimeMs;
    prm.TimeMs -= base_ms;
    if (index >= first && (index - first) % n == 0) s.Write(prm, s.Store().FrameBuffer());
  }
  return s.Finish();
}

}  // namespace lumetra
