#include "export/movie_video_format.h"

#include <algorithm>

#include "export/export_identifiers.h"

namespace reelcraft {

MovieVideoFormat::MovieVideoFormat() : codec(video_codec::kH264) {}

OutputSettings MovieVideoFormat::outputSettings() const {
  return {
      {settings_key::kVideoCodec, codec},
      {settings_key::kVideoWidth, size.width},
      {settings_key::kVideoHeight, size.height},
  };
}

OutputSettings MovieVideoFormat_H264::outputSettings() const {
  OutputSettings settings = MovieVideoFormat::outputSettings();
  OutputSettings compression;
  if (bitrate) compression.emplace(settings_key::kVideoAverageBitRate, *bitrate);
  settings.emplace(settings_key::kVideoCompressionProperties, std::move(compression));
  return settings;
}

OutputSettings MovieVideoFormat_Jpeg::outputSettings() const {
  OutputSettings settings = MovieVideoFormat::outputSettings();
  OutputSettings compression;
  if (quality) compression.emplace(settings_key::kVideoQuality, std::clamp(*quality, 0.0, 1.0));
  settings.emplace(settings_key::kVideoCompressionProperties, std::move(compression));
  return settings;
}

}  // namespace reelcraft
