#include "processing/record_fusion.h"

#include <algorithm>
#include <new>

#include "common/file_handle.h"
#include "processing/export_stream.h"
#include "processing/processing_messages.h"
#include "record/xkv_reader.h"

namespace lumetra {
namespace {

bool RefuseOutput(const std::vector<std::string>& inputs, const std::string& out_path,
                  const std::string& open_record, Reporter& reporter) {
  if (!open_record.empty() && IsSameFile(open_record, out_path)) {
    reporter.Modal(kOutputIsOpenRecord);
    return true;
  }
  for (const std::string& in : inputs) {
    if (IsSameFile(in, out_path)) {
      reporter.Modal(kOutputIsInput);
      return true;
    }
  }
  return false;
}

}  // namespace

FusionResult FuseRecords(const std::vector<std::string>& inputs, const std::string& out_path,
                         bool add_blank_frames, const std::string& open_record,
                         const FrameWriteOptions& write, Reporter& reporter,
                         const std::atomic<bool>* stop) {
  FusionResult r;
  if (RefuseOutput(inputs, out_path, open_record, reporter)) return r;
  std::vector<uint16_t> frame;
  std::vector<uint8_t> bytes;
  try {
    frame.assign(static_cast<size_t>(kMaxFramePixels), 0);
    bytes.assign(static_cast<size_t>(kMaxFramePixels), 0);
  } catch (const std::bad_alloc&) {
    reporter.Modal(kCanNotAllocateTempArray);
    return r;
  }
  FileHandle out = OpenFile(out_path, "wb");
  if (!out) {
    reporter.Modal(kCanNotOpenOutput);
    return r;
  }
  bool ok = true;
  bool write_ok = true;
  int32_t offset_ms = 0;
  PRM_INFO prm = DefaultPrmInfo();
  ADD_INFO add;
  bool any_frame = false;
  auto write_frame = [&] {
    write_ok = WriteXKVFrame(out.get(), prm, add, frame.data(), write);
    if (write_ok) ++r.frames_written;
    return write_ok;
  };
  for (size_t f = 0; write_ok && f < inputs.size() && !(stop && stop->load()); ++f) {
    FileHandle in = OpenFile(inputs[f], "rb");
    if (!in) {
      reporter.Modal(kCanNotOpenXkv);
      ok = false;
      break;
    }
    // Frames of an input are read until its end or until one cannot be read
    // (the reader reports why).
    while (ReadXKVFrame(in.get(), prm, add, frame.data(), bytes.data(), reporter) ==
           FrameReadStatus::kOk) {
      prm.TimeMs += offset_ms;
      if (!write_frame()) break;
      any_frame = true;
    }
    offset_ms = prm.TimeMs;
    ++r.files_fused;
    if (write_ok && add_blank_frames && any_frame && f + 1 < inputs.size()) {
      const size_t n = static_cast<size_t>(std::max(prm.PixelCount, 0));
      std::fill(frame.begin(), frame.begin() + std::min(n, frame.size()), uint16_t{0});
      if (write_frame()) write_frame();
    }
  }
  if (std::fclose(out.release()) != 0) write_ok = false;
  if (!write_ok) reporter.Modal(kExportWriteError);
  reporter.Notice(kDone);
  r.ok = ok && write_ok;
  return r;
}

}  // namespace lumetra
