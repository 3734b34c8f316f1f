// Where the record store gets its frames from: one source per open record,
// chosen by the file's first bytes. The XKV source reads frame records front to
// back; the TIFF source reads pages through libtiff. The store keeps the index,
// the current frame and the wrap to frame 0; a source only finds frames and
// reads them into the store's 16-bit frame buffer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/report.h"
#include "record/xkv_format.h"
#include "record/xkv_reader.h"

namespace lumetra {

inline constexpr int32_t kMaxIndexedFrames = 10000;

struct FrameIndexEntry {
  int64_t FrameBytes = 0;   // pixel data on disk: PixelCount, doubled above 8 bits
  int32_t FrameTimeMs = 0;  // the frame's TimeMs
  uint8_t FrameBits = 0;    // the frame's BitsPerPixel
  int64_t Offset = 0;       // file offset of the frame record (TIFF: of the page's directory)
};

// What a TIFF file does not say, and which of its planes to read. The store
// hands these to every TIFF it opens; XKV records carry all of it themselves.
struct TiffReadOptions {
  double nm_per_pixel = 100;  // nm per pixel when the file states no pixel size
  double frame_ms = 50;       // ms between frames when the file states no interval
  // Where the two fallbacks came from, as `info` names it ("setting", "--frame-ms").
  std::string nm_origin = "setting";
  std::string frame_ms_origin = "setting";
  int32_t channel = 0;  // channel read from a stack of several
  int32_t z = 0;        // Z plane read from a stack of several
  std::string channel_origin = "default";
  std::string z_origin = "default";
};

// What a scan found: the index (at most kMaxIndexedFrames entries), the
// loader's warnings, and how many bytes of the file the scan covered.
struct SourceScan {
  std::vector<FrameIndexEntry>* index = nullptr;  // the store's, filled in file order
  std::vector<std::string> warnings;
  // Lines saying where a value came from or what was left unread, for `info`.
  std::vector<std::string> notes;
  int64_t scanned_bytes = 0;
};

class FrameSource {
 public:
  virtual ~FrameSource() = default;
  // Everything that can refuse the file, before the store gives up the record
  // it has open: false after reporting why (file named, reason given).
  virtual bool Check(Reporter& reporter) = 0;
  // Builds the index. Runs once, after a successful Check.
  virtual void Scan(SourceScan& scan) = 0;
  // Opens (again) at frame 0. False when the file cannot be opened (errno says why).
  virtual bool Rewind() = 0;
  // Closes the file; the next read needs a Rewind.
  virtual void Release() = 0;
  virtual bool IsOpen() const = 0;
  // Makes `frame` (0-based, of the index) the next one read. False when it cannot.
  virtual bool SeekTo(int32_t frame, const FrameIndexEntry& entry) = 0;
  // Reads the next frame into `prm`, `add` and `frame` (capacity kMaxFramePixels).
  // On failure `prm` and `add` keep their contents; kShortData makes the store
  // close the record.
  virtual FrameReadStatus ReadNext(PRM_INFO& prm, ADD_INFO& add, uint16_t* frame,
                                   Reporter& reporter) = 0;
};

// The source for the file at `path`, chosen by its first bytes (TIFF magic,
// else XKV). Null after reporting "File open ERROR" when it cannot be opened.
// `byte_buffer` (kMaxFramePixels bytes) is the store's, lent to the XKV reader.
std::unique_ptr<FrameSource> MakeFrameSource(const std::string& path, uint8_t* byte_buffer,
                                             const TiffReadOptions& tiff, Reporter& reporter);

}  // namespace lumetra
