#include "record/record_store.h"

#include <algorithm>
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

bool RecordStore::Open(const std::string& path, Reporter& reporter) {
  std::unique_ptr<FrameSource> source =
      MakeFrameSource(path, raw_byte_buffer_.data(), tiff_options_, reporter);
  if (!source) return false;
  // The open record is given up only for one whose first frame can be shown.
  if (!source->Check(reporter)) return false;
  Close();
  file_name_ = path;

  SourceScan scan;
  scan.index = &index_;
  source->Scan(scan);
  open_warnings_ = std::move(scan.warnings);
  open_notes_ = std::move(scan.notes);
  scanned_bytes_ = scan.scanned_bytes;
  source_ = std::move(source);

  double interval_sum = 0;
  float prev_time_s = 0;
  for (const FrameIndexEntry& e : index_) {
    const float t = static_cast<float>(e.FrameTimeMs) * 0.001f;
    if (!frame_times_.empty()) interval_sum += static_cast<double>(t - prev_time_s);
    prev_time_s = t;
    frame_times_.push_back(t);
  }

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
  source_.reset();
  file_name_.clear();
  caption_.clear();
  index_.clear();
  frame_times_.clear();
  open_warnings_.clear();
  open_notes_.clear();
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
  frames_read_ = 0;
  record_reading_ = source_ && source_->Rewind();
  return record_reading_;
}

FrameReadStatus RecordStore::ReadNext(Reporter& reporter) {
  if (!Reading()) return FrameReadStatus::kEndOfRecord;
  // Frames beyond the indexed ones (past the 10000th) are never shown.
  if (frames_read_ >= FrameCount()) return FrameReadStatus::kEndOfRecord;
  const FrameReadStatus st = source_->ReadNext(prm_, add_, frame_buffer_.data(), reporter);
  // A refused frame leaves no current one (a short read may have overwritten
  // part of the buffer); the normal end keeps the last frame read.
  if (st != FrameReadStatus::kEndOfRecord) has_frame_ = st == FrameReadStatus::kOk;
  if (st == FrameReadStatus::kShortData) {
    source_->Release();
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
  if (source_) source_->Release();
  record_reading_ = false;
  current_frame_ = 0;
  return false;
}

void RecordStore::PrevFrame(Reporter& reporter) {
  if (!Reading() || !record_reading_ || current_frame_ < 1 || frames_read_ < 2) return;
  // Seek to the record of the frame before the one shown, then read it again.
  const int32_t target = frames_read_ - 2;
  if (!source_->SeekTo(target, index_[target])) return;
  frames_read_ = target;
  current_frame_ -= 2;
  NextFrame(reporter);
}

void RecordStore::FirstFrame(Reporter& reporter) {
  if (!record_loaded_) return;
  if (source_) source_->Release();
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
    const int sa = static_cast<int>(a->Slot()), sb = static_cast<int>(b->Slot());
    return sa < sb || (sa == sb && a->SlotOrder() < b->SlotOrder());
  });
  chain_.insert(at, step);
}

void RecordStore::RemoveStep(FrameStep* step) {
  chain_.erase(std::remove(chain_.begin(), chain_.end(), step), chain_.end());
}

}  // namespace lumetra
