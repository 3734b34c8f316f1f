// The settings file: fourteen "key value" lines in a fixed order. Writing
// uses the shortest general form for doubles and a decimal point; reading
// takes each known key in any order, keeps only values inside the file
// ranges, and (like every earlier version) loses a last line without a line end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/report.h"
#include "settings/settings_model.h"

namespace lumetra {

// The keys in the order they are written.
enum class IniKey {
  kTrackingLimit,
  kFwhmNm,
  kVelocityStep,
  kRunningBufSize,
  kProfileWidth,
  kScaleBarSize,
  kPrintZoom,
  kLocalBackgrRad,
  kZoom,
  kMaxTrackingJump,
  kMinTrackLength,
  kQ_threshold,
  kClusterThreshold,
  kDetectWindow,
};
inline constexpr int kIniKeyCount = 14;

// "TrackingLimit", "FWHM(nm)", ...
std::string_view IniKeyName(IniKey key);

// The whole file text: one "key value\n" line per key.
std::string IniText(const Settings& settings);

// One line without its line end. Returns true with `key` set when the line
// names a known key (whether or not its value was taken); the value is
// stored only when it converts and lies inside the file range.
bool ParseIniLine(std::string_view line, Settings& settings, IniKey& key);

// Every complete line of `text`; the known keys met, in order (repeats kept).
// Text after the last line feed is not parsed.
std::vector<IniKey> ParseIniText(std::string_view text, Settings& settings);

// Writes the file; "Can not Open File for Writing" when it cannot be created
// or written.
bool WriteIniFile(const std::string& path, const Settings& settings, Reporter& reporter);

// Reads the file into `settings`; `keys` (optional) receives the keys met.
// "Can not open file" when it cannot be opened, unless `silent`.
bool ReadIniFile(const std::string& path, Settings& settings, Reporter& reporter,
                 bool silent = false, std::vector<IniKey>* keys = nullptr);

}  // namespace lumetra
