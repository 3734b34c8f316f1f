#include "settings/ini_file.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <optional>

#include "common/file_handle.h"
#include "common/text_format.h"
#include "settings/settings_messages.h"

namespace lumetra {
namespace {

constexpr std::array<std::string_view, kIniKeyCount> kKeyNames = {
    "TrackingLimit",  "FWHM(nm)",    "VelocityStep",     "RunningBufSize", "ProfileWidth",
    "ScaleBarSize",   "PrintZoom",   "LocalBackgrRad",   "Zoom",           "MaxTrackingJump",
    "MinTrackLength", "Q_threshold", "ClusterThreshold", "DetectWindow",
};

// A longer line cannot hold a key and a number; the rest of it is dropped.
constexpr size_t kMaxLineBytes = 4096;
// The most a settings file is read of; fourteen lines need a few hundred bytes.
constexpr size_t kMaxIniBytes = 1 << 20;

std::optional<int64_t> FileInteger(std::string_view text) {
  return ParseInteger(text);
}

// Files written with a decimal comma (a German locale, say) read as well.
std::optional<double> FileReal(std::string_view text) {
  std::string t(text);
  for (char& c : t)
    if (c == ',') c = '.';
  return ParseReal(t);
}

// Stores an integer value when lo <= v <= hi.
template <typename T>
void TakeInteger(std::string_view text, int64_t lo, int64_t hi, T& out) {
  const auto v = FileInteger(text);
  if (v && *v >= lo && *v <= hi) out = static_cast<T>(*v);
}

void TakeValue(IniKey key, std::string_view value, Settings& s) {
  constexpr int64_t kNoTop = std::numeric_limits<int32_t>::max();
  switch (key) {
    case IniKey::kTrackingLimit: {
      const auto v = FileReal(value);
      if (v && *v > 0.0049 && *v <= 0.5) s.TrackingLimit = *v;
      break;
    }
    case IniKey::kFwhmNm:
      TakeInteger(value, 10, kNoTop, s.FwhmNm);
      break;
    case IniKey::kVelocityStep:
      TakeInteger(value, 1, 100, s.VelocityStep);
      break;
    case IniKey::kRunningBufSize:
      TakeInteger(value, 2, 50, s.RunningBufSize);
      break;
    // From the file the width is not made odd.
    case IniKey::kProfileWidth:
      TakeInteger(value, 2, 50, s.ProfileWidth);
      break;
    case IniKey::kScaleBarSize:
      TakeInteger(value, 2, 99999, s.ScaleBarSize);
      break;
    case IniKey::kPrintZoom:
      TakeInteger(value, 1, 10, s.PrintZoom);
      break;
    case IniKey::kLocalBackgrRad:
      TakeInteger(value, 1, 20, s.LocalBackgrRad);
      break;
    case IniKey::kZoom:
      TakeInteger(value, 1, 30, s.Zoom);
      break;
    case IniKey::kMaxTrackingJump:
      TakeInteger(value, 1, 30, s.MaxTrackingJump);
      break;
    case IniKey::kMinTrackLength:
      TakeInteger(value, 5, 9999, s.MinTrackLength);
      break;
    case IniKey::kQ_threshold:
      TakeInteger(value, 2, 999, s.Q_threshold);
      break;
    case IniKey::kClusterThreshold:
      TakeInteger(value, 3, 64999, s.ClusterThreshold);
      break;
    case IniKey::kDetectWindow:
      TakeInteger(value, 1, 10, s.DetectWindow);
      break;
  }
}

// Hands each complete line to the parser; keeps an unfinished one for later.
class LineSplitter {
 public:
  LineSplitter(Settings& settings, std::vector<IniKey>& keys) : settings_(settings), keys_(keys) {}
  void Feed(std::string_view bytes) {
    for (char c : bytes) {
      if (c != '\n') {
        if (line_.size() < kMaxLineBytes) line_.push_back(c);
        continue;
      }
      IniKey key;
      if (ParseIniLine(line_, settings_, key)) keys_.push_back(key);
      line_.clear();
    }
  }

