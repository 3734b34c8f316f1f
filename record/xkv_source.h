// The XKV frame source: frame records back to back, scanned by their headers
// (seeking over the pixel data) and read front to back with ReadXKVFrame.
#pragma once

#include <string>

#include "common/file_handle.h"
#include "record/frame_source.h"

namespace lumetra {

class XkvFrameSource final : public FrameSource {
 public:
  // `file` is the record opened "rb" at its start; `byte_buffer` is lent by
  // the store (kMaxFramePixels bytes) for 1-byte frames.
  XkvFrameSource(std::string path, FileHandle file, uint8_t* byte_buffer)
      : path_(std::move(path)), file_(std::move(file)), byte_buffer_(byte_buffer) {}

  bool Check(Reporter& reporter) override;
  void Scan(SourceScan& scan) override;
  bool Rewind() override;
  void Release() override { file_.reset(); }
  bool IsOpen() const override { return static_cast<bool>(file_); }
  bool SeekTo(int32_t frame, const FrameIndexEntry& entry) override;
  FrameReadStatus ReadNext(PRM_INFO& prm, ADD_INFO& add, uint16_t* frame,
                           Reporter& reporter) override;

 private:
  std::string path_;
  FileHandle file_;
  uint8_t* byte_buffer_;
};

}  // namespace lumetra
