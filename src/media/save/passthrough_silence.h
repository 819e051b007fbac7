#pragma once

#include <optional>
#include <vector>

#include "media/ffmpeg/av_handles.h"

struct AVCodecParameters;

namespace reelcraft {

// One compressed packet of silence that a decoder configured with `codec` can decode (AAC
// only, encoded with FFmpeg's encoder at the same rate and channel count), or nothing when no
// such packet can be made. Repeating the packet gives any length of silence in whole packets.
std::optional<std::vector<uint8_t>> encodedSilencePacket(const AVCodecParameters& codec);

}  // namespace reelcraft
