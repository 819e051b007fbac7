#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "media/ffmpeg/av_handles.h"

namespace reelcraft {

// The containers a lossless save writes, with the same edit-list layout: QuickTime (FFmpeg's
// `mov` muxer) and MPEG-4 (its `mp4` muxer), which also holds VP9, AV1, Opus and FLAC.
enum class SavedMovieContainer { QuickTime, Mpeg4 };

// The container for a save to `path`, by its extension (any case): MPEG-4 for .mp4, .m4v and
// .m4a, QuickTime for .mov and for a name without extension; nothing for any other extension.
std::optional<SavedMovieContainer> savedMovieContainerForPath(const std::string& path);

// An output context of FFmpeg's muxer for `container`, without a file yet.
OutputContextPtr newMuxerContext(SavedMovieContainer container);
// "a QuickTime movie (.mov)" or "an MPEG-4 movie (.mp4)", for messages.
std::string_view displayNameOf(SavedMovieContainer container);
// ".mov" or ".mp4".
std::string_view extensionOf(SavedMovieContainer container);
SavedMovieContainer otherContainer(SavedMovieContainer container);

// Whether `container` holds a track of `codec` copied as it is: asks FFmpeg's muxer to set up
// such a track, so every codec the muxer refuses, in whatever way, counts.
bool containerHolds(SavedMovieContainer container, const AVCodecParameters& codec);

}  // namespace reelcraft
