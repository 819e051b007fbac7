#include <algorithm>
#include <ostream>

#include "cli/cli_command.h"

namespace reelcraft {
namespace {

constexpr std::string_view kProgram = "reelcraft-cli";

bool isHelpOption(std::string_view argument) {
  return argument == "--help" || argument == "-h";
}

const CliCommand* findCommand(std::string_view name) {
  const auto commands = cliCommands();
  const auto found =
      std::find_if(commands.begin(), commands.end(),
                   [name](const CliCommand& command) { return command.name == name; });
  return found == commands.end() ? nullptr : &*found;
}

void printGeneralUsage(std::ostream& stream) {
  stream << "usage: " << kProgram << " COMMAND [ARGUMENTS...]\n";
}

void printHelp(std::ostream& out) {
  printGeneralUsage(out);
  out << "\nReelcraft's command-line tool.\n\nCommands:\n";
  for (const CliCommand& command : cliCommands()) {
    constexpr size_t kSummaryColumn = 24;
    std::string synopsis = std::string(command.name) + " " + std::string(command.arguments);
    if (synopsis.size() + 2 > kSummaryColumn) {
      // Long synopses get a line of their own, with the summary under them.
      out << "  " << synopsis << "\n" << std::string(kSummaryColumn + 2, ' ');
    } else {
      synopsis.resize(kSummaryColumn, ' ');
      out << "  " << synopsis;
    }
    out << command.summary << "\n";
  }
  out << "\n'" << kProgram << " help COMMAND' or '" << kProgram
      << " COMMAND --help' describes one command.\n"
         "Exit status: 0 on success, 1 when the command fails, 2 for a wrong command line.\n";
}

void printCommandHelp(const CliCommand& command, std::ostream& out) {
  out << commandUsage(command) << "\n" << command.summary << "\n";
  if (!command.details.empty()) out << "\n" << command.details;
}

}  // namespace

std::string commandUsage(const CliCommand& command) {
  return "usage: " + std::string(kProgram) + " " + std::string(command.name) + " " +
         std::string(command.arguments);
}

int runCli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  if (arguments.empty()) {
    printGeneralUsage(err);
    return kExitUsage;
  }
  const std::string& first = arguments.front();
  if (isHelpOption(first) || (first == "help" && arguments.size() == 1)) {
    printHelp(out);
    return kExitSuccess;
  }
  if (first == "help") {
    const CliCommand* command = arguments.size() == 2 ? findCommand(arguments[1]) : nullptr;
    if (!command) {
      err << kProgram << ": no such command: " << arguments[1] << "\n";
      printGeneralUsage(err);
      return kExitUsage;
    }
    printCommandHelp(*command, out);
    return kExitSuccess;
  }

  const CliCommand* command = findCommand(first);
  if (!command) {
    err << kProgram << ": unknown command '" << first << "'\n";
    printGeneralUsage(err);
    return kExitUsage;
  }
  const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
  if (std::any_of(rest.begin(), rest.end(), [](const std::string& a) { return isHelpOption(a); })) {
    printCommandHelp(*command, out);
    return kExitSuccess;
  }
  return command->run(rest, out, err);
}

}  // namespace reelcraft
