// lumetra-cli info FILE.xkv|FILE.tif
#include <iostream>

#include "cli/cli_common.h"
#include "common/text_format.h"
#include "record/record_messages.h"
#include "record/record_store.h"
#include "record/xkv_format.h"

namespace lumetra::cli {
namespace {

// Passes message boxes on and drops the rest.
class ModalsOnly final : public Reporter {
 public:
  explicit ModalsOnly(Reporter& to) : to_(to) {}
  void Report(MessageKind kind, std::string_view text) override {
    if (kind == MessageKind::kModal) to_.Report(kind, text);
  }
  void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) override {
    if (kind == MessageKind::kModal) to_.ReportDetailed(kind, text, detail);
  }

 private:
  Reporter& to_;
};

}  // namespace

int RunInfo(const std::vector<std::string>& args) {
  ArgParser p("info",
              "Opens a record as the main window does and prints its caption, FrameCount,\n"
              "FrameInterval (seconds), MaxLevel, any warning of the loader, and the three\n"
              "header info lines of frame 0. For a TIFF record it also says where the pixel\n"
              "size, the frame time and the exposure came from and which planes were read.");
  p.Positional("FILE.xkv", "the record (XKV or TIFF)");
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "info")) return *code;
  // Warnings belong in the listing (from OpenWarnings); message boxes go to stderr.
  ModalsOnly modals(console);
  if (!store->Open(p.Arg(0), modals)) return 1;
  if (store->FrameCount() == 0 || !store->HasFrame()) {
    if (store->FrameCount() == 0)
      std::cerr << kNoFramesWarning << '\n';
    else
      std::cerr << "Frame 0 could not be read\n";
    return 1;
  }
  std::cout << store->Caption() << '\n'
            << "FrameCount=" << store->FrameCount() << '\n'
            << "FrameInterval=" << FormatFixed(store->FrameInterval(), 6) << '\n'
            << "MaxLevel=" << store->MaxLevel() << '\n';
  for (const std::string& w : store->OpenWarnings()) std::cout << w << '\n';
  for (const std::string& n : store->OpenNotes()) std::cout << n << '\n';
  for (const std::string& line : HeaderInfoLines(store->Prm(), store->Add()))
    std::cout << line << '\n';
  return 0;
}

}  // namespace lumetra::cli
