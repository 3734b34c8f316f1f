// XKI track files: finished tracks as little-endian 32-bit floats, no file
// header. Current layout per track: two 0.0 markers, a parameter word, start X
// and Y (pixels), n, first frame, then n intensities, n X and n Y (um). The
// older layout has no markers and no parameter: start X, start Y, n + 1, first
// frame, then n (intensity, X, Y) triplets. The manual tracking window writes
// the current layout too, so its files read here as well.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/report.h"
#include "spots/track_store.h"

namespace lumetra {

enum class XkiLayout { kCurrent, kOlder };

struct XkiWriteOptions {
  float parameter = 0;         // the parameter word (readers skip it)
  bool selected_only = false;  // "SelectedOnly": only selected tracks
  bool save_zpos = false;      // "SaveZpos": the fourth series replaces the intensities
  XkiLayout layout = XkiLayout::kCurrent;
};

// One track record of the current layout: markers, parameter, start X and Y
// (pixels), n, first frame, then the n intensities, X and Y (um) given. The
// manual tracking window writes its objects through this too.
void AppendXkiRecord(std::vector<uint8_t>& out, float parameter, float start_x, float start_y,
                     int32_t first_frame, int32_t n, const float* intensity, const float* x,
                     const float* y);

// Writes the bytes under a temporary name and renames it. False after "Can not
// Open File for Writing" or "File Writing Error" (naming the file).
bool WriteXkiBytes(const std::string& path, const std::vector<uint8_t>& bytes, Reporter& reporter);

// Bytes of the tracks that are completed and good, in slot order.
std::vector<uint8_t> EncodeXki(const TrackStore& store, const XkiWriteOptions& options);

// SaveXKIfileClick after the file was chosen. False after "Can not Open File
// for Writing" (or "File Writing Error" when the write fails).
bool WriteXkiFile(const std::string& path, const TrackStore& store, const XkiWriteOptions& options,
                  Reporter& reporter);

// ReadXKIfileClick after the file was chosen: resets the store for a record of
// `record_frames` frames and reads every track up to the end of the data. A
// track whose first frame + n exceeds the record stops the reading with
// "ERROR track timing outside record length - ABORT"; the tracks read so far
// stay. Returns the number of tracks read.
int32_t DecodeXki(const std::vector<uint8_t>& bytes, TrackStore& store, int32_t record_frames,
                  bool save_zpos, Reporter& reporter);
// The file, up to the most that the store's tracks over `record_frames` frames
// could take; nothing when it cannot be opened.
std::optional<std::vector<uint8_t>> ReadXkiBytes(const std::string& path, int32_t record_frames);
// The same from a file; -1 after "File open ERROR" (the store unchanged).
int32_t ReadXkiFile(const std::string& path, TrackStore& store, int32_t record_frames,
                    bool save_zpos, Reporter& reporter);

}  // namespace lumetra
