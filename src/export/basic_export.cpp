#include "export/basic_export.h"

#include <cstdio>
#include <cstdlib>

#include "export/export_identifiers.h"
#include "media/writer/output_settings.h"

namespace reelcraft {
namespace {

constexpr uint64_t kDefaultSampleRate = 44100;
constexpr uint64_t kDefaultAudioBitRate = 128000;

std::vector<CompatibleConfigs> basicExportConfigs(
    const std::vector<MovieFormatConfigPtr>& fileFormats) {
  return compatibleConfigs(fileFormats, file_type::kMPEG4, audio_format_id::kMPEG4AAC,
                           video_codec::kH264);
}

int64_t bitsPerSecond(int64_t kilobitsPerSecond) {
  int64_t bits = 0;
  if (__builtin_mul_overflow(kilobitsPerSecond, int64_t{1000}, &bits)) {
    std::fputs("makeBasicFileFormat: the bit rate is out of range\n", stderr);
    std::abort();
  }
  return bits;
}

}  // namespace

std::vector<CompatibleConfigs> compatibleConfigs(
    const std::vector<MovieFormatConfigPtr>& fileFormats, const std::string& fileType,
    uint32_t formatId, const std::string& codec) {
  std::vector<CompatibleConfigs> result;
  for (const MovieFormatConfigPtr& format : fileFormats) {
    if (format->avFileFormat != fileType) continue;
    CompatibleConfigs configs;
    for (const AudioFormatConfigPtr& audio : format->audioConfigs) {
      if (audio->formatId == formatId) configs.audioConfigs.push_back(audio);
    }
    for (const VideoFormatConfigPtr& video : format->videoConfigs) {
      if (video->codec == codec) configs.videoConfigs.push_back(video);
    }
    if (!configs.audioConfigs.empty() && !configs.videoConfigs.empty()) {
      result.push_back(std::move(configs));
    }
  }
  return result;
}

std::optional<Size> basicExportDefaultSize(const std::vector<MovieFormatConfigPtr>& fileFormats) {
  const std::vector<CompatibleConfigs> configs = basicExportConfigs(fileFormats);
  if (configs.empty()) return std::nullopt;
  return configs.front().videoConfigs.back()->defaultSize;
}

bool canConvert(const std::vector<MovieFormatConfigPtr>& fileFormats) {
  const std::vector<CompatibleConfigs> configs = basicExportConfigs(fileFormats);
  return !configs.empty() && !configs.front().audioConfigs.empty() &&
         !configs.front().videoConfigs.empty();
}

Error movieConversionError() {
  return makeError(kMovieExporterErrorDomain, ExportErrorCode::CannotExport,
                   "Movie cannot be converted",
                   "The source material of the movie cannot be converted to the output format "
                   "supported by Reelcraft");
}

std::shared_ptr<MovieFileFormat> makeBasicFileFormat(
    const std::vector<MovieFormatConfigPtr>& fileFormats, const BasicExportValues& values) {
  if (!canConvert(fileFormats)) throw ErrorException(movieConversionError());
  auto format = std::make_shared<MovieFileFormat>();
  format->type = file_type::kMPEG4;
  format->fileNameExtension = "mp4";

  const int64_t audioBitRate = bitsPerSecond(values.audioKilobitsPerSecond);
  format->audioFormat = std::make_shared<MovieAudioFormatLossy>(
      audio_format_id::kMPEG4AAC,
      values.sampleRate >= 1 ? static_cast<uint64_t>(values.sampleRate) : kDefaultSampleRate,
      values.audioKilobitsPerSecond >= 1 ? static_cast<uint64_t>(audioBitRate)
                                         : kDefaultAudioBitRate);

  auto video = std::make_shared<MovieVideoFormat_H264>();
  video->codec = video_codec::kH264;
  if (values.videoKilobitsPerSecond >= 1) {
    video->bitrate = bitsPerSecond(values.videoKilobitsPerSecond);
  }
  video->size = Size{static_cast<double>(values.width), static_cast<double>(values.height)};
  format->videoFormat = std::move(video);
  return format;
}

ExportProgressRule::ExportProgressRule(MediaTime duration, std::function<void(double)> update)
    : durationSeconds_(duration.seconds()), update_(std::move(update)) {}

void ExportProgressRule::report(MediaTime reached) {
  const double percent = reached.seconds() * 100.0 / durationSeconds_;
  std::lock_guard lock(mutex_);
  if (percent > lastProgress_ + 0.5) {
    update_(percent);
    lastProgress_ = percent;
  }
}

double ExportProgressRule::lastProgress() const {
  std::lock_guard lock(mutex_);
  return lastProgress_;
}

}  // namespace reelcraft
