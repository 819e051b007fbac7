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

// Runs `command` with `arguments` after it (the whole command line when `command` is empty).
inline CliResult runCommandLine(const std::string& command, std::vector<std::string> arguments) {
  if (!command.empty()) arguments.insert(arguments.begin(), command);
  std::ostringstream out, err;
  const int exitCode = runCli(arguments, out, err);
  return {exitCode, out.str(), err.str()};
}

// The arguments as one line, for failure messages.
inline std::string commandLine(const std::vector<std::string>& arguments) {
  std::string line;
  for (const auto& argument : arguments) line += argument + " ";
  return line;
}

}  // namespace reelcraft::clitest
