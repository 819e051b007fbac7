#pragma once

// Runs reelcraft-cli in-process and keeps what it printed.

#include <sstream>
#include <string>
#include <vector>

#include "cli/cli_command.h"

namespace reelcraft::clitest {

struct CliResult {
  int exitCode = -1;
  std::string out;
  std::string err;
};

inline CliResult runCommandLine(const std::vector<std::string>& arguments) {
  std::ostringstream out, err;
  CliResult result;
  result.exitCode = runCli(arguments, out, err);
  result.out = out.str();
  result.err = err.str();
  return result;
}

}  // namespace reelcraft::clitest
