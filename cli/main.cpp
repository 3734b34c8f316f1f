// lumetra-cli: the headless command line over the same core as the desktop
// program, for batch work and scripting.
#include <iostream>
#include <string>
#include <vector>

#include "cli/cli_common.h"
#include "common/version.h"

namespace {

void PrintUsage(std::ostream& os) {
  os << "usage: lumetra-cli SUBCOMMAND [arguments] [options]\n\n"
        "Lumetra: records of single-molecule fluorescence microscopy, without a window.\n\n"
        "subcommands:\n";
  for (const auto& c : lumetra::cli::Commands()) {
    std::string name = c.name;
    name.resize(std::max<size_t>(name.size(), 10), ' ');
    os << "  " << name << "  " << c.summary << '\n';
  }
  os << "\n'lumetra-cli SUBCOMMAND --help' describes its options.\n";
}

}  // namespace

int main(int argc, char** argv) {
  lumetra::cli::KeepLargeBuffersForReuse();
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    PrintUsage(std::cerr);
    return 2;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    PrintUsage(std::cout);
    return 0;
  }
  if (args[0] == "--version") {
    std::cout << "lumetra-cli " << lumetra::Version() << '\n';
    return 0;
  }
  for (const auto& c : lumetra::cli::Commands()) {
    if (args[0] == c.name) {
      args.erase(args.begin());
      return c.run(args);
    }
  }
  std::cerr << "lumetra-cli: unknown subcommand '" << args[0] << "'\n\n";
  PrintUsage(std::cerr);
  return 2;
}
