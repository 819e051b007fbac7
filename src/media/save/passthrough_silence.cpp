#include "media/save/passthrough_silence.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace reelcraft {

std::optional<std::vector<uint8_t>> encodedSilencePacket(const AVCodecParameters& codec) {
  if (codec.codec_id != AV_CODEC_ID_AAC || codec.sample_rate <= 0) return std::nullopt;
  const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_AAC);
  if (!encoder) return std::nullopt;
  CodecContextPtr context(avcodec_alloc_context3(encoder));
  if (!context) return std::nullopt;
  context->sample_rate = codec.sample_rate;
  if (av_channel_layout_copy(&context->ch_layout, &codec.ch_layout) < 0 ||
      context->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
    av_channel_layout_uninit(&context->ch_layout);
    av_channel_layout_default(&context->ch_layout, codec.ch_layout.nb_channels);
  }
  context->sample_fmt = AV_SAMPLE_FMT_FLTP;
  context->bit_rate = 64'000;
  context->profile = FF_PROFILE_AAC_LOW;
  if (avcodec_open2(context.get(), encoder, nullptr) < 0) return std::nullopt;

  FramePtr frame = allocateFrame();
  frame->nb_samples = context->frame_size;
  frame->format = context->sample_fmt;
  frame->sample_rate = context->sample_rate;
  if (av_channel_layout_copy(&frame->ch_layout, &context->ch_layout) < 0 ||
      av_frame_get_buffer(frame.get(), 0) < 0) {
    return std::nullopt;
  }
  av_samples_set_silence(frame->extended_data, 0, frame->nb_samples, frame->ch_layout.nb_channels,
                         context->sample_fmt);
  PacketPtr packet = allocatePacket();
  std::optional<std::vector<uint8_t>> silence;
  // Past the encoder's delay its output for silence is steady: keep the last packet.
  for (int i = 0; i < 4; ++i) {
    frame->pts = static_cast<int64_t>(i) * context->frame_size;
    if (avcodec_send_frame(context.get(), frame.get()) < 0) return std::nullopt;
    while (avcodec_receive_packet(context.get(), packet.get()) == 0) {
      silence.emplace(packet->data, packet->data + packet->size);
      av_packet_unref(packet.get());
    }
  }
  return silence;
}

}  // namespace reelcraft
