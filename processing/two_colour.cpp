#include "processing/two_colour.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "processing/processing_messages.h"
#include "processing/text_output.h"
#include "processing/two_colour_messages.h"

namespace lumetra {

SplitRects SplitFrame(int32_t width, int32_t height, SplitLayout layout) {
  SplitRects r;
  if (layout == SplitLayout::kLeftRight) {
    const int32_t half = width / 2;
    r.first = {0, 0, half, height, true};
    r.second = {width - half, 0, width, height, true};
  } else {
    const int32_t half = height / 2;
    r.first = {0, 0, width, half, true};
    r.second = {0, height - half, width, height, true};
  }
  return r;
}

std::string ChannelName(const std::string& chosen, int channel) {
  const size_t slash = chosen.find_last_of('/');
  const size_t dot = chosen.find_last_of('.');
  const bool has_ext = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  const std::string stem = has_ext ? chosen.substr(0, dot) : chosen;
  const std::string ext = has_ext ? chosen.substr(dot) : ".xkv";
  return stem + "-ch" + std::to_string(channel) + ext;
}

SplitResult SplitTwoColourRecord(ExportJob& job, const std::string& first_path,
                                 const std::string& second_path, SplitLayout layout) {
  SplitResult out;
  out.first_path = first_path;
  out.second_path = second_path;
  ExportResult& r = out.export_result;
  if (!job.store.RecordLoaded()) {
    job.reporter.Modal(kNoRecordOpen);
    return out;
  }
  if (IsSameFile(first_path, second_path)) {
    job.reporter.Modal(kSplitSameOutputs, first_path);
    return out;
  }
  if (RefuseRecordAsOutput(job.store, first_path, job.reporter) ||
      RefuseRecordAsOutput(job.store, second_path, job.reporter))
    return out;
  const std::string parts[2] = {first_path + ".part", second_path + ".part"};
  FileHandle files[2];
  for (int i = 0; i < 2; ++i) {
    files[i] = OpenFile(parts[i], "wb");
    if (!files[i]) {
      job.reporter.Modal(kExportFileOpenError, OpenFailureDetail(i ? second_path : first_path, errno));
      std::error_code ec;
      std::filesystem::remove(parts[0], ec);
      return out;
    }
  }
  bool ok = job.store.RestartStream(-1, job.reporter);
  while (ok && ReadExportFrame(job, r, ok)) {
    const SplitRects rects = SplitFrame(job.store.Width(), job.store.Height(), layout);
    if (!rects.Valid()) {
      job.reporter.Modal(kFrameTooSmallToSplit, job.store.RecordFileName());
      ok = false;
      break;
    }
    for (int i = 0; i < 2 && ok; ++i) {
      FrameWriteOptions write;
      write.save_2bytes = job.write.save_2bytes;
      write.region = i ? rects.second : rects.first;
      if (!WriteXKVFrame(files[i].get(), job.store.Prm(), job.store.Add(), job.store.FrameBuffer(),
                         write)) {
        job.reporter.Modal(kExportWriteError, i ? second_path : first_path);
        ok = false;
      }
    }
    if (ok) ++r.frames_written;
  }
  for (FileHandle& f : files)
    if (std::fclose(f.release()) != 0 && ok) {
      job.reporter.Modal(kExportWriteError);
      ok = false;
    }
  r.ok = ok && r.frames_written > 0;
  if (ok && r.frames_written == 0) job.reporter.Modal(kNoFrameWritten);
  if (r.ok && !r.stopped && CommitPart(parts[0], first_path, job.reporter)) {
    // Neither channel alone: a failed second rename takes the first back.
    if (!CommitPart(parts[1], second_path, job.reporter)) {
      std::error_code ec;
      std::filesystem::remove(first_path, ec);
      r.ok = false;
    }
  } else if (r.ok && !r.stopped) {
    r.ok = false;
  }
  std::error_code ec;
  for (const std::string& p : parts) std::filesystem::remove(p, ec);
  return out;
}

}  // namespace lumetra
