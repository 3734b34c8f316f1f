// Runs a lumetra-cli subcommand in-process with stdout and stderr captured,
// for tests of what the commands print and their exit status.
#pragma once

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli_common.h"

namespace lumetra::testing {

struct CliRun {
  int code;
  std::string out;
  std::string err;
};

inline CliRun Call(cli::CommandFn fn, const std::vector<std::string>& args) {
  std::ostringstream out, err;
  auto* old_out = std::cout.rdbuf(out.rdbuf());
  auto* old_err = std::cerr.rdbuf(err.rdbuf());
  const int code = fn(args);
  std::cout.rdbuf(old_out);
  std::cerr.rdbuf(old_err);
  return {code, out.str(), err.str()};
}

}  // namespace lumetra::testing
