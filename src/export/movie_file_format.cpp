#include "export/movie_file_format.h"

#include "export/export_identifiers.h"

namespace reelcraft {

MovieFileFormat::MovieFileFormat()
    : videoFormat(std::make_shared<MovieVideoFormat>()),
      audioFormat(
          std::make_shared<MovieAudioFormatLossy>(audio_format_id::kMPEG4AAC, 44100, 128000)),
      type(file_type::kMPEG4) {}

}  // namespace reelcraft
