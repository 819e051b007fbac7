#pragma once

#include <string>

#include "media/base/media_time.h"
#include "media/ffmpeg/av_handles.h"

namespace reelcraft {

struct SourceTrack;

using InputFilePtr = InputContextPtr;

// Opens a movie or sound file for demuxing and reads its stream information (a few packets,
// not the whole file). Only container formats that hold movies or sound are accepted: an
// image, subtitle or text file is not a movie even where FFmpeg could read it. Throws
// ErrorException with a media error (media_error.h) naming the file.
InputFilePtr openInputFile(const std::string& path);

// The same for a file reached through `readPath` (a held file, see PinnedFile) that the user
// knows as `path`: errors name `path`, and its extension helps recognise the format.
InputFilePtr openInputFile(const std::string& path, const std::string& readPath);

// Opens the file that `source` was read from.
InputFilePtr openInputFile(const SourceTrack& source);

// Where a movie whose tracks end at `tracksEnd` ends: at the length that a QuickTime or MPEG-4
// movie header gives the whole movie when that runs past `tracksEnd` (empty time after every
// track's media) by more than a header's rounding, else at `tracksEnd`.
MediaTime movieEnd(const AVFormatContext& file, MediaTime tracksEnd);

}  // namespace reelcraft
