#include "export/movie_format_config.h"

#include "document/movie.h"
#include "export/export_identifiers.h"

namespace reelcraft {
namespace {

std::string containerName(const std::string& baseName, bool withVideo, bool withAudio) {
  if (withAudio && !withVideo) return "Audio Only: " + baseName;
  if (withVideo && !withAudio) return "Video Only: " + baseName;
  return baseName;
}

void fillContainer(MovieFormatConfig& config, const std::string& baseName, const char* fileType,
                   const Movie& movie, bool withVideo, bool withAudio) {
  config.name = containerName(baseName, withVideo, withAudio);
  config.avFileFormat = fileType;
  if (withAudio) config.audioConfigs = standardAudioConfigs();
  if (withVideo) {
    config.videoConfigs = {std::make_shared<VideoFormatConfig_H264>(movie),
                           std::make_shared<VideoFormatConfig_Jpeg>(movie)};
  }
}

void fillAudioOnly(MovieFormatConfig& config, const std::string& baseName, const char* fileType,
                   AudioFormatConfigPtr audio) {
  config.name = "Audio Only: " + baseName;
  config.avFileFormat = fileType;
  config.audioConfigs = {std::move(audio)};
}

}  // namespace

MovieFormatConfig_QuickTimeMovie::MovieFormatConfig_QuickTimeMovie(const Movie& movie,
                                                                   bool withVideo, bool withAudio) {
  fillContainer(*this, "QuickTime Movie", file_type::kQuickTimeMovie, movie, withVideo, withAudio);
}

MovieFormatConfig_Mpeg4::MovieFormatConfig_Mpeg4(const Movie& movie, bool withVideo,
                                                 bool withAudio) {
  fillContainer(*this, "MPEG 4", file_type::kMPEG4, movie, withVideo, withAudio);
}

MovieFormatConfig_CoreAudio::MovieFormatConfig_CoreAudio() {
  fillAudioOnly(*this, "CoreAudio", file_type::kCoreAudioFormat,
                std::make_shared<AudioFormatConfig_AppleLossless>());
}

MovieFormatConfig_Aiff::MovieFormatConfig_Aiff() {
  fillAudioOnly(*this, "AIFF", file_type::kAIFF, std::make_shared<AudioFormatConfig_LinearPcm>());
}

MovieFormatConfig_Wave::MovieFormatConfig_Wave() {
  fillAudioOnly(*this, "WAVE", file_type::kWAVE, std::make_shared<AudioFormatConfig_LinearPcm>());
}

MovieFormatConfig_Mp3::MovieFormatConfig_Mp3() {
  fillAudioOnly(*this, "MP3", file_type::kMPEGLayer3, std::make_shared<AudioFormatConfig_Mp3>());
}

MovieFormatConfig_Ac3::MovieFormatConfig_Ac3() {
  fillAudioOnly(*this, "AC3", file_type::kAC3, std::make_shared<AudioFormatConfig_Ac3>());
}

std::vector<AudioFormatConfigPtr> standardAudioConfigs() {
  return {std::make_shared<AudioFormatConfig_Ac3>(), std::make_shared<AudioFormatConfig_Aac>(),
          std::make_shared<AudioFormatConfig_Mp3>(),
          std::make_shared<AudioFormatConfig_AppleLossless>(),
          std::make_shared<AudioFormatConfig_LinearPcm>()};
}

std::vector<MovieFormatConfigPtr> fileFormatsForMovie(const Movie& movie) {
  const bool hasAudio = !movie.composition->tracksWithMediaType(MediaType::Audio).empty();
  const bool hasVideo = !movie.composition->tracksWithMediaType(MediaType::Video).empty();
  std::vector<MovieFormatConfigPtr> formats;
  if (hasAudio) {
    if (hasVideo) {
      formats.push_back(std::make_shared<MovieFormatConfig_QuickTimeMovie>(movie, true, true));
      formats.push_back(std::make_shared<MovieFormatConfig_Mpeg4>(movie, true, true));
    }
    formats.push_back(std::make_shared<MovieFormatConfig_QuickTimeMovie>(movie, false, true));
    formats.push_back(std::make_shared<MovieFormatConfig_Mpeg4>(movie, false, true));
    formats.push_back(std::make_shared<MovieFormatConfig_CoreAudio>());
    formats.push_back(std::make_shared<MovieFormatConfig_Aiff>());
    formats.push_back(std::make_shared<MovieFormatConfig_Wave>());
    formats.push_back(std::make_shared<MovieFormatConfig_Mp3>());
    formats.push_back(std::make_shared<MovieFormatConfig_Ac3>());
  }
  if (hasVideo) {
    formats.push_back(std::make_shared<MovieFormatConfig_QuickTimeMovie>(movie, true, false));
    formats.push_back(std::make_shared<MovieFormatConfig_Mpeg4>(movie, true, false));
  }
  return formats;
}

}  // namespace reelcraft
