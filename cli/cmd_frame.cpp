// lumetra-cli frame FILE.xkv --index N --out OUT.xkv [--region L,T,R,B] [--2bytes]
#include <iostream>

#include "cli/cli_common.h"
#include "common/common_messages.h"
#include "common/file_handle.h"
#include "record/record_store.h"
#include "record/xkv_writer.h"

namespace lumetra::cli {

int RunFrame(const std::vector<std::string>& args) {
  ArgParser p("frame",
              "Steps to frame N (0-based) through the record store and writes it as a\n"
              "one-frame XKV file, as \"Save Current Frame as XKV Data File\" does.");
  p.Positional("FILE.xkv", "the record")
      .Option("index", "N", "0-based number of the frame", "0")
      .Option("out", "OUT.xkv", "the file to write")
      .Option("region", "L,T,R,B", "save only this rectangle (right and bottom exclusive)")
      .Flag("2bytes", "store 2 bytes per pixel even when 1 would do (\"Save XKV 2bytes/pix\")");
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t index = 0;
  if (!p.Int("index", index, error)) return Fail("frame", error, 2);
  if (!p.Has("out")) return Fail("frame", "--out OUT.xkv is required", 2);
  FrameWriteOptions options;
  options.save_2bytes = p.Has("2bytes");
  if (p.Has("region")) {
    std::vector<int64_t> r;
    if (!p.IntList("region", 4, r, error)) return Fail("frame", error, 2);
    options.region = {static_cast<int32_t>(r[0]), static_cast<int32_t>(r[1]),
                      static_cast<int32_t>(r[2]), static_cast<int32_t>(r[3]), true};
  }

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "frame")) return *code;
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  if (index < 0 || index >= store->FrameCount())
    return Fail("frame", "--index " + std::to_string(index) + " is outside the record (0-" +
                             std::to_string(store->FrameCount() - 1) + ")");
  if (!store->GoToFrame(static_cast<int32_t>(index), console) || store->CurrentFrame() != index)
    return Fail("frame", "frame " + std::to_string(index) + " could not be read");
  if (options.region.active && !options.region.FitsIn(store->Width(), store->Height()))
    return Fail("frame", "--region must lie inside the " + std::to_string(store->Width()) + " x " +
                             std::to_string(store->Height()) +
                             " frame with left < right and top < bottom");
  if (p.Value("out") == p.Arg(0)) return Fail("frame", "--out must not be the record itself");

  FileHandle out = OpenFile(p.Value("out"), "wb");
  if (!out) return Fail("frame", std::string(kCanNotOpenForWriting) + ": " + p.Value("out"));
  if (!WriteXKVFrame(out.get(), store->Prm(), store->Add(), store->FrameBuffer(), options) ||
      std::fflush(out.get()) != 0)
    return Fail("frame", "File write error: " + p.Value("out"));
  return 0;
}

}  // namespace lumetra::cli
