#pragma once

// Helpers for tests of AssetWriter: output settings as the export formats make them, what
// FFmpeg finds in a written file, where tests write, and waiting for a writer to finish.

#include <cstdint>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include "media/writer/asset_writer.h"
#include "media/writer/output_settings.h"
#include "mediagen/test_media.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
}

namespace reelcraft::writer_testing {

inline OutputSettings videoSettings(const char* codec, double width, double height,
                                    OutputSettings compression = {}) {
  return {{settings_key::kVideoCodec, codec},
          {settings_key::kVideoWidth, width},
          {settings_key::kVideoHeight, height},
          {settings_key::kVideoCompressionProperties, compression}};
}
inline OutputSettings h264Settings(double width, double height) {
  return videoSettings("h264", width, height);
}

inline SettingValue::Bytes stereoLayoutRecord() {
  SettingValue::Bytes bytes(32, 0);
  bytes[0] = 0x02;
  bytes[2] = 0x65;
  return bytes;
}

inline OutputSettings lossyAudioSettings(uint32_t formatId, int sampleRate, int64_t bitRate) {
  return {{settings_key::kFormatID, formatId},
          {settings_key::kEncoderBitRate, bitRate},
          {settings_key::kSampleRate, sampleRate},
          {settings_key::kChannelLayout, stereoLayoutRecord()},
          {settings_key::kNumberOfChannels, 2}};
}

struct PcmLayout {
  int bitDepth = 16;
  bool bigEndian = false;
  bool isFloat = false;
  bool nonInterleaved = false;
};

inline OutputSettings losslessAudioSettings(uint32_t formatId, int sampleRate, PcmLayout layout) {
  return {{settings_key::kFormatID, formatId},
          {settings_key::kSampleRate, sampleRate},
          {settings_key::kLinearPCMBitDepth, layout.bitDepth},
          {settings_key::kLinearPCMIsBigEndian, layout.bigEndian},
          {settings_key::kLinearPCMIsFloat, layout.isFloat},
          {settings_key::kLinearPCMIsNonInterleaved, layout.nonInterleaved},
          {settings_key::kChannelLayout, stereoLayoutRecord()},
          {settings_key::kNumberOfChannels, 2}};
}

struct ProbedStream {
  std::string codec;  // FFmpeg codec name
  int channels = 0;
  bool stereoLayout = false;
  bool layoutRecorded = false;  // AIFF and plain WAVE keep only a channel count
  int sampleRate = 0;
};

// The streams FFmpeg finds in `path`; none when it cannot read it.
inline std::vector<ProbedStream> probeFile(const std::string& path) {
  AVFormatContext* context = nullptr;
  std::vector<ProbedStream> streams;
  if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) return streams;
  const unsigned count = avformat_find_stream_info(context, nullptr) >= 0 ? context->nb_streams : 0;
  for (unsigned i = 0; i < count; ++i) {
    const AVCodecParameters& parameters = *context->streams[i]->codecpar;
    const AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    streams.push_back({avcodec_get_name(parameters.codec_id), parameters.ch_layout.nb_channels,
                       av_channel_layout_compare(&parameters.ch_layout, &stereo) == 0,
                       parameters.ch_layout.order != AV_CHANNEL_ORDER_UNSPEC,
                       parameters.sample_rate});
  }
  avformat_close_input(&context);
  return streams;
}

inline void finishAndWait(AssetWriter& writer) {
  std::promise<void> finished;
  writer.finishWritingWithCompletionHandler([&] { finished.set_value(); });
  finished.get_future().get();
}

inline std::string outputPath(const std::string& name) {
  return testmedia::testMediaDirectory() + "/" + name;
}

}  // namespace reelcraft::writer_testing
