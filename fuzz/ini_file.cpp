// The settings file on any bytes. The file reader and the text parser agree,
// every value taken lies in its file range, and the settings written read
// back as the same settings with every key in its order.
#include "settings/ini_file.h"

#include <string_view>

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace lumetra;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Settings parsed;
  const std::vector<IniKey> keys = ParseIniText(text, parsed);

  Settings from_file;
  std::vector<IniKey> file_keys;
  CollectingReporter reporter;
  const bool read = ReadIniFile(fuzz::WriteScratch("Lumetra.ini", data, size), from_file, reporter,
                                false, &file_keys);
  if (read) {
    FUZZ_CHECK(from_file == parsed);
    FUZZ_CHECK(file_keys == keys);
  } else {
    // A file refused (too large) changes nothing and says why.
    FUZZ_CHECK(from_file == Settings{});
    FUZZ_CHECK(!reporter.messages().empty());
  }

  FUZZ_CHECK(parsed.TrackingLimit > 0.0049 && parsed.TrackingLimit <= 0.5);
  FUZZ_CHECK(parsed.VelocityStep >= 1 && parsed.VelocityStep <= 100);
  FUZZ_CHECK(parsed.Zoom >= 1 && parsed.Zoom <= 30);
  FUZZ_CHECK(parsed.DetectWindow >= 1 && parsed.DetectWindow <= 10);

  Settings again;
  const std::vector<IniKey> written = ParseIniText(IniText(parsed), again);
  FUZZ_CHECK(again == parsed);
  FUZZ_CHECK(written.size() == static_cast<size_t>(kIniKeyCount));
  for (int i = 0; i < kIniKeyCount; ++i) FUZZ_CHECK(written[i] == static_cast<IniKey>(i));
  return 0;
}
