// "Fuse Records": several XKV files joined into one record, each file's time
// stamps shifted to follow the one before, optionally with two blank frames
// between files.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "common/report.h"
#include "record/xkv_writer.h"

namespace lumetra {

struct FusionResult {
  bool ok = false;  // false: refused, the output failed, or an input could not be opened
  int32_t files_fused = 0;
  int32_t frames_written = 0;  // blank frames included
};

// Joins `inputs` in order into `out_path`. Time offset t starts at 0; every
// frame's TimeMs gets t added, and after each file t is the time stamp of its
// last frame as written. With `add_blank_frames` ("Add 2 Blank Frames"), two
// all-zero frames with the last frame's header go between two files. An input
// that cannot be opened gives "Can not open XKV file" and ends the fusion
// there (what was written stays). "Done" is the closing notice. An output
// that is one of the inputs, or `open_record` (the record open in the window,
// may be empty), is refused.
FusionResult FuseRecords(const std::vector<std::string>& inputs, const std::string& out_path,
                         bool add_blank_frames, const std::string& open_record,
                         const FrameWriteOptions& write, Reporter& reporter,
                         const std::atomic<bool>* stop = nullptr);

}  // namespace lumetra
