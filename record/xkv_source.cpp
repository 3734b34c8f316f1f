#include "record/xkv_source.h"

#include <sys/stat.h>

#include "record/record_messages.h"

namespace lumetra {

bool XkvFrameSource::Check(Reporter& reporter) {
  std::FILE* f = file_.get();
  if (std::getc(f) == EOF) {  // zero bytes: a record of no frame
    std::rewind(f);
    return true;
  }
  std::rewind(f);
  PRM_INFO p = DefaultPrmInfo();
  ADD_INFO a;
  // The reader's own message, with the file named for the command line.
  CollectingReporter refusal;
  const FrameReadStatus st = ReadXKVHeader(f, p, a, refusal);
  if (st == FrameReadStatus::kEndOfRecord) {
    reporter.Modal(kFrameReadingError, path_ + ": the file ends inside the header of frame 0");
    return false;
  }
  if (st != FrameReadStatus::kOk) {
    for (const std::string& t : refusal.Texts(MessageKind::kModal))
      reporter.Modal(t, path_ + ": frame 0 can not be read");
    return false;
  }
  struct stat info {};
  const off_t data_at = ftello(f);
  if (fstat(fileno(f), &info) == 0 && S_ISREG(info.st_mode) && data_at >= 0) {
    const int64_t held = static_cast<int64_t>(info.st_size) - data_at;
    if (held < PixelDataBytes(p)) {
      reporter.Modal(kFrameReadingError,
                     path_ + ": frame 0 needs " + std::to_string(PixelDataBytes(p)) +
                         " bytes of pixel data, the file holds " + std::to_string(held));
      return false;
    }
  }
  std::rewind(f);
  return true;
}

void XkvFrameSource::Scan(SourceScan& scan) {
  // Read each header, seek over its data. Pixel data is neither read nor
  // checked for completeness; a cut-short last frame still counts here.
  std::vector<FrameIndexEntry>& index = *scan.index;
  std::FILE* f = file_.get();
  int64_t pos = 0;
  while (static_cast<int32_t>(index.size()) < kMaxIndexedFrames) {
    PrmBytes hb;
    if (std::fread(hb.data(), 1, hb.size(), f) != hb.size()) break;
    const PRM_INFO p = DecodePrmInfo(hb);
    // A negative PixelCount would seek backwards and a depth above 16 bits
    // would overflow MaxLevel: the record ends before such a header.
    if (p.PixelCount < 0 || p.BitsPerPixel > 16) {
      std::string reason = p.PixelCount < 0 ? "PixelCount=" + std::to_string(p.PixelCount)
                                            : "BitsPerPixel=" + std::to_string(p.BitsPerPixel);
      scan.warnings.push_back(std::string(kBrokenFrameHeader) + " (" + reason +
                              "): the record ends before frame " + std::to_string(index.size()));
      break;
    }
    FrameIndexEntry e;
    e.FrameBits = p.BitsPerPixel;
    e.FrameBytes = PixelDataBytes(p);
    e.FrameTimeMs = p.TimeMs;
    e.Offset = pos;
    index.push_back(e);
    const int64_t skip = e.FrameBytes + (p.AddInfoFlag == 1 ? kAddInfoBytes : 0);
    pos += kPrmInfoBytes + skip;
    if (fseeko(f, static_cast<off_t>(skip), SEEK_CUR) != 0) break;
  }
  const off_t end = ftello(f);
  scan.scanned_bytes = end < 0 ? 0 : static_cast<int64_t>(end);
  file_.reset();
}

bool XkvFrameSource::Rewind() {
  file_ = OpenFile(path_, "rb");
  return static_cast<bool>(file_);
}

bool XkvFrameSource::SeekTo(int32_t, const FrameIndexEntry& entry) {
  return file_ && fseeko(file_.get(), static_cast<off_t>(entry.Offset), SEEK_SET) == 0;
}

FrameReadStatus XkvFrameSource::ReadNext(PRM_INFO& prm, ADD_INFO& add, uint16_t* frame,
                                         Reporter& reporter) {
  return ReadXKVFrame(file_.get(), prm, add, frame, byte_buffer_, reporter);
}

}  // namespace lumetra
