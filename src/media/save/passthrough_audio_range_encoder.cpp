#include "media/save/passthrough_audio_range_encoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "media/audio/track_audio_renderer.h"
#include "media/save/save_error.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

namespace reelcraft {
namespace {

constexpr int kRenderedChannels = 2;
// Samples per packet for codecs that take any number (PCM).
constexpr int kFreeFrameSize = 4096;

[[noreturn]] void throwCannotEncode(const std::string& what) {
  throwCannotReencode("A stretched part of a sound track could not be re-encoded (" + what + ").");
}

// Whether packets of an encoder whose decoder configuration is `encoded` decode with `source`.
// Besides equal configurations, FFmpeg's AAC encoder adds an explicit "no SBR" extension to the
// two-byte AudioSpecificConfig that other encoders write: the same plain AAC either way.
bool decodableWith(const AVCodecParameters& source, const AVCodecContext& encoded) {
  const int size = source.extradata_size;
  if (size == encoded.extradata_size) {
    return size == 0 || std::memcmp(source.extradata, encoded.extradata, size) == 0;
  }
  return source.codec_id == AV_CODEC_ID_AAC && size == 2 && encoded.extradata_size > 2 &&
         std::memcmp(source.extradata, encoded.extradata, 2) == 0;
}

// An opened encoder with `codec`'s configuration, or null with `reason` set.
CodecContextPtr openMatchingEncoder(const AVCodecParameters& codec, std::string& reason) {
  const int channels = codec.ch_layout.nb_channels;
  if (channels < 1 || channels > kRenderedChannels) {
    reason = "it has more than two channels";
    return nullptr;
  }
  const AVCodec* encoder = avcodec_find_encoder(codec.codec_id);
  if (!encoder || !encoder->sample_fmts || codec.sample_rate <= 0) {
    reason = std::string("there is no encoder for ") + avcodec_get_name(codec.codec_id);
    return nullptr;
  }
  CodecContextPtr context(avcodec_alloc_context3(encoder));
  if (!context) throw std::bad_alloc();
  context->sample_rate = codec.sample_rate;
  context->time_base = {1, codec.sample_rate};
  av_channel_layout_default(&context->ch_layout, channels);
  context->sample_fmt = encoder->sample_fmts[0];
  context->bits_per_raw_sample = codec.bits_per_raw_sample;
  context->bit_rate = codec.bit_rate > 0 ? codec.bit_rate : 64'000 * channels;
  if (codec.codec_id == AV_CODEC_ID_AAC) context->profile = FF_PROFILE_AAC_LOW;
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (avcodec_open2(context.get(), encoder, nullptr) < 0) {
    reason = std::string("the ") + encoder->name + " encoder does not take its configuration";
    return nullptr;
  }
  if ((codec.frame_size > 0 && context->frame_size != codec.frame_size) ||
      !decodableWith(codec, *context)) {
    reason = std::string("the ") + encoder->name +
             " encoder cannot match the configuration of its copied packets";
    return nullptr;
  }
  return context;
}

}  // namespace

std::string PassthroughAudioRangeEncoder::reasonItCannotMatch(const AVCodecParameters& codec) {
  std::string reason;
  openMatchingEncoder(codec, reason);
  return reason;
}

PassthroughAudioRangeEncoder::PassthroughAudioRangeEncoder(const AssetTrack& track,
                                                           const AVCodecParameters& codec)
    : sampleRate_(codec.sample_rate),
      channels_(codec.ch_layout.nb_channels),
      renderer_(std::make_unique<TrackAudioRenderer>(track, codec.sample_rate)),
      frame_(allocateFrame()) {
  codec_ = allocateCodecParameters();
  if (avcodec_parameters_copy(codec_.get(), &codec) < 0) throw std::bad_alloc();
  std::string reason;
  CodecContextPtr probe = openMatchingEncoder(codec, reason);
  if (!probe) throwCannotEncode(reason);
  frameSize_ = probe->frame_size > 0 ? probe->frame_size : kFreeFrameSize;
  preroll_ = probe->frame_size > 0 ? probe->frame_size : 0;

  // Rendered stereo float to the encoder's sample format, mono as the mean of both sides.
  SwrContext* converter = nullptr;
  AVChannelLayout layout{};
  av_channel_layout_default(&layout, channels_);
  const int configured = swr_alloc_set_opts2(&converter, &layout, probe->sample_fmt, sampleRate_,
                                             &layout, AV_SAMPLE_FMT_FLT, sampleRate_, 0, nullptr);
  av_channel_layout_uninit(&layout);
  converter_.reset(converter);
  if (configured < 0 || swr_init(converter_.get()) < 0) throwCannotEncode("sample conversion");
}

PassthroughAudioRangeEncoder::~PassthroughAudioRangeEncoder() = default;

void PassthroughAudioRangeEncoder::start(int64_t first, int64_t count) {
  std::string reason;
  // Encoders keep state between frames: each range starts with a fresh one.
  encoder_ = openMatchingEncoder(*codec_, reason);
  if (!encoder_) throwCannotEncode(reason);
  ready_.clear();
  renderer_->seek(first - preroll_);
  keptEnd_ = preroll_ + count;
  inputEnd_ = keptEnd_ + preroll_;
  encoded_ = 0;
  flushed_ = false;
  drained_ = false;
}

bool PassthroughAudioRangeEncoder::next(PacketPtr& packet) {
  while (ready_.empty() && !drained_) encodeMore();
  if (ready_.empty()) return false;
  packet = std::move(ready_.front());
  ready_.pop_front();
  return true;
}

void PassthroughAudioRangeEncoder::encodeMore() {
  if (encoded_ >= inputEnd_) {
    if (!flushed_) {
      flushed_ = true;
      avcodec_send_frame(encoder_.get(), nullptr);
    }
    receivePackets();
    drained_ = true;
    return;
  }
  const int count = static_cast<int>(std::min<int64_t>(frameSize_, inputEnd_ - encoded_));
  mix_.assign(static_cast<size_t>(count) * kRenderedChannels, 0.0f);
  renderer_->mixInto(mix_.data(), count);
  if (channels_ == 1) {
    for (int i = 0; i < count; ++i) mix_[i] = 0.5f * (mix_[2 * i] + mix_[2 * i + 1]);
  }

  av_frame_unref(frame_.get());
  frame_->nb_samples = count;
  frame_->format = encoder_->sample_fmt;
  frame_->sample_rate = sampleRate_;
  if (av_channel_layout_copy(&frame_->ch_layout, &encoder_->ch_layout) < 0 ||
      av_frame_get_buffer(frame_.get(), 0) < 0) {
    throw std::bad_alloc();
  }
  const uint8_t* input[] = {reinterpret_cast<const uint8_t*>(mix_.data())};
  if (swr_convert(converter_.get(), frame_->extended_data, count, input, count) != count) {
    throwCannotEncode("sample conversion");
  }
  frame_->pts = encoded_;
  encoded_ += count;
  const int sent = avcodec_send_frame(encoder_.get(), frame_.get());
  if (sent < 0) throwCannotEncode("the encoder refused the sound");
  receivePackets();
}

void PassthroughAudioRangeEncoder::receivePackets() {
  while (true) {
    PacketPtr packet = allocatePacket();
    const int received = avcodec_receive_packet(encoder_.get(), packet.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
    if (received < 0) throwCannotEncode("the encoder failed");
    // Before the pre-roll is the encoder's own priming; after the range only look-ahead.
    if (packet->pts < 0 || packet->pts >= keptEnd_) continue;
    if (packet->duration <= 0) packet->duration = frameSize_;
    packet->dts = packet->pts;
    packet->flags |= AV_PKT_FLAG_KEY;
    ready_.push_back(std::move(packet));
  }
}

}  // namespace reelcraft
