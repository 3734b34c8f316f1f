#include "processing/invert_export.h"

namespace lumetra {

void InvertIntensity(uint16_t* pixels, size_t n, int32_t range) {
  const uint16_t r = static_cast<uint16_t>(range);
  for (size_t i = 0; i < n; ++i) pixels[i] = static_cast<uint16_t>(r - pixels[i]);
}

ExportResult ExportInverse(ExportJob& job, const std::string& out_path) {
  const int32_t range = job.store.MaxLevel();
  XkvExportStream s(job);
  if (!s.Open(out_path, 0)) return {};
  RecordStore& store = s.Store();
  while (s.Next()) {
    const size_t n = static_cast<size_t>(store.Width()) * static_cast<size_t>(store.Height());
    InvertIntensity(store.FrameBuffer(), n, range);
    s.Write(store.Prm(), store.FrameBuffer());
  }
  return s.Finish();
}

}  // namespace lumetra
