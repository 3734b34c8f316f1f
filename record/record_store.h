// The open record: its frame index, the current frame and its header, and
// sequential navigation through the file (frames are never cached; going back
// means seeking back and reading again). Every frame read passes the
// processing chain, so what the window shows and what the analyses see agree.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/file_handle.h"
#include "common/report.h"
#include "record/frame_source.h"
#include "record/frame_step.h"
#include "record/xkv_format.h"
#include "record/xkv_reader.h"

namespace lumetra {

class RecordStore {
 public:
  // Allocates the frame buffers once for the largest frame. Returns null after
  // reporting "Can not allocate memory for buffers".
  static std::unique_ptr<RecordStore> Create(Reporter& reporter);

  // Opening a record: scan the headers, build the index, set the caption and
  // read frame 0. Returns false (record state unchanged: the record open
  // before stays open and shown) when the file cannot be opened, or when it
  // holds bytes but its first frame cannot be read (a text file, a record cut
  // short inside frame 0). A file of zero bytes opens as a record of no frame.
  bool Open(const std::string& path, Reporter& reporter);
  void Close();

  // NextFrClick: read the next frame; at the end (or on a read failure) close
  // the file so that the next call starts again at frame 0. True when a frame
  // was read.
  bool NextFrame(Reporter& reporter);
  // PrevFrClick: from frame 1 or later, show the frame before; on frame 0 nothing.
  void PrevFrame(Reporter& reporter);
  // FirstFrameClick: reopen and read frame 0.
  void FirstFrame(Reporter& reporter);
  // FrameTrackBarChange: step frame by frame to frame n (every frame between
  // passes the chain). Stops early when a read fails. False when no record is open.
  bool GoToFrame(int32_t n, Reporter& reporter);

  // The stream the export transforms and playback loops drive themselves:
  // reopen the file at its first frame with CurrentFrame set to `counter`
  // (-1: frames counted from 0; 0: counted from 1), then read frame after frame.
  bool RestartStream(int32_t counter, Reporter& reporter);
  FrameReadStatus ReadNext(Reporter& reporter);

  // The selected part of the record, as typed into the input boxes.
  bool SetSelFirstFrameText(std::string_view text, Reporter& reporter);
  bool SetSelLastFrameText(std::string_view text, Reporter& reporter);
  // First and last frame of a playback or analysis: the selected part when
  // UsePartOfRecord is on (ending where the record ends), else the whole record.
  int32_t PlayFirstFrame() const;
  int32_t PlayLastFrame() const;

  // The chain; steps are not owned and run in slot order after each read.
  void AddStep(FrameStep* step);
  void RemoveStep(FrameStep* step);

  // State read by every window and analysis.
  bool RecordLoaded() const { return record_loaded_; }
  bool RecordReading() const { return record_reading_; }
  const std::string& RecordFileName() const { return file_name_; }
  int32_t FrameCount() const { return static_cast<int32_t>(index_.size()); }
  const std::vector<FrameIndexEntry>& FrameIndex() const { return index_; }
  // Time of every indexed frame in seconds (TimeMs x 0.001, single precision).
  const std::vector<float>& FrameTimes() const { return frame_times_; }
  double FrameInterval() const { return frame_interval_; }
  int32_t MaxLevel() const { return max_level_; }
  int32_t CurrentFrame() const { return current_frame_; }
  // True while the frame buffer and the current header hold a frame of the
  // open record. False before the first read and after a read that failed:
  // a refused frame leaves nothing to show or analyse (CurrentFrame is then
  // only where the next fetch starts).
  bool HasFrame() const { return has_frame_; }
  const PRM_INFO& Prm() const { return prm_; }
  const ADD_INFO& Add() const { return add_; }
  int32_t Width() const { return prm_.Width; }
  int32_t Height() const { return prm_.Height; }
  uint16_t* FrameBuffer() { return frame_buffer_.data(); }
  const uint16_t* FrameBuffer() const { return frame_buffer_.data(); }
  // Time of the current frame in seconds, as the time panel shows it.
  double CurrentTimeS() const { return prm_.TimeMs * 0.001; }
  const std::string& Caption() const { return caption_; }
  // Bytes of the file that the scan covered (the file length for a whole record).
  int64_t ScannedBytes() const { return scanned_bytes_; }
  // Warnings the last Open gave (also reported), for read-outs such as `info`.
  const std::vector<std::string>& OpenWarnings() const { return open_warnings_; }
  // What the last Open says about the file beyond its frames: where the pixel
  // size and the timing of a TIFF came from, which planes were read and what
  // was left unread. Empty for an XKV record, whose headers say everything.
  const std::vector<std::string>& OpenNotes() const { return open_notes_; }

  // Fallbacks and plane choice for the TIFF files opened from now on.
  void SetTiffOptions(const TiffReadOptions& options) { tiff_options_ = options; }
  const TiffReadOptions& TiffOptions() const { return tiff_options_; }

  bool UsePartOfRecord() const { return use_part_of_record_; }
  void SetUsePartOfRecord(bool on) { use_part_of_record_ = on; }
  int32_t SelFirstFrame() const { return sel_first_frame_; }
  int32_t SelLastFrame() const { return sel_last_frame_; }

  // Caption of an open record: "Lumetra - PATH (N frames, S Mb)" with S the
  // size in megabytes truncated (never rounded) to one decimal.
  static std::string MakeCaption(const std::string& path, int32_t frames, int64_t bytes);

 private:
  RecordStore() = default;
  void RunChain();
  bool ReopenAtStart();
  bool Reading() const { return source_ && source_->IsOpen(); }

  // The open record's frames; kept from Open to Close, its file opened and
  // closed as the stream restarts.
  std::unique_ptr<FrameSource> source_;
  TiffReadOptions tiff_options_;
  std::string file_name_;
  std::string caption_;
  std::vector<FrameIndexEntry> index_;
  std::vector<float> frame_times_;
  std::vector<std::string> open_warnings_;
  std::vector<std::string> open_notes_;
  double frame_interval_ = 0.0001;
  int32_t max_level_ = 1024;  // the default header's 10 bits
  int32_t current_frame_ = -1;
  // Frames read since the stream was (re)opened: the index of the next frame
  // record in the file, whatever counting convention current_frame_ follows.
  int32_t frames_read_ = 0;
  int64_t scanned_bytes_ = 0;
  bool record_reading_ = false;
  bool record_loaded_ = false;
  bool has_frame_ = false;
  PRM_INFO prm_ = DefaultPrmInfo();
  ADD_INFO add_;
  std::vector<uint16_t> frame_buffer_;
  std::vector<uint8_t> raw_byte_buffer_;
  std::vector<FrameStep*> chain_;
  bool use_part_of_record_ = false;
  int32_t sel_first_frame_ = 0;
  int32_t sel_last_frame_ = 10;
};

}  // namespace lumetra
