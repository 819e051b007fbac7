#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media/model/asset.h"
#include "media/writer/output_settings.h"

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavutil/pixfmt.h>
#include <libavutil/samplefmt.h>
}

namespace reelcraft {

// A writer input's output settings, checked and turned into what an FFmpeg encoder is opened
// with.
struct WriterEncoderSettings {
  MediaType mediaType = MediaType::Video;
  std::string encoderName;  // FFmpeg encoder: "libx264", "mjpeg", "aac", "pcm_s16le"...
  AVCodecID codecId = AV_CODEC_ID_NONE;
  std::string displayName;  // for messages: "H.264", "AAC", "linear PCM"...

  // Video
  int width = 0;
  int height = 0;
  AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;
  std::optional<int64_t> averageBitRate;  // H.264
  std::optional<int> qscale;              // Motion JPEG, 1 (best) to 31

  // Audio: always two-channel stereo
  int sampleRate = 0;
  AVSampleFormat sampleFormat = AV_SAMPLE_FMT_NONE;
  int bitsPerRawSample = 0;  // 0: the encoder's own
  std::optional<int64_t> bitRate;
};

inline constexpr double kDefaultJpegQuality = 0.75;

// Motion JPEG quality 0..1 (clamped) as an MJPEG quantiser scale: 1.0 gives 1, 0.0 gives 31.
int jpegQscaleForQuality(double quality);

// Throws ErrorException (WriterErrorCode::UnsupportedSettings) naming the setting that cannot be
// honoured, std::invalid_argument for a media type other than video or audio.
WriterEncoderSettings parseWriterEncoderSettings(MediaType mediaType,
                                                 const OutputSettings& settings);

}  // namespace reelcraft
