// Masks: a one-frame XKV file whose pixels say where the analyses look. In the
// chain's first slot a loaded mask is applied to every frame of its size:
// "Boolean Mask" sets the pixels where the mask is 0 to 0 (so detection, the
// step maps and every export see nothing there), "Subtract Mask" subtracts the
// mask, floored at 0 (a background frame), and "Equalizer" divides by the mask
// relative to its mean (a flat field: pixel x mean / mask, 0 where the mask is
// 0, clamped at 65535, truncated). They combine in that order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/report.h"
#include "record/frame_step.h"

namespace lumetra {

struct MaskFrame {
  int32_t width = 0, height = 0;
  std::vector<uint16_t> pixels;  // width x height counts, row-major
  int64_t Set() const;           // pixels above 0
};

// Reads the first frame of a mask file with the mask rules: a file whose first
// 48 bytes cannot be read gives "Mask File Error"; a header in the old size
// form "File read error (PRM_INFO"; a short ADD_INFO "File read error
// (ADD_PRM"; a size the reader cannot trust or pixel data cut short "Mask File
// Error" with the reason. Nothing after the message.
std::optional<MaskFrame> ReadMaskFile(const std::string& path, Reporter& reporter);

// The mask checked against the record's frame size: another size is refused
// with "The mask's frame size differs from the record's" and both sizes.
bool MaskFitsRecord(const MaskFrame& mask, int32_t width, int32_t height, Reporter& reporter);

class MaskStep final : public FrameStep {
 public:
  ChainSlot Slot() const override { return ChainSlot::kMask; }
  bool Enabled() const override { return !mask_.pixels.empty() && (boolean_ || subtract_ || equalize_); }
  // Frames of another size than the mask pass unchanged.
  void Apply(FrameView& frame) override;

  void SetMask(MaskFrame mask);
  void Clear() { mask_ = MaskFrame{}; }
  const MaskFrame& Mask() const { return mask_; }
  bool Loaded() const { return !mask_.pixels.empty(); }
  bool boolean_ = false, subtract_ = false, equalize_ = false;

 private:
  MaskFrame mask_;
  double mean_ = 0;
};

}  // namespace lumetra
