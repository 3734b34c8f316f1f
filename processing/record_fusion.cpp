#include "processing/record_fusion.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>
#include <system_error>

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

// The output record and the state carried from one input to the next.
class Fusion {
 public:
  Fusion(std::FILE* out, const FrameWriteOptions& write, Reporter& reporter)
      : out_(out), write_(write), reporter_(reporter) {}

  bool Allocate() {
    try {
      frame_.assign(static_cast<size_t>(kMaxFramePixels), 0);
      bytes_.assign(static_cast<size_t>(kMaxFramePixels), 0);
    } catch (const std::bad_alloc&) {
      return false;
    }
    return true;
  }

  // Appends every frame of `in` (until its end or a frame the reader refuses,
  // which it reports) with the time offset added; then the offset becomes
  // the time stamp of the last frame written. False after a write error.
  bool AppendFile(std::FILE* in) {
    while (ReadXKVFrame(in, prm_, add_, frame_.data(), bytes_.data(), reporter_) ==
           FrameReadStatus::kOk) {
      prm_.TimeMs += offset_ms_;
      if (!Write()) return false;
      any_frame_ = true;
    }
    offset_ms_ = prm_.TimeMs;
    return true;
  }

  // Two all-zero frames with the header of the last frame written.
  bool AddBlankFrames() {
    if (!any_frame_) return true;
    const size_t n = static_cast<size_t>(std::max(prm_.PixelCount, 0));
    std::fill(frame_.begin(), frame_.begin() + std::min(n, frame_.size()), uint16_t{0});
    return Write() && Write();
  }

  int32_t FramesWritten() const { return frames_written_; }

 private:
  bool Write() {
    if (!WriteXKVFrame(out_, prm_, add_, frame_.data(), write_)) return false;
    ++frames_written_;
    return true;
  }

  std::FILE* out_;
  const FrameWriteOptions& write_;
  Reporter& reporter_;
  std::vector<uint16_t> frame_;
  std::vector<uint8_t> bytes_;
  PRM_INFO prm_ = DefaultPrmInfo();
  ADD_INFO add_;
  int32_t offset_ms_ = 0;
  int32_t frames_written_ = 0;
  bool any_frame_ = false;
};

}  // namespace

FusionResult FuseRecords(const std::vector<std::string>& inputs, const std::string& out_path,
                         bool add_blank_frames, const std::string& open_record,
                         const FrameWriteOptions& write, Reporter& reporter,
                         const std::atomic<bool>* stop) {
  FusionResult r;
  if (RefuseOutput(inputs, out_path, open_record, reporter)) return r;
  FileHandle out = OpenFile(out_path, "wb");
  if (!out) {
    reporter.Modal(kCanNotOpenOutput);
    return r;
  }
  Fusion fusion(out.get(), write, reporter);
  if (!fusion.Allocate()) {
    reporter.Modal(kCanNotAllocateTempArray);
    return r;
  }
  bool opened = true, written = true;
  for (size_t f = 0; written && f < inputs.size() && !(stop && stop->load()); ++f) {
    // A folder opens for reading here but holds no record.
    std::error_code ec;
    const bool folder = std::filesystem::is_directory(inputs[f], ec);
    FileHandle in = folder ? nullptr : OpenFile(inputs[f], "rb");
    if (!in) {
      // The fusion ends here; what was written stays.
      reporter.Modal(kCanNotOpenXkv, OpenFailureDetail(inputs[f], folder ? EISDIR : errno));
      opened = false;
      break;
    }
    written = fusion.AppendFile(in.get());
    ++r.files_fused;
    if (written && add_blank_frames && f + 1 < inputs.size()) written = fusion.AddBlankFrames();
  }
  if (std::fclose(out.release()) != 0) written = false;
  if (!written) reporter.Modal(kExportWriteError);
  r.frames_written = fusion.FramesWritten();
  r.ok = opened && written;
  // Inputs without a single frame leave nothing worth a file.
  if (r.frames_written == 0) {
    std::error_code ec;
    std::filesystem::remove(out_path, ec);
    if (r.ok) reporter.Modal(kNoFrameToFuse);
    r.ok = false;
    return r;
  }
  reporter.Notice(kDone);
  return r;
}

}  // namespace lumetra
