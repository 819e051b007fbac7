#include "cli/cli_command.h"
#include "cli/frame_command.h"
#include "cli/info_command.h"

namespace reelcraft {

std::span<const CliCommand> cliCommands() {
  static const CliCommand commands[] = {
      {"info", "FILE", "Describe a movie or sound file's duration and tracks as JSON.",
       runInfoCommand},
      {"frame", "IN TIME -o OUT.png",
       "Save the picture shown at TIME (seconds, H:MM:SS.hh or N/D) as a PNG file.",
       runFrameCommand},
  };
  return commands;
}

}  // namespace reelcraft
