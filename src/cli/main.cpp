#include <iostream>
#include <string>
#include <vector>

#include "cli/cli_command.h"

extern "C" {
#include <libavutil/log.h>
}

int main(int argc, char** argv) {
  // FFmpeg's own warnings would mix with the command's output; failures are reported as
  // errors of our own.
  av_log_set_level(AV_LOG_FATAL);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  return reelcraft::runCli(arguments, std::cout, std::cerr);
}
