#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace reelcraft {

// Exit codes of reelcraft-cli.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;  // the command could not do its work
inline constexpr int kExitUsage = 2;    // the command line was wrong

// One subcommand: `reelcraft-cli NAME ARGUMENTS...`.
struct CliCommand {
  std::string_view name;
  std::string_view arguments;  // synopsis of the arguments, e.g. "FILE"
  std::string_view summary;    // one line for the help text
  // Runs with the arguments after the command's name. Prints results on `out`, failures as
  // one line on `err`, and returns an exit code.
  int (*run)(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);
  // The rest of `COMMAND --help`: options, argument forms, examples. May be empty.
  std::string_view details = {};
};

// Every subcommand, in the order the help text lists them (cli_commands.cpp).
std::span<const CliCommand> cliCommands();

// The whole command line after the program name: dispatches to a subcommand, or prints help
// or a usage line. Returns the exit code.
int runCli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

// "usage: reelcraft-cli NAME ARGUMENTS".
std::string commandUsage(const CliCommand& command);

}  // namespace reelcraft
