// The command-line option parser on any argument list (arguments split at
// NUL bytes), with the option tables of two commands: one record and fixed
// options, and an output with any number of inputs. What it accepts has the
// positionals its table asks for, typed reads stay inside their range, and a
// refusal names the argument.
#include "cli/arg_parser.h"

#include <string>
#include <vector>

#include "common/text_format.h"
#include "fuzz/fuzz_support.h"

namespace lumetra::cli {
namespace {

ArgParser FrameCommand() {
  ArgParser p("frame", "Writes one frame of a record");
  p.Positional("record", "XKV or TIFF record")
      .Option("out", "FILE", "output file")
      .Option("index", "N", "frame number", "0")
      .Option("region", "L,T,R,B", "rectangle")
      .Option("scale", "NM", "nm per pixel", "100")
      .Flag("verbose", "say more");
  return p;
}

ArgParser FuseCommand() {
  ArgParser p("fuse", "Joins records");
  p.RepeatedPositional("records", "the records", true)
      .Option("out", "FILE", "output")
      .Option("zoom", "Z", "zoom", "1")
      .Flag("two-bytes", "2 bytes a pixel");
  return p;
}

void CheckTyped(const ArgParser& p) {
  std::string error;
  int64_t v = 0;
  if (p.Int("index", v, error)) {
    FUZZ_CHECK(v >= INT32_MIN && v <= INT32_MAX);
    if (!p.Value("index").empty()) FUZZ_CHECK(ParseInteger(p.Value("index")) == v);
  } else {
    FUZZ_CHECK(error.find("--index") != std::string::npos);
  }
  error.clear();
  v = 1;  // kept when the command has no --zoom
  if (p.Int("zoom", v, error, 1, 30)) FUZZ_CHECK(v >= 1 && v <= 30);
  std::vector<int64_t> list;
  error.clear();
  if (p.IntList("region", 4, list, error)) {
    FUZZ_CHECK(list.size() == 4 || !p.Has("region"));
    for (int64_t x : list) FUZZ_CHECK(x >= INT32_MIN && x <= INT32_MAX);
  } else {
    FUZZ_CHECK(!error.empty());
  }
  double r = 0;
  error.clear();
  if (!p.Real("scale", r, error)) FUZZ_CHECK(!error.empty());
}

}  // namespace
}  // namespace lumetra::cli

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace lumetra::cli;
  if (size == 0) return 0;
  std::vector<std::string> args(1);
  for (size_t i = 1; i < size && args.size() <= 64; ++i) {
    if (data[i] == 0)
      args.emplace_back();
    else
      args.back().push_back(static_cast<char>(data[i]));
  }
  const bool fuse = data[0] % 2;
  ArgParser p = fuse ? FuseCommand() : FrameCommand();
  std::string error;
  const bool ok = p.Parse(args, error);
  FUZZ_CHECK(!p.Help().empty());
  if (!ok) {
    FUZZ_CHECK(!error.empty());
    return 0;
  }
  if (p.HelpRequested()) return 0;
  if (fuse)
    FUZZ_CHECK(p.Args().size() <= args.size());
  else
    FUZZ_CHECK(p.Args().size() == 1);
  CheckTyped(p);
  // The same arguments give the same result.
  ArgParser q = fuse ? FuseCommand() : FrameCommand();
  FUZZ_CHECK(q.Parse(args, error) && q.Args() == p.Args());
  return 0;
}
