#include "mediagen/media_reader.h"

#include <algorithm>
#include <functional>

#include "media/ffmpeg/av_handles.h"

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace reelcraft::testmedia {
namespace {

struct OpenStream {
  InputContextPtr input;
  CodecContextPtr decoder;
  AVStream* stream = nullptr;
};

OpenStream openStream(const std::string& path, AVMediaType type, int streamIndex) {
  OpenStream open;
  AVFormatContext* raw = nullptr;
  // The file protocol, so that a colon in the name is not taken for another protocol.
  const std::string url = "file:" + path;
  checkFFmpeg(avformat_open_input(&raw, url.c_str(), nullptr, nullptr), "opening " + path);
  open.input.reset(raw);
  checkFFmpeg(avformat_find_stream_info(raw, nullptr), "reading stream information of " + path);

  if (streamIndex < 0) {  // the first stream of the type (cover pictures are not video)
    for (unsigned i = 0; i < raw->nb_streams && streamIndex < 0; ++i) {
      if (raw->streams[i]->codecpar->codec_type == type &&
          !(raw->streams[i]->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
        streamIndex = static_cast<int>(i);
      }
    }
    if (streamIndex < 0) {
      throw std::runtime_error(path + " has no " + av_get_media_type_string(type) + " stream");
    }
  }
  if (streamIndex >= static_cast<int>(raw->nb_streams) ||
      raw->streams[streamIndex]->codecpar->codec_type != type) {
    throw std::runtime_error("stream " + std::to_string(streamIndex) + " of " + path + " is not " +
                             av_get_media_type_string(type));
  }
  open.stream = raw->streams[streamIndex];
  for (unsigned i = 0; i < raw->nb_streams; ++i) {
    if (static_cast<int>(i) != streamIndex) raw->streams[i]->discard = AVDISCARD_ALL;
  }

  const AVCodec* codec = avcodec_find_decoder(open.stream->codecpar->codec_id);
  if (!codec) throw std::runtime_error("no decoder for a stream of " + path);
  open.decoder.reset(avcodec_alloc_context3(codec));
  if (!open.decoder) throw std::bad_alloc();
  checkFFmpeg(avcodec_parameters_to_context(open.decoder.get(), open.stream->codecpar),
              "configuring the decoder");
  open.decoder->pkt_timebase = open.stream->time_base;
  open.decoder->thread_count = 1;
  checkFFmpeg(avcodec_open2(open.decoder.get(), codec, nullptr), "opening the decoder");
  return open;
}

// Decodes the whole stream, calling `onFrame` for every frame in output order.
void decodeAll(OpenStream& open, const std::function<void(AVFrame&)>& onFrame) {
  PacketPtr packet = allocatePacket();
  FramePtr frame = allocateFrame();
  auto drain = [&] {
    while (true) {
      const int result = avcodec_receive_frame(open.decoder.get(), frame.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
      checkFFmpeg(result, "decoding");
      onFrame(*frame);
      av_frame_unref(frame.get());
    }
  };
  while (true) {
    const int result = av_read_frame(open.input.get(), packet.get());
    if (result == AVERROR_EOF) break;
    checkFFmpeg(result, "reading");
    if (packet->stream_index == open.stream->index) {
      const int sent = avcodec_send_packet(open.decoder.get(), packet.get());
      av_packet_unref(packet.get());
      // A damaged packet is the decoder's to conceal; keep going like a player would.
      if (sent < 0 && sent != AVERROR_INVALIDDATA) checkFFmpeg(sent, "decoding");
      drain();
    } else {
      av_packet_unref(packet.get());
    }
  }
  checkFFmpeg(avcodec_send_packet(open.decoder.get(), nullptr), "flushing the decoder");
  drain();
}

}  // namespace

std::vector<DecodedVideoFrame> readVideoFrames(const std::string& path, int streamIndex) {
  OpenStream open = openStream(path, AVMEDIA_TYPE_VIDEO, streamIndex);
  const AVRational timeBase = open.stream->time_base;
  std::vector<DecodedVideoFrame> frames;
  decodeAll(open, [&](AVFrame& frame) {
    DecodedVideoFrame decoded;
    decoded.pts = frame.best_effort_timestamp;
    decoded.timeBase = {timeBase.num, timeBase.den};
    decoded.seconds = decoded.pts == AV_NOPTS_VALUE ? 0 : decoded.pts * av_q2d(timeBase);
    decoded.width = frame.width;
    decoded.height = frame.height;
    decoded.code = readFrameCode(frame);
    frames.push_back(decoded);
  });
  return frames;
}

std::vector<int> readFrameIndices(const std::string& path, int streamIndex) {
  std::vector<int> indices;
  for (const DecodedVideoFrame& frame : readVideoFrames(path, streamIndex)) {
    indices.push_back(frame.frameIndex());
  }
  return indices;
}

DecodedAudio readAudio(const std::string& path, int streamIndex, int sampleRate) {
  OpenStream open = openStream(path, AVMEDIA_TYPE_AUDIO, streamIndex);
  const AVRational timeBase = open.stream->time_base;
  DecodedAudio audio;
  audio.sourceSampleRate = open.decoder->sample_rate;
  audio.sampleRate = sampleRate > 0 ? sampleRate : audio.sourceSampleRate;
  audio.timeBase = {timeBase.num, timeBase.den};

  // Decoders give whole codec frames; the track ends where the container says (the rest of
  // the last frame is encoder padding).
  const int64_t end =
      open.stream->duration != AV_NOPTS_VALUE
          ? open.stream->duration +
                (open.stream->start_time != AV_NOPTS_VALUE ? open.stream->start_time : 0)
          : AV_NOPTS_VALUE;
  ResamplerPtr converter;
  int channelCount = 0;
  bool first = true;
  std::vector<float> interleaved;

  auto append = [&](const uint8_t** input, int inputCount, int64_t pts) {
    const int capacity = swr_get_out_samples(converter.get(), inputCount);
    interleaved.resize(static_cast<size_t>(std::max(capacity, 0)) * channelCount);
    uint8_t* output[1] = {reinterpret_cast<uint8_t*>(interleaved.data())};
    const int produced = checkFFmpeg(
        swr_convert(converter.get(), output, capacity, input, inputCount), "resampling");
    DecodedAudio::Block block;
    block.offset = audio.sampleCount();
    block.count = static_cast<size_t>(produced);
    block.pts = pts;
    block.seconds = pts == AV_NOPTS_VALUE ? audio.secondsAt(block.offset) : pts * av_q2d(timeBase);
    for (int i = 0; i < produced; ++i) {
      for (int c = 0; c < channelCount; ++c) {
        audio.channels[c].push_back(interleaved[static_cast<size_t>(i) * channelCount + c]);
      }
    }
    if (inputCount > 0) audio.blocks.push_back(block);
  };

  decodeAll(open, [&](AVFrame& frame) {
    if (first) {
      first = false;
      AVChannelLayout layout{};
      if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC || frame.ch_layout.nb_channels == 0) {
        av_channel_layout_default(&layout, std::max(frame.ch_layout.nb_channels, 1));
      } else {
        checkFFmpeg(av_channel_layout_copy(&layout, &frame.ch_layout), "copying channel layout");
      }
      channelCount = layout.nb_channels;
      SwrContext* raw = nullptr;
      const int result = swr_alloc_set_opts2(&raw, &layout, AV_SAMPLE_FMT_FLT, audio.sampleRate,
                                             &layout, static_cast<AVSampleFormat>(frame.format),
                                             frame.sample_rate, 0, nullptr);
      av_channel_layout_uninit(&layout);
      checkFFmpeg(result, "setting up the resampler");
      converter.reset(raw);
      checkFFmpeg(swr_init(converter.get()), "setting up the resampler");
      audio.channels.assign(channelCount, {});
      const int64_t pts = frame.best_effort_timestamp;
      audio.startSeconds = pts == AV_NOPTS_VALUE ? 0 : pts * av_q2d(timeBase);
    }
    int count = frame.nb_samples;
    if (end != AV_NOPTS_VALUE && frame.best_effort_timestamp != AV_NOPTS_VALUE) {
      const int64_t left = av_rescale_q(end - frame.best_effort_timestamp, timeBase,
                                        AVRational{1, frame.sample_rate});
      count = static_cast<int>(std::clamp<int64_t>(left, 0, count));
    }
    if (count > 0) {
      append(const_cast<const uint8_t**>(frame.extended_data), count, frame.best_effort_timestamp);
    }
  });
  if (converter) append(nullptr, 0, AV_NOPTS_VALUE);  // what the resampler still holds
  return audio;
}

}  // namespace reelcraft::testmedia
