// lumetra-cli fuse A.xkv B.xkv ... --out OUT.xkv [--no-blank] [--2bytes]
#include <iostream>

#include "cli/cli_common.h"
#include "processing/record_fusion.h"

namespace lumetra::cli {

int RunFuse(const std::vector<std::string>& args) {
  ArgParser p("fuse",
              "Joins XKV files, in the order given, into one record (\"Fuse Records\"): the\n"
              "time stamps of each file follow on from the last frame of the one before, and\n"
              "two blank frames go between files unless --no-blank (\"Add 2 Blank Frames\").");
  p.RepeatedPositional("FILE.xkv", "the records to join, two or more")
      .Option("out", "OUT.xkv", "the fused record")
      .Flag("no-blank", "no blank frames between the files")
      .Flag("2bytes", "store 2 bytes per pixel even when 1 would do (\"Save XKV 2bytes/pix\")");
  if (auto code = ParseOrExit(p, args)) return *code;
  if (!p.Has("out")) return Fail("fuse", "--out OUT.xkv is required", 2);
  FrameWriteOptions write;
  write.save_2bytes = p.Has("2bytes");
  ConsoleReporter console;
  const FusionResult r =
      FuseRecords(p.Args(), p.Value("out"), !p.Has("no-blank"), "", write, console);
  if (!r.ok) return 1;
  std::cout << p.Value("out") << ": " << r.frames_written << " frames from " << r.files_fused
            << " files\n";
  return 0;
}

}  // namespace lumetra::cli
