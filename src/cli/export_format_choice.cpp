#include "cli/export_format_choice.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "export/basic_export.h"
#include "export/export_identifiers.h"
#include "export/size_controller_2d.h"
#include "media/base/error.h"
#include "media/writer/output_settings.h"

namespace reelcraft {
namespace {

constexpr std::array<std::string_view, 11> kContainerNames = {
    "QuickTime Movie",
    "MPEG 4",
    "Audio Only: QuickTime Movie",
    "Audio Only: MPEG 4",
    "Audio Only: CoreAudio",
    "Audio Only: AIFF",
    "Audio Only: WAVE",
    "Audio Only: MP3",
    "Audio Only: AC3",
    "Video Only: QuickTime Movie",
    "Video Only: MPEG 4",
};
constexpr std::array<std::string_view, 2> kVideoCodecNames = {"H.264", "Motion JPEG"};
constexpr std::array<std::string_view, 5> kAudioCodecNames = {"AC3", "AAC", "MP3", "Apple Lossless",
                                                              "Linear PCM"};

template <size_t N>
bool contains(const std::array<std::string_view, N>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

template <typename ConfigPtr>
std::string namesOf(const std::vector<ConfigPtr>& configs) {
  std::string names;
  for (const auto& config : configs) names += (names.empty() ? "" : ", ") + config->name;
  return names;
}

// The codec named `wanted` (or the preferred default when none is named) from `configs`.
template <typename ConfigPtr>
ConfigPtr chooseCodec(const std::vector<ConfigPtr>& configs,
                      const std::optional<std::string>& wanted, const std::string& formatName,
                      const char* kind, const std::string& preferred) {
  const auto named = [&](const std::string& name) {
    return std::find_if(configs.begin(), configs.end(),
                        [&](const ConfigPtr& config) { return config->name == name; });
  };
  if (configs.empty()) {
    if (wanted) throw ExportUsageError("'" + formatName + "' writes no " + kind);
    return nullptr;
  }
  if (!wanted) {
    const auto found = named(preferred);
    return found != configs.end() ? *found : configs.front();
  }
  const auto found = named(*wanted);
  if (found == configs.end()) {
    throw ExportUsageError("'" + formatName + "' takes no " + kind + " codec '" + *wanted +
                           "' (it takes " + namesOf(configs) + ")");
  }
  return *found;
}

void refuseUnless(bool applies, bool given, const std::string& option, const std::string& why) {
  if (given && !applies) throw ExportUsageError(option + " " + why);
}

// H.264 takes even frame sizes only; a size the user did not type is rounded to the nearest one.
double evenDimension(double pixels) {
  return std::max(2.0, 2.0 * std::round(pixels / 2.0));
}

Size chooseSize(const VideoFormatConfig& codec, const ExportOptions& options) {
  if (options.width && options.height) {
    return Size{static_cast<double>(*options.width), static_cast<double>(*options.height)};
  }
  const bool evenOnly = codec.codec == video_codec::kH264;
  const auto fitted = [evenOnly](double width, double height) {
    return evenOnly ? Size{evenDimension(width), evenDimension(height)} : Size{width, height};
  };
  const Size defaultSize = codec.defaultSize;
  if (defaultSize.isEmpty()) throw ErrorException(movieConversionError());
  if (!options.width && !options.height) return fitted(defaultSize.width, defaultSize.height);

  IntegerTextField widthField, heightField;
  SizeController2D controller;
  controller.setWidthField(&widthField);
  controller.setHeightField(&heightField);
  controller.setSize(defaultSize.width, defaultSize.height);
  if (options.width) {
    widthField.setText(std::to_string(*options.width));
    controller.controlTextDidChange(&widthField);
  } else {
    heightField.setText(std::to_string(*options.height));
    controller.controlTextDidChange(&heightField);
  }
  const int64_t width = controller.integerWidth();
  const int64_t height = controller.integerHeight();
  if (width < 1 || height < 1 || width > kMaxFrameDimension || height > kMaxFrameDimension) {
    throw ExportUsageError("keeping the movie's aspect ratio gives a frame of " +
                           std::to_string(width) + "x" + std::to_string(height) +
                           " pixels; give --size WxH instead");
  }
  // The dimension the user typed stays as typed; only the computed one is rounded.
  const Size rounded = fitted(static_cast<double>(width), static_cast<double>(height));
  return options.width ? Size{static_cast<double>(width), rounded.height}
                       : Size{rounded.width, static_cast<double>(height)};
}

// Without a format named, the first of the MPEG 4 entries that the movie's tracks allow.
std::string defaultFormatName(const std::vector<MovieFormatConfigPtr>& offered) {
  for (const std::string_view name : {"MPEG 4", "Audio Only: MPEG 4", "Video Only: MPEG 4"}) {
    const bool isOffered =
        std::any_of(offered.begin(), offered.end(),
                    [&](const MovieFormatConfigPtr& f) { return f->name == name; });
    if (isOffered) return std::string(name);
  }
  return "MPEG 4";
}

int64_t kilobitsOrZero(const std::optional<int64_t>& value) {
  return value.value_or(0);
}

}  // namespace

std::shared_ptr<MovieFileFormat> chooseExportFormat(
    const std::vector<MovieFormatConfigPtr>& offered, const ExportOptions& options) {
  const std::string formatName = options.format ? *options.format : defaultFormatName(offered);
  if (!contains(kContainerNames, formatName)) {
    throw ExportUsageError("unknown format '" + formatName + "'");
  }
  if (options.videoCodec && !contains(kVideoCodecNames, *options.videoCodec)) {
    throw ExportUsageError("unknown video codec '" + *options.videoCodec + "'");
  }
  if (options.audioCodec && !contains(kAudioCodecNames, *options.audioCodec)) {
    throw ExportUsageError("unknown audio codec '" + *options.audioCodec + "'");
  }
  const auto entry =
      std::find_if(offered.begin(), offered.end(),
                   [&](const MovieFormatConfigPtr& format) { return format->name == formatName; });
  if (entry == offered.end()) throw ErrorException(movieConversionError());
  const MovieFormatConfig& container = **entry;

  const VideoFormatConfigPtr video =
      chooseCodec(container.videoConfigs, options.videoCodec, formatName, "video", "H.264");
  const AudioFormatConfigPtr audio =
      chooseCodec(container.audioConfigs, options.audioCodec, formatName, "audio", "AAC");

  const bool h264 = video && video->codec == video_codec::kH264;
  const bool jpeg = video && video->codec == video_codec::kJPEG;
  const bool lossy = audio && isLossy(*audio);
  const bool lossless = audio && !lossy;
  refuseUnless(video != nullptr, options.width || options.height, "--size, --width or --height",
               "needs a format with video");
  refuseUnless(h264, options.videoKilobitsPerSecond.has_value(), "--video-kbps",
               "applies to H.264 only");
  refuseUnless(jpeg, options.quality.has_value(), "--quality", "applies to Motion JPEG only");
  refuseUnless(lossy, options.audioKilobitsPerSecond.has_value(), "--audio-kbps",
               "applies to AC3, AAC and MP3 only");
  refuseUnless(audio != nullptr, options.sampleRate.has_value(), "--sample-rate",
               "needs a format with audio");
  refuseUnless(lossless,
               options.bitDepth || options.bigEndian || options.isFloat || options.nonInterleaved,
               "--bit-depth, --big-endian, --float and --non-interleaved",
               "apply to Linear PCM and Apple Lossless only");

  const Size size = video ? chooseSize(*video, options) : Size{};
  const bool basic = container.avFileFormat == file_type::kMPEG4 && h264 && audio &&
                     audio->formatId == audio_format_id::kMPEG4AAC;
  if (basic) {
    BasicExportValues values;
    values.videoKilobitsPerSecond = kilobitsOrZero(options.videoKilobitsPerSecond);
    values.audioKilobitsPerSecond = kilobitsOrZero(options.audioKilobitsPerSecond);
    values.sampleRate = options.sampleRate.value_or(0);
    values.width = static_cast<int64_t>(size.width);
    values.height = static_cast<int64_t>(size.height);
    return makeBasicFileFormat(offered, values);
  }

  auto format = std::make_shared<MovieFileFormat>();
  format->type = container.avFileFormat;
  format->fileNameExtension = fileNameExtensionForFileType(container.avFileFormat);
  format->videoFormat = nullptr;
  format->audioFormat = nullptr;
  if (h264) {
    auto h264Format = std::make_shared<MovieVideoFormat_H264>();
    if (options.videoKilobitsPerSecond)
      h264Format->bitrate = *options.videoKilobitsPerSecond * 1000;
    format->videoFormat = h264Format;
  } else if (jpeg) {
    auto jpegFormat = std::make_shared<MovieVideoFormat_Jpeg>();
    jpegFormat->quality = options.quality;
    format->videoFormat = jpegFormat;
  }
  if (format->videoFormat) {
    format->videoFormat->codec = video->codec;
    format->videoFormat->size = size;
  }
  const uint64_t sampleRate = options.sampleRate ? *options.sampleRate : 44100;
  if (lossy) {
    const uint64_t bitRate =
        options.audioKilobitsPerSecond ? *options.audioKilobitsPerSecond * 1000 : 128000;
    format->audioFormat =
        std::make_shared<MovieAudioFormatLossy>(audio->formatId, sampleRate, bitRate);
  } else if (lossless) {
    const uint64_t bitDepth = options.bitDepth ? *options.bitDepth : (options.isFloat ? 32 : 16);
    const bool bigEndian = options.bigEndian || container.avFileFormat == file_type::kAIFF;
    format->audioFormat = std::make_shared<MovieAudioFormatLossless>(
        audio->formatId, sampleRate, bitDepth, bigEndian, options.isFloat, options.nonInterleaved);
  }
  return format;
}

}  // namespace reelcraft
