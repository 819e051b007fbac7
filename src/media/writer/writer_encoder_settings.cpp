#include "media/writer/writer_encoder_settings.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "media/writer/writer_error.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace reelcraft {
namespace {

namespace key = settings_key;

[[noreturn]] void unsupported(const std::string& detail) {
  throwWriterError(WriterErrorCode::UnsupportedSettings, "", detail);
}

const SettingValue* find(const OutputSettings& settings, const char* name) {
  auto it = settings.find(name);
  return it == settings.end() ? nullptr : &it->second;
}

std::optional<double> number(const OutputSettings& settings, const char* name) {
  const SettingValue* value = find(settings, name);
  if (!value) return std::nullopt;
  if (auto* i = std::get_if<int64_t>(&value->value)) return static_cast<double>(*i);
  if (auto* d = std::get_if<double>(&value->value)) {
    if (!std::isfinite(*d)) unsupported(std::string(name) + " is not a finite number");
    return *d;
  }
  if (auto* b = std::get_if<bool>(&value->value)) return *b ? 1.0 : 0.0;
  unsupported(std::string(name) + " is not a number");
}

std::optional<int64_t> integer(const OutputSettings& settings, const char* name) {
  auto value = number(settings, name);
  if (!value) return std::nullopt;
  if (*value != std::floor(*value) || std::fabs(*value) > 9.0e15) {
    unsupported(std::string(name) + " is not a whole number");
  }
  return static_cast<int64_t>(*value);
}

bool flag(const OutputSettings& settings, const char* name) {
  auto value = number(settings, name);
  return value && *value != 0;
}

std::optional<int64_t> positiveBitRate(const OutputSettings& settings, const char* name) {
  auto value = integer(settings, name);
  if (value && (*value <= 0 || *value > 1'000'000'000)) {
    unsupported("the bit rate " + std::to_string(*value) + " bit/s is out of range");
  }
  return value;
}

const AVCodec* encoderNamed(const std::string& name, const std::string& displayName) {
  const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
  if (!codec) unsupported("no " + displayName + " encoder is available");
  return codec;
}

int dimension(const OutputSettings& settings, const char* name, const char* what) {
  auto value = number(settings, name);
  if (!value) unsupported(std::string("the video ") + what + " is missing");
  const double rounded = std::round(*value);
  if (rounded < 1 || rounded > 16384) {
    unsupported(std::string("the video ") + what + " " + std::to_string(*value) +
                " is out of range");
  }
  return static_cast<int>(rounded);
}

WriterEncoderSettings parseVideo(const OutputSettings& settings) {
  WriterEncoderSettings result;
  result.mediaType = MediaType::Video;
  const SettingValue* codecValue = find(settings, key::kVideoCodec);
  const std::string* codec = codecValue ? std::get_if<std::string>(&codecValue->value) : nullptr;
  if (!codec) unsupported("the video codec is missing");
  OutputSettings compression;
  if (const SettingValue* nested = find(settings, key::kVideoCompressionProperties)) {
    auto* dictionary = std::get_if<std::shared_ptr<const OutputSettings>>(&nested->value);
    if (!dictionary || !*dictionary) unsupported("the compression properties are not a dictionary");
    compression = **dictionary;
  }
  result.width = dimension(settings, key::kVideoWidth, "width");
  result.height = dimension(settings, key::kVideoHeight, "height");

  if (*codec == "h264") {
    result.displayName = "H.264";
    result.encoderName = "libx264";
    result.codecId = AV_CODEC_ID_H264;
    result.pixelFormat = AV_PIX_FMT_YUV420P;
    if (result.width % 2 != 0 || result.height % 2 != 0) {
      unsupported("H.264 needs an even frame width and height, not " +
                  std::to_string(result.width) + " × " + std::to_string(result.height));
    }
    result.averageBitRate = positiveBitRate(compression, key::kVideoAverageBitRate);
  } else if (*codec == "mjpeg") {
    result.displayName = "Motion JPEG";
    result.encoderName = "mjpeg";
    result.codecId = AV_CODEC_ID_MJPEG;
    result.pixelFormat = AV_PIX_FMT_YUVJ420P;
    result.qscale =
        jpegQscaleForQuality(number(compression, key::kVideoQuality).value_or(kDefaultJpegQuality));
  } else {
    unsupported("the video codec “" + *codec + "” is not supported");
  }
  encoderNamed(result.encoderName, result.displayName);
  return result;
}

// The PCM encoder for a sample layout. Each container here stores the samples interleaved, so
// the non-interleaved flag does not change the codec.
std::string pcmEncoderName(int bitDepth, bool isFloat, bool bigEndian) {
  const std::string order = bigEndian ? "be" : "le";
  if (isFloat) {
    if (bitDepth == 32 || bitDepth == 64) return "pcm_f" + std::to_string(bitDepth) + order;
    unsupported("floating-point linear PCM must be 32 or 64 bits deep, not " +
                std::to_string(bitDepth));
  }
  // 8-bit samples have no byte order: WAVE stores them unsigned, AIFF (big-endian) signed.
  if (bitDepth == 8) return bigEndian ? "pcm_s8" : "pcm_u8";
  if (bitDepth == 16 || bitDepth == 24 || bitDepth == 32) {
    return "pcm_s" + std::to_string(bitDepth) + order;
  }
  unsupported("linear PCM must be 8, 16, 24 or 32 bits deep, not " + std::to_string(bitDepth));
}

bool supportsSampleFormat(const AVCodec* codec, AVSampleFormat format) {
  if (!codec->sample_fmts) return false;
  for (const AVSampleFormat* f = codec->sample_fmts; *f != AV_SAMPLE_FMT_NONE; ++f) {
    if (*f == format) return true;
  }
  return false;
}

void checkSampleRate(const AVCodec* codec, int rate, const std::string& displayName) {
  if (rate < 1000 || rate > 768000) {
    unsupported("the sample rate " + std::to_string(rate) + " Hz is out of range");
  }
  if (!codec->supported_samplerates) return;
  std::string list;
  for (const int* r = codec->supported_samplerates; *r != 0; ++r) {
    if (*r == rate) return;
    list += (list.empty() ? "" : ", ") + std::to_string(*r);
  }
  unsupported(displayName + " can’t be encoded at " + std::to_string(rate) +
              " Hz (possible rates: " + list + " Hz)");
}

WriterEncoderSettings parseAudio(const OutputSettings& settings) {
  WriterEncoderSettings result;
  result.mediaType = MediaType::Audio;
  auto formatId = integer(settings, key::kFormatID);
  if (!formatId) unsupported("the audio format is missing");
  if (auto channels = integer(settings, key::kNumberOfChannels); channels && *channels != 2) {
    unsupported("audio is written as two-channel stereo, not with " + std::to_string(*channels) +
                " channels");
  }
  auto rate = integer(settings, key::kSampleRate);
  if (!rate) unsupported("the audio sample rate is missing");
  if (*rate < 1000 || *rate > 768000) {
    unsupported("the sample rate " + std::to_string(*rate) + " Hz is out of range");
  }
  result.sampleRate = static_cast<int>(*rate);
  const int bitDepth = static_cast<int>(integer(settings, key::kLinearPCMBitDepth).value_or(16));

  namespace id = audio_format_id;
  const auto format = static_cast<uint32_t>(*formatId);
  if (format == id::kMPEG4AAC) {
    result.displayName = "AAC";
    result.encoderName = "aac";
  } else if (format == id::kAC3) {
    result.displayName = "AC-3";
    result.encoderName = "ac3";
  } else if (format == id::kMPEGLayer3) {
    result.displayName = "MP3";
    result.encoderName = "libmp3lame";
  } else if (format == id::kAppleLossless) {
    result.displayName = "Apple Lossless";
    result.encoderName = "alac";
  } else if (format == id::kLinearPCM) {
    result.displayName = "linear PCM";
    result.encoderName = pcmEncoderName(bitDepth, flag(settings, key::kLinearPCMIsFloat),
                                        flag(settings, key::kLinearPCMIsBigEndian));
  } else {
    unsupported("the audio format " + std::to_string(format) + " is not supported");
  }
  const AVCodec* codec = encoderNamed(result.encoderName, result.displayName);
  result.codecId = codec->id;
  checkSampleRate(codec, result.sampleRate, result.displayName);

  if (format == id::kAppleLossless) {
    if (bitDepth != 16 && bitDepth != 20 && bitDepth != 24 && bitDepth != 32) {
      unsupported("Apple Lossless must be 16, 20, 24 or 32 bits deep, not " +
                  std::to_string(bitDepth));
    }
    // The encoder stores 16 bits, or 24 bits for anything deeper.
    result.sampleFormat = bitDepth == 16 ? AV_SAMPLE_FMT_S16P : AV_SAMPLE_FMT_S32P;
    result.bitsPerRawSample = bitDepth == 16 ? 16 : 24;
  } else if (supportsSampleFormat(codec, AV_SAMPLE_FMT_FLTP)) {
    result.sampleFormat = AV_SAMPLE_FMT_FLTP;
  } else {
    result.sampleFormat = codec->sample_fmts ? codec->sample_fmts[0] : AV_SAMPLE_FMT_NONE;
    if (result.sampleFormat == AV_SAMPLE_FMT_NONE) {
      unsupported(result.displayName + " has no usable sample format");
    }
  }
  if (format == id::kLinearPCM && bitDepth == 24) result.bitsPerRawSample = 24;
  if (format != id::kLinearPCM && format != id::kAppleLossless) {
    result.bitRate = positiveBitRate(settings, key::kEncoderBitRate);
  }
  return result;
}

}  // namespace

int jpegQscaleForQuality(double quality) {
  const double clamped = std::clamp(quality, 0.0, 1.0);
  return static_cast<int>(std::lround(1.0 + (1.0 - clamped) * 30.0));
}

WriterEncoderSettings parseWriterEncoderSettings(MediaType mediaType,
                                                 const OutputSettings& settings) {
  switch (mediaType) {
    case MediaType::Video:
      return parseVideo(settings);
    case MediaType::Audio:
      return parseAudio(settings);
    default:
      throw std::invalid_argument("a writer input takes video or audio");
  }
}

}  // namespace reelcraft
