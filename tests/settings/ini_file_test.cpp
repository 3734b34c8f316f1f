#include "settings/ini_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "common/random.h"
#include "settings/settings_messages.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

std::string TempPath(const std::string& name) {
  return (fs::temp_directory_path() / ("lumetra_ini_" + name)).string();
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

TEST(IniFile, DefaultsGiveTheKnownText) {
  EXPECT_EQ(IniText(Settings{}),
            "TrackingLimit 0.1\n"
            "FWHM(nm) 250\n"
            "VelocityStep 3\n"
            "RunningBufSize 3\n"
            "ProfileWidth 3\n"
            "ScaleBarSize 10\n"
            "PrintZoom 4\n"
            "LocalBackgrRad 3\n"
            "Zoom 1\n"
            "MaxTrackingJump 5\n"
            "MinTrackLength 10\n"
            "Q_threshold 8\n"
            "ClusterThreshold 500\n"
            "DetectWindow 10\n");
}

// Values inside the file ranges survive a write and a read exactly.
TEST(IniFile, RandomSettingsRoundTrip) {
  Rng rng(11);
  auto pick = [&](int lo, int hi) {
    return lo + static_cast<int>(rng.Next() % uint64_t(hi - lo + 1));
  };
  for (int i = 0; i < 200; ++i) {
    Settings s;
    // As typed (the double nearest a short decimal), or typed with every digit.
    s.TrackingLimit = i % 2 ? pick(5, 500) / 1000.0 : 0.0049 + pick(1, 999999) * 0.4951e-6;
    s.FwhmNm = pick(10, 5000);
    s.VelocityStep = pick(1, 100);
    s.RunningBufSize = pick(2, 50);
    s.ProfileWidth = pick(2, 50);
    s.ScaleBarSize = pick(2, 99999);
    s.PrintZoom = pick(1, 10);
    s.LocalBackgrRad = pick(1, 20);
    s.Zoom = pick(1, 30);
    s.MaxTrackingJump = pick(1, 30);
    s.MinTrackLength = pick(5, 9999);
    s.Q_threshold = pick(2, 999);
    s.ClusterThreshold = pick(3, 64999);
    s.DetectWindow = pick(1, 10);
    Settings back;
    back.SharpStrength = s.SharpStrength;  // not in the file
    const std::vector<IniKey> keys = ParseIniText(IniText(s), back);
    ASSERT_EQ(back, s) << IniText(s);
    ASSERT_EQ(keys.size(), 14u);
    for (int k = 0; k < kIniKeyCount; ++k)
      EXPECT_EQ(keys[static_cast<size_t>(k)], static_cast<IniKey>(k));
  }
}

struct RangeCase {
  const char* line;
  bool taken;
};

// One line per range edge; a refused value keeps the default.
TEST(IniFile, FileRanges) {
  const RangeCase cases[] = {
      {"TrackingLimit 0.005", true},
      {"TrackingLimit 0.0049", false},
      {"TrackingLimit 0.5", true},
      {"TrackingLimit 0.51", false},
      {"TrackingLimit 0,25", true},
      {"FWHM(nm) 10", true},
      {"FWHM(nm) 9", false},
      {"FWHM(nm) 120.5", false},
      {"VelocityStep 1", true},
      {"VelocityStep 101", false},
      {"RunningBufSize 2", true},
      {"RunningBufSize 1", false},
      {"RunningBufSize 50", true},
      {"RunningBufSize 51", false},
      {"ProfileWidth 2", true},
      {"ProfileWidth 1", false},
      {"ProfileWidth 50", true},
      {"ProfileWidth 51", false},
      {"ScaleBarSize 2", true},
      {"ScaleBarSize 1", false},
      {"ScaleBarSize 99999", true},
      {"ScaleBarSize 100000", false},
      {"PrintZoom 1", true},
      {"PrintZoom 11", false},
      {"LocalBackgrRad 20", true},
      {"LocalBackgrRad 21", false},
      {"Zoom 30", true},
      {"Zoom 31", false},
      {"Zoom 0", false},
      {"MaxTrackingJump 1", true},
      {"MaxTrackingJump 30", true},
      {"MaxTrackingJump 31", false},
      {"MaxTrackingJump 0", false},
      {"MinTrackLength 5", true},
      {"MinTrackLength 4", false},
      {"MinTrackLength 9999", true},
      {"MinTrackLength 10000", false},
      {"Q_threshold 2", true},
      {"Q_threshold 999", true},
      {"Q_threshold 1000", false},
      {"ClusterThreshold 3", true},
      {"ClusterThreshold 64999", true},
      {"ClusterThreshold 65000", false},
      {"DetectWindow 1", true},
      {"DetectWindow 11", false},
      {"DetectWindow x", false},
      {"DetectWindow", false},
  };
  for (const RangeCase& c : cases) {
    SCOPED_TRACE(c.line);
    Settings s;
    const std::vector<IniKey> keys = ParseIniText(std::string(c.line) + "\n", s);
    EXPECT_EQ(keys.size(), 1u);
    EXPECT_EQ(s != Settings{}, c.taken);
  }
}

TEST(IniFile, ProfileWidthFromTheFileIsNotMadeOdd) {
  Settings s;
  ParseIniText("ProfileWidth 4\n", s);
  EXPECT_EQ(s.ProfileWidth, 4);
}

TEST(IniFile, LineRules) {
  Settings s;
  // Any order; the last valid value of a repeated key wins; an invalid repeat keeps it.
  auto keys = ParseIniText("Zoom 4\nPrintZoom 2\nZoom 6\nZoom 99\n", s);
  EXPECT_EQ(s.Zoom, 6);
  EXPECT_EQ(s.PrintZoom, 2);
  EXPECT_EQ(keys.size(), 4u);
  // Unknown and wrongly cased keys are ignored; the value ends at the next space.
  s = Settings{};
  keys = ParseIniText("zoom 4\nColour 3\nZoom 5 frames\n\n \nZoom  7\n", s);
  EXPECT_EQ(s.Zoom, 5);
  EXPECT_EQ(keys.size(), 2u);  // "Zoom 5 frames" and "Zoom  7" (empty value)
  // CR LF line ends read as plain ones.
  s = Settings{};
  ParseIniText("VelocityStep 9\r\nTrackingLimit 0.3\r\n", s);
  EXPECT_EQ(s.VelocityStep, 9);
  EXPECT_DOUBLE_EQ(s.TrackingLimit, 0.3);
}

TEST(IniFile, LastLineWithoutLineEndIsLost) {
  Settings s;
  const auto keys = ParseIniText("VelocityStep 9\nPrintZoom 2", s);
  EXPECT_EQ(s.VelocityStep, 9);
  EXPECT_EQ(s.PrintZoom, 4);
  EXPECT_EQ(keys.size(), 1u);
  // The same through a file.
  const std::string path = TempPath("noend.ini");
  WriteText(path, "Zoom 3\nDetectWindow 2");
  Settings f;
  CollectingReporter rep;
  ASSERT_TRUE(ReadIniFile(path, f, rep));
  EXPECT_EQ(f.Zoom, 3);
  EXPECT_EQ(f.DetectWindow, 10);
  fs::remove(path);
}

TEST(IniFile, HostileFilesChangeNothingAndDoNotFail) {
  const std::string path = TempPath("hostile.ini");
  Rng rng(5);
  std::string junk(200000, '\0');
  for (char& c : junk) c = static_cast<char>(rng.Next());
  junk += "\n" + std::string(100000, 'Z') + " 5\n";  // a very long line
  WriteText(path, junk);
  Settings s;
  CollectingReporter rep;
  EXPECT_TRUE(ReadIniFile(path, s, rep));
  EXPECT_EQ(s, Settings{});
  EXPECT_TRUE(rep.messages().empty());
  WriteText(path, "");
  EXPECT_TRUE(ReadIniFile(path, s, rep));
  EXPECT_EQ(s, Settings{});
  fs::remove(path);
}

TEST(IniFile, AnEndlessOrHugeFileIsRefusedAfterACappedRead) {
  // A device that never ends, and a file of valid lines far beyond any
  // settings file: neither hangs, neither changes a setting.
  const std::string big = TempPath("big.ini");
  std::string text;
  while (text.size() <= (1u << 20)) text += "PrintZoom 7\n";
  WriteText(big, text);
  for (const std::string& path : {std::string("/dev/zero"), big}) {
    SCOPED_TRACE(path);
    Settings s;
    CollectingReporter rep;
    EXPECT_FALSE(ReadIniFile(path, s, rep, /*silent=*/true));
    EXPECT_EQ(s, Settings{});
    EXPECT_EQ(rep.Texts(MessageKind::kModal),
              std::vector<std::string>{std::string(kIniFileTooLarge)});
    EXPECT_EQ(rep.Details(), std::vector<std::string>{path});
  }
  fs::remove(big);
}

TEST(IniFile, FileErrors) {
  CollectingReporter rep;
  Settings s;
  EXPECT_FALSE(ReadIniFile(TempPath("missing/none.ini"), s, rep));
  EXPECT_EQ(rep.Texts(MessageKind::kModal), std::vector<std::string>{"Can not open file"});
  rep.Clear();
  EXPECT_FALSE(ReadIniFile(TempPath("missing/none.ini"), s, rep, /*silent=*/true));
  EXPECT_TRUE(rep.messages().empty());
  EXPECT_FALSE(ReadIniFile(fs::temp_directory_path().string(), s, rep));  // a folder
  EXPECT_EQ(rep.Texts(MessageKind::kModal), std::vector<std::string>{"Can not open file"});
  rep.Clear();
  EXPECT_FALSE(WriteIniFile(TempPath("missing/none.ini"), s, rep));
  EXPECT_EQ(rep.Texts(MessageKind::kModal),
            std::vector<std::string>{"Can not Open File for Writing"});
}

TEST(SettingsModelFile, SaveAndReadBackWithCaptions) {
  const std::string path = TempPath("model.ini");
  SettingsModel a;
  ASSERT_TRUE(a.Set(SettingCommand::kSetPrintZoom, "6").accepted);
  ASSERT_TRUE(a.Set(SettingCommand::kSetFWHM, "180").accepted);
  a.SetZoom(3);
  CollectingReporter rep;
  ASSERT_TRUE(a.SaveSettingsFile(path, rep));
  SettingsModel b;
  ASSERT_TRUE(b.ReadSettingsFile(path, rep));
  EXPECT_EQ(b.values().PrintZoom, 6);
  EXPECT_EQ(b.values().FwhmNm, 180);
  EXPECT_EQ(b.values().Zoom, 3);
  EXPECT_EQ(b.captions().SetPrintZoom, "Print Zoom(6)");  // the file's form, not the setter's
  EXPECT_EQ(b.captions().SetFWHM, "Set FWHM (180nm)");
  EXPECT_EQ(b.captions().View, "View (Z=3)");
  EXPECT_EQ(b.captions().WindLen, "Window=10fr");
  EXPECT_EQ(b.captions().SetScaleBarSize, "Scale Bar Size");
  EXPECT_TRUE(rep.messages().empty());
  fs::remove(path);
}

TEST(SettingsModelFile, OutOfRangeValueStillRewritesItsCaption) {
  const std::string path = TempPath("zoom31.ini");
  WriteText(path, "Zoom 31\nProfileWidth 77\n");
  SettingsModel m;
  CollectingReporter rep;
  ASSERT_TRUE(m.ReadSettingsFile(path, rep));
  EXPECT_EQ(m.values().Zoom, 1);
  EXPECT_EQ(m.captions().View, "View (Z=1)");
  EXPECT_EQ(m.captions().ProfileWidth, "Profile Width (3)");
  fs::remove(path);
}

// The start-up read is silent and the flag stays set until a file was read,
// so the next "Read Settings (INI)" again takes "Lumetra.ini" without a dialog.
TEST(SettingsModelFile, StartupFlag) {
  const fs::path dir = fs::temp_directory_path() / "lumetra_ini_startup";
  fs::create_directories(dir);
  const std::string ini = (dir / kDefaultIniName).string();
  fs::remove(ini);
  SettingsModel m;
  CollectingReporter rep;
  EXPECT_FALSE(m.StartupRead());
  m.BeginStartupRead();
  EXPECT_FALSE(m.ReadSettingsFile(ini, rep));
  EXPECT_TRUE(rep.messages().empty());
  EXPECT_TRUE(m.StartupRead());
  EXPECT_FALSE(m.ReadSettingsFile(ini, rep));  // the user's first read: still silent
  EXPECT_TRUE(rep.messages().empty());
  WriteText(ini, "Zoom 2\n");
  EXPECT_TRUE(m.ReadSettingsFile(ini, rep));
  EXPECT_FALSE(m.StartupRead());
  EXPECT_EQ(m.values().Zoom, 2);
  fs::remove(ini);
  EXPECT_FALSE(m.ReadSettingsFile(ini, rep));  // now a missing file is reported
  EXPECT_EQ(rep.Texts(MessageKind::kModal), std::vector<std::string>{"Can not open file"});
  fs::remove_all(dir);
}

}  // namespace
}  // namespace lumetra
