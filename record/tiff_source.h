// The TIFF frame source: a multi-page TIFF (classic or BigTIFF, 8- to 32-bit,
// stripped or tiled, any compression libtiff decodes) read as a record. Pages
// are indexed by walking the chain of directories without decoding pixels;
// the frames are the time series of one channel and Z plane. Pixel size and
// timing come from OME-XML or the ImageJ description where the file has them,
// else from the fallbacks the caller gives.
#pragma once

#include <string>
#include <vector>

#include "record/frame_source.h"
#include "record/tiff_metadata.h"
#include "record/tiff_page.h"

namespace lumetra {

// How samples that are not 8- or 16-bit unsigned become 16-bit counts:
// counts = round((value - offset) x gain), clamped to 0..65535. Decided once
// per file from frame 0: integers that all lie in 0..65535 are counts already
// (offset 0, gain 1), and so are floats that do and reach 255 at least (a
// float 0..1 image is not counts). Otherwise frame 0's minimum to maximum is
// spread over 0..65535 and every frame is converted the same way.
struct CountScaling {
  double offset = 0;
  double gain = 1;
  uint16_t Apply(double v) const;
  static CountScaling FromRange(double lo, double hi, bool floats);
};

class TiffFrameSource final : public FrameSource {
 public:
  TiffFrameSource(std::string path, TiffReadOptions options)
      : path_(std::move(path)), options_(std::move(options)) {}

  bool Check(Reporter& reporter) override;
  void Scan(SourceScan& scan) override;
  bool Rewind() override;
  void Release() override { file_.Close(); }
  bool IsOpen() const override { return file_.IsOpen(); }
  bool SeekTo(int32_t frame, const FrameIndexEntry&) override;
  FrameReadStatus ReadNext(PRM_INFO& prm, ADD_INFO& add, uint16_t* frame,
                           Reporter& reporter) override;

 private:
  struct Frame {
    uint64_t ifd_offset = 0;  // where the page's directory starts
    int64_t page = -1;        // page number in the file, -1 until found
    int32_t time_ms = 0;
    int32_t exposure_ms = 0;
    uint32_t width = 0, height = 0;
    uint8_t bits = 16;  // BitsPerPixel as delivered: 8 or 16
  };
  // The pieces of Check.
  bool PlanLayout(const TiffDescription& meta, int64_t pages, Reporter& reporter);
  // The page of each frame as the OME TiffData elements say.
  void MapTiffData(const TiffDescription& meta, const std::string& order, int64_t size_t_,
                   int64_t pages);
  void WalkPages(int64_t pages);
  void SetTiming(const TiffDescription& meta);
  void SetScale(const TiffDescription& meta);
  bool DecideScaling(Reporter& reporter);
  std::string Where(int64_t page) const;

  std::string path_;
  TiffReadOptions options_;
  TiffFile file_;
  std::vector<Frame> frames_;
  std::vector<std::string> warnings_;
  std::vector<std::string> notes_;
  int64_t size_c_ = 1, size_z_ = 1;
  float nm_x_ = 0, nm_y_ = 0;
  CountScaling scaling_;
  std::vector<uint8_t> scratch_;
  int32_t next_ = 0;
};

}  // namespace lumetra
