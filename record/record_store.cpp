#include "record/record_store.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>

#include "common/text_format.h"
#include "record/record_messages.h"

namespace lumetra {

std::unique_ptr<RecordStore> RecordStore::Create(Reporter& reporter) {
  std::unique_ptr<RecordStore> store(new (std::nothrow) RecordStore());
  try {
    if (!store) throw std::bad_alloc();
    store->frame_buffer_.assign(kMaxFramePixels, 0);
    store->raw_byte_buffer_.assign(kMaxFramePixels, 0);
    store->index_.reserve(kMaxIndexedFrames);
    store->frame_times_.reserve(kMaxIndexedFrames);
  } catch (const std::bad_alloc&) {
    reporter.Modal(kCanNotAllocateBuffers);
    return nullptr;
  }
  return store;
}

std::string RecordStore::MakeCaption(const std::string& path, int32_t frames, int64_t bytes) {
  // Megabytes of 1,000,000 bytes with one decimal, truncated: 123,456,789 -> 123.4.
  const auto tenths = static_cast<int64_t>(static_cast<double>(bytes) * 1e-5);
  return "Lumetra - " + path + " (" + std::to_string(frames) + " frames, " +
         FormatGeneral(static_cast<double>(tenths) * 0.1) + " Mb)";
}

bool RecordStore::FirstFrameReadable(std::FILE* f, const std::string& path, Reporter& reporter) {
  if (std::getc(f) == EOF) return true;  // zero bytes: a record of no frame
  std::rewind(f);
  PRM_INFO p = DefaultPrmInfo();
  ADD_INFO a;
  // The reader's own message, with the file named for the command line.
  CollectingReporter refusal;
  const FrameReadStatus st = ReadXKVHeader(f, p, a, refusal);
  if (st == FrameReadStatus::kEndOfRecord) {
    reporter.Modal(kFrameReadingError, path + ": the file ends inside the header of frame 0");
    return false;
  }
  if (st != FrameReadStatus::kOk) {
    for (const std::string& t : refusal.Texts(MessageKind::kModal))
      reporter.Modal(t, path + ": frame 0 can not be read");
    return false;
  }
  struct stat info {};
  const off_t data_at = ftello(f);
  if (fstat(fileno(f), &info) == 0 && S_ISREG(info.st_mode) && data_at >= 0) {
    const int64_t held = static_cast<int64_t>(info.st_size) - data_at;
    if (held < PixelDataBytes(p)) {
      reporter.Modal(kFrameReadingError,
                     path + ": frame 0 needs " + std::to_string(PixelDataBytes(p)) +
                         " bytes of pixel data, the file holds " + std::to_string(held));
      return false;
    }
  }
  std::rewind(f);
  return true;
}

bool RecordStore::Open(const std::string& path, Reporter& reporter) {
  std::error_code ec;
  // A folder opens for reading on some systems and then reads as nothing.
  const bool folder = std::filesystem::is_directory(path, ec);
  FileHandle f = folder ? nullptr : OpenFile(path, "rb");
  if (!f) {
    reporter.Modal(kFileOpenError, OpenFailureDetail(path, folder ? EISDIR : errno));
    return false;
  }
  // The open record is given up only for one whose first frame can be shown.
  if (!FirstFrameReadable(f.get(), path, reporter)) return false;
  Close();
  file_name_ = path;

  // Scan: read each header, seek over its data. Pixel data is neither read nor
  // checked for completeness; a cut-short last frame still counts here.
  double interval_sum = 0;
  float prev_time_s = 0;
  int64_t pos = 0;
  while (static_cast<int32_t>(index_.size()) < kMaxIndexedFrames) {
    PrmBytes hb;
    if (std::fread(hb.data(), 1, hb.size(), f.get()) != hb.size()) break;
    const PRM_INFO p = DecodePrmInfo(hb);
    // A negative PixelCount would seek backwards and a depth above 16 bits
    // would overflow MaxLevel: the record ends before such a header.
    if (p.PixelCount < 0 || p.BitsPerPixel > 16) {
      std::string reason = p.PixelCount < 0 ? "PixelCount=" + std::to_string(p.PixelCount)
                                            : "BitsPerPixel=" + std::to_string(p.BitsPerPixel);
      open_warnings_.push_back(std::string(kBrokenFrameHeader) + " (" + reason +
                               "): the record ends before frame " + std::to_string(index_.size()));
      break;
    }
    FrameIndexEntry e;
    e.FrameBits = p.BitsPerPixel;
    e.FrameBytes = PixelDataBytes(p);
    e.FrameTimeMs = p.TimeMs;
    e.Offset = pos;
    const float t = static_cast<float>(p.TimeMs) * 0.001f;
    if (!index_.empty()) interval_sum += static_cast<double>(t - prev_time_s);
    prev_time_s = t;
    index_.push_back(e);
    frame_times_.push_back(t);
    const int64_t skip = e.FrameBytes + (p.AddInfoFlag == 1 ? kAddInfoBytes : 0);
    pos += kPrmInfoBytes + skip;
    if (fseeko(f.get(), static_cast<off_t>(skip), SEEK_CUR) != 0) break;
  }
  const off_t end = ftello(f.get());
  scanned_bytes_ = end < 0 ? 0 : static_cast<int64_t>(end);
  f.reset();

  if (!index_.empty()) {
    int32_t level = 1;
    bool different = false;
    const int64_t first = index_[0].FrameBytes;
    for (const FrameIndexEntry& e : index_) {
      level = std::max(level, 1 << e.FrameBits);
      // 1- and 2-byte frames of one size are alike.
      if (e.FrameBytes != first && e.FrameBytes != 2 * first && 2 * e.FrameBytes != first)
        different = true;
    }
    max_level_ = level;
    if (different)
      open_warnings_.insert(open_warnings_.begin(), std::string(kDifferentSizeWarning));
  } else {
    open_warnings_.push_back(std::string(kNoFramesWarning));
  }
  frame_interval_ = interval_sum;
  if (index_.size() > 1) frame_interval_ /= static_cast<double>(index_.size() - 1);
  frame_interval_ += 0.0001;

  caption_ = MakeCaption(path, FrameCount(), scanned_bytes_);
  for (const std::string& w : open_warnings_) reporter.Warning(w);

  record_reading_ = false;
  record_loaded_ = true;
  current_frame_ = -1;
  for (FrameStep* s : chain_) s->Restart();
  NextFrame(reporter);
  return true;
}

void RecordStore::Close() {
  file_.reset();
  file_name_.clear();
  caption_.clear();
  index_.clear();
  frame_times_.clear();
  open_warnings_.clear();
  frame_interval_ = 0;
  scanned_bytes_ = 0;
  record_reading_ = false;
  record_loaded_ = false;
  has_frame_ = false;
  current_frame_ = -1;
  frames_read_ = 0;
  // No record, no header: what is shown and used as a template is the default.
  prm_ = DefaultPrmInfo();
  add_ = ADD_INFO{};
}

bool RecordStore::ReopenAtStart() {
  file_ = OpenFile(file_name_, "rb");
  frames_read_ = 0;
  record_reading_ = static_cast<bool>(file_);
  return record_reading_;
}

FrameReadStatus RecordStore::ReadNext(Reporter& reporter) {
  if (!file_) return FrameReadStatus::kEndOfRecord;
  // Frames beyond the indexed ones (past the 10000th) are never shown.
  if (frames_read_ >= FrameCount()) return FrameReadStatus::kEndOfRecord;
  const FrameReadStatus st = ReadXKVFrame(file_.get(), prm_, add_, frame_buffer_.data(),
                                          raw_byte_buffer_.data(), reporter);
  // A refused frame leaves no current one (a short read may have overwritten
  // part of the buffer); the normal end keeps the last frame read.
  if (st != FrameReadStatus::kEndOfRecord) has_frame_ = st == FrameReadStatus::kOk;
  if (st == FrameReadStatus::kShortData) {
    file_.reset();
    record_reading_ = false;
    frames_read_ = 0;
    return st;
  }
  if (st != FrameReadStatus::kOk) return st;
  ++current_frame_;
  ++frames_read_;
  RunChain();
  return st;
}

void RecordStore::RunChain() {
  FrameView view{frame_buffer_.data(), prm_.Width, prm_.Height, prm_, frames_read_ - 1};
  for (FrameStep* s : chain_)
    if (s->Enabled()) s->Apply(view);
  if (prm_.BitsPerPixel <= 16 && (1 << prm_.BitsPerPixel) > max_level_)
    max_level_ = 1 << prm_.BitsPerPixel;
}

bool RecordStore::NextFrame(Reporter& reporter) {
  if (!record_loaded_) return false;
  if (!record_reading_) {
    current_frame_ = -1;
    if (!ReopenAtStart()) {
      reporter.Modal(kFileOpenError, OpenFailureDetail(file_name_, errno));
      has_frame_ = false;
      current_frame_ = 0;
      return false;
    }
  }
  if (ReadNext(reporter) == FrameReadStatus::kOk) return true;
  // The end of the record, or a frame that cannot be read: start again at 0.
  file_.reset();
  record_reading_ = false;
  current_frame_ = 0;
  return false;
}

void RecordStore::PrevFrame(Reporter& reporter) {
  if (!file_ || !record_reading_ || current_frame_ < 1 || frames_read_ < 2) return;
  // Seek to the record of the frame before the one shown, then read it again.
  const int32_t target = frames_read_ - 2;
  if (fseeko(file_.get(), static_cast<off_t>(index_[target].Offset), SEEK_SET) != 0) return;
  frames_read_ = target;
  current_frame_ -= 2;
  NextFrame(reporter);
}

void RecordStore::FirstFrame(Reporter& reporter) {
  if (!record_loaded_) return;
  file_.reset();
  record_reading_ = false;
  NextFrame(reporter);
}

bool RecordStore::GoToFrame(int32_t n, Reporter& reporter) {
  if (!record_loaded_ || FrameCount() == 0) {
    reporter.Modal(kFileNotOpen);
    return false;
  }
  n = std::clamp(n, 0, FrameCount() - 1);
  // After the end of the record the file is closed and frame 0 not yet read.
  if (!record_reading_ && !NextFrame(reporter)) return false;
  while (current_frame_ < n)
    if (!NextFrame(reporter)) return false;
  while (current_frame_ > n) {
    const int32_t before = current_frame_;
    PrevFrame(reporter);
    if (current_frame_ >= before || !record_reading_) return false;
  }
  return true;
}

bool RecordStore::RestartStream(int32_t counter, Reporter& reporter) {
  if (!record_loaded_) {
    reporter.Modal(kFileNotOpen);
    return false;
  }
  if (!ReopenAtStart()) {
    reporter.Modal(kFileOpenError, OpenFailureDetail(file_name_, errno));
    return false;
  }
  current_frame_ = counter;
  return true;
}

bool RecordStore::SetSelFirstFrameText(std::string_view text, Reporter& reporter) {
  const auto v = ParseInteger(text);
  if (!v || *v < 0 || *v > static_cast<int64_t>(sel_last_frame_) - 2) {
    reporter.Modal(kFirstFrameOutOfRange);
    return false;
  }
  sel_first_frame_ = static_cast<int32_t>(*v);
  return true;
}

bool RecordStore::SetSelLastFrameText(std::string_view text, Reporter& reporter) {
  const auto v = ParseInteger(text);
  if (!v || *v < static_cast<int64_t>(sel_first_frame_) + 2 || *v > INT32_MAX) {
    reporter.Modal(kLastFrameOutOfRange);
    return false;
  }
  sel_last_frame_ = static_cast<int32_t>(*v);
  return true;
}

int32_t RecordStore::PlayFirstFrame() const {
  if (!use_part_of_record_) return 0;
  return std::max(0, std::min(sel_first_frame_, FrameCount() - 1));
}

int32_t RecordStore::PlayLastFrame() const {
  if (!use_part_of_record_) return FrameCount() - 1;
  return std::min(sel_last_frame_, FrameCount() - 1);
}

void RecordStore::AddStep(FrameStep* step) {
  RemoveStep(step);
  auto at = std::upper_bound(chain_.begin(), chain_.end(), step, [](FrameStep* a, FrameStep* b) {
    return static_cast<int>(a->Slot()) < static_cast<int>(b->Slot());
  });
  chain_.insert(at, step);
}

void RecordStore::RemoveStep(FrameStep* step) {
  chain_.erase(std::remove(chain_.begin(), chain_.end(), step), chain_.end());
}

}  // namespace lumetra
