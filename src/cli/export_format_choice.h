#pragma once

#include <memory>
#include <vector>

#include "cli/export_options.h"
#include "export/movie_file_format.h"
#include "export/movie_format_config.h"

namespace reelcraft {

// The export target that the command line asks for, from the formats `offered` for the movie.
// Without a format named, the first of "MPEG 4", "Audio Only: MPEG 4" and "Video Only: MPEG 4"
// that the movie's tracks allow. MPEG 4 with H.264 and AAC (also when no option names them) is
// the basic export, with its defaults; any other choice follows the same rules (kbit/s × 1000,
// 44100 Hz and 128 kbit/s when not given), and lossless audio is 16-bit (32-bit float)
// little-endian interleaved PCM unless told otherwise, big-endian in AIFF. The frame size is the
// codec's default size, or the size given; a width or height given alone keeps the default's
// aspect ratio (truncated). For H.264 a default or computed dimension is rounded to an even one.
//
// Throws ExportUsageError for names outside the catalogue or options that the chosen codecs do
// not take, and ErrorException with the conversion error when the format is not offered for
// this movie (or the movie has no picture size to start from).
std::shared_ptr<MovieFileFormat> chooseExportFormat(
    const std::vector<MovieFormatConfigPtr>& offered, const ExportOptions& options);

}  // namespace reelcraft
