#include "cli/cli_command.h"
#include "cli/info_command.h"

namespace reelcraft {

std::span<const CliCommand> cliCommands() {
  static const CliCommand commands[] = {
      {"info", "FILE", "Describe a movie or sound file's duration and tracks as JSON.",
       runInfoCommand},
  };
  return commands;
}

}  // namespace reelcraft
