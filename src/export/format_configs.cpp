#include "export/format_configs.h"

#include "document/movie.h"
#include "export/export_identifiers.h"
#include "media/writer/output_settings.h"
#include "media/model/video_composition.h"

namespace reelcraft {
namespace {

// Measured afresh each time, so that the size is that of the movie as it stands.
Size renderSizeOf(const Movie& movie) {
  return VideoComposition::withPropertiesOfAsset(*movie.composition).renderSize;
}

}  // namespace

VideoFormatConfig::VideoFormatConfig()
    : name("Unnamed Video Format Config"), codec(video_codec::kH264) {}

VideoFormatConfig_H264::VideoFormatConfig_H264(const Movie& movie) {
  name = "H.264";
  codec = video_codec::kH264;
  defaultSize = renderSizeOf(movie);
}

VideoFormatConfig_Jpeg::VideoFormatConfig_Jpeg(const Movie& movie) {
  name = "Motion JPEG";
  codec = video_codec::kJPEG;
  defaultSize = renderSizeOf(movie);
}

AudioFormatConfig::AudioFormatConfig() : name("Unnamed Audio Format") {}

AudioFormatConfig_Ac3::AudioFormatConfig_Ac3() {
  name = "AC3";
  formatId = audio_format_id::kAC3;
}

AudioFormatConfig_Aac::AudioFormatConfig_Aac() {
  name = "AAC";
  formatId = audio_format_id::kMPEG4AAC;
}

AudioFormatConfig_Mp3::AudioFormatConfig_Mp3() {
  name = "MP3";
  formatId = audio_format_id::kMPEGLayer3;
}

AudioFormatConfig_AppleLossless::AudioFormatConfig_AppleLossless() {
  name = "Apple Lossless";
  formatId = audio_format_id::kAppleLossless;
}

AudioFormatConfig_LinearPcm::AudioFormatConfig_LinearPcm() {
  name = "Linear PCM";
  formatId = audio_format_id::kLinearPCM;
}

bool isLossy(const AudioFormatConfig& config) {
  return dynamic_cast<const LossyAudioFormatConfig*>(&config) != nullptr;
}

}  // namespace reelcraft