 private:
  Settings& settings_;
  std::vector<IniKey>& keys_;
  std::string line_;
};

// The shortest text that reads back as the same double: a limit typed with
// more digits than the general form keeps ("0.12345678901234567") is saved
// as it is, and a short one ("0.1") as before.
std::string ExactReal(double v) {
  char buf[32];
  const auto res = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, res.ptr);
}

}  // namespace

std::string_view IniKeyName(IniKey key) {
  return kKeyNames[static_cast<size_t>(key)];
}

std::string IniText(const Settings& s) {
  const std::array<std::string, kIniKeyCount> values = {
      ExactReal(s.TrackingLimit),
      FormatGeneral(s.FwhmNm),
      std::to_string(s.VelocityStep),
      std::to_string(s.RunningBufSize),
      std::to_string(s.ProfileWidth),
      FormatGeneral(s.ScaleBarSize),
      std::to_string(s.PrintZoom),
      std::to_string(s.LocalBackgrRad),
      std::to_string(s.Zoom),
      FormatGeneral(s.MaxTrackingJump),
      std::to_string(s.MinTrackLength),
      std::to_string(s.Q_threshold),
      std::to_string(s.ClusterThreshold),
      std::to_string(s.DetectWindow),
  };
  std::string text;
  for (int i = 0; i < kIniKeyCount; ++i) {
    text += kKeyNames[static_cast<size_t>(i)];
    text += ' ';
    text += values[static_cast<size_t>(i)];
    text += '\n';
  }
  return text;
}

bool ParseIniLine(std::string_view line, Settings& settings, IniKey& key) {
  // A file written with CR LF line ends reads as it would in text mode.
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  const size_t space = line.find(' ');
  const std::string_view name = line.substr(0, space);
  std::string_view value;
  if (space != std::string_view::npos) {
    value = line.substr(space + 1);
    value = value.substr(0, value.find(' '));
  }
  for (int i = 0; i < kIniKeyCount; ++i) {
    if (name != kKeyNames[static_cast<size_t>(i)]) continue;
    key = static_cast<IniKey>(i);
    TakeValue(key, value, settings);
    return true;
  }
  return false;
}

std::vector<IniKey> ParseIniText(std::string_view text, Settings& settings) {
  std::vector<IniKey> keys;
  LineSplitter(settings, keys).Feed(text);
  return keys;
}

bool WriteIniFile(const std::string& path, const Settings& settings, Reporter& reporter) {
  FileHandle f = OpenFile(path, "w");
  if (!f) {
    reporter.Modal(kCanNotOpenForWriting);
    return false;
  }
  const std::string text = IniText(settings);
  bool ok = std::fwrite(text.data(), 1, text.size(), f.get()) == text.size();
  ok = std::fclose(f.release()) == 0 && ok;
  if (!ok) reporter.Modal(kCanNotOpenForWriting);
  return ok;
}

bool ReadIniFile(const std::string& path, Settings& settings, Reporter& reporter, bool silent,
                 std::vector<IniKey>* keys) {
  FileHandle f = OpenFile(path, "r");
  if (!f) {
    if (!silent) reporter.Modal(kCanNotOpenFile);
    return false;
  }
  // Read into a copy: a file refused half-way changes nothing.
  Settings read = settings;
  std::vector<IniKey> met;
  LineSplitter splitter(read, met);
  char buf[65536];
  size_t n, total = 0;
  while ((n = std::fread(buf, 1, sizeof buf, f.get())) > 0) {
    total += n;
    if (total > kMaxIniBytes) {
      reporter.Modal(kIniFileTooLarge, path);
      return false;
    }
    splitter.Feed(std::string_view(buf, n));
  }
  // A folder opens on some systems but cannot be read.
  if (std::ferror(f.get())) {
    if (!silent) reporter.Modal(kCanNotOpenFile);
    return false;
  }
  settings = read;
  if (keys) *keys = std::move(met);
  return true;
}

}  // namespace lumetra
