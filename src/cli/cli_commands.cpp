#include "cli/cli_command.h"
#include "cli/edit_command.h"
#include "cli/export_command.h"
#include "cli/formats_command.h"
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
      {"formats", "FILE",
       "List the export formats and codecs offered for a movie, in menu order, as JSON.",
       runFormatsCommand},
      {"export", "IN OUT [OPTIONS] [EDIT ...]",
       "Convert a movie (default: MPEG 4, H.264 at the movie's size, AAC 44100 Hz 128 kbit/s).",
       runExportCommand, exportCommandDetails()},
      {"edit", "IN [EDIT ...] -o OUT",
       "Apply edits (trim, delete, rotate, stretch, insert, copy/paste, undo) and save without "
       "re-encoding.",
       runEditCommand, editCommandDetails()},
  };
  return commands;
}

}  // namespace reelcraft
