#include "processing/tiff_export.h"

#include <filesystem>

#include "processing/processing_messages.h"

namespace lumetra {

TiffStackInfo StackInfoFor(const RecordStore& store, bool ome, const std::string& out_path) {
  TiffStackInfo info;
  info.width = store.Width();
  info.height = store.Height();
  info.frames = store.FrameCount();
  info.nm_x = store.Prm().ScaleX;
  info.nm_y = store.Prm().ScaleY;
  info.ome = ome;
  info.name = std::filesystem::path(out_path).filename().string();
  const auto& index = store.FrameIndex();
  if (index.size() > 1)
    info.frame_ms = static_cast<double>(index.back().FrameTimeMs - index.front().FrameTimeMs) /
                    static_cast<double>(index.size() - 1);
  for (const FrameIndexEntry& e : index) info.time_ms.push_back(e.FrameTimeMs);
  // The index holds no exposure: frame 0's stands for every frame.
  if (store.Prm().ExposureMs > 0) info.exposure_ms.assign(index.size(), store.Prm().ExposureMs);
  return info;
}

ExportResult ExportTiff(ExportJob& job, const std::string& out_path, bool ome) {
  RecordStore& store = job.store;
  if (!store.RecordLoaded() || !store.HasFrame()) {
    job.reporter.Modal(kNoRecordOpen);
    return {};
  }
  if (RefuseRecordAsOutput(store, out_path, job.reporter)) return {};
  TiffStackInfo info = StackInfoFor(store, ome, out_path);
  TiffStackWriter writer;
  std::string error;
  NullReporter quiet;
  if (!writer.Open(out_path, info, error) || !store.RestartStream(-1, quiet)) {
    job.reporter.Modal(kExportFileOpenError, error.empty() ? out_path : error);
    return {};
  }
  ExportResult r;
  bool ok = true;
  while (ok && ReadExportFrame(job, r, ok)) {
    if (store.Width() != info.width || store.Height() != info.height) {
      job.reporter.Modal(kTiffSizesDiffer, out_path + ": frame " +
                                               std::to_string(store.CurrentFrame()) + " is " +
                                               std::to_string(store.Width()) + " x " +
                                               std::to_string(store.Height()));
      ok = false;
      break;
    }
    ok = writer.WriteFrame(store.FrameBuffer(), error);
    if (!ok) job.reporter.Modal(kTiffWriteError, error);
    r.frames_written += ok ? 1 : 0;
  }
  r.stopped = job.stop && job.stop->load();
  if (ok && !r.stopped && !writer.Finish(error)) {
    job.reporter.Modal(kTiffWriteError, error);
    ok = false;
  }
  r.ok = ok;
  if (ok && !r.stopped) job.reporter.Notice(kTiffWritten);
  return r;
}

}  // namespace lumetra
