#include "media/writer/writer_encoder.h"

#include <stdexcept>

#include "media/writer/writer_audio_encoder.h"
#include "media/writer/writer_video_encoder.h"

namespace reelcraft {

std::unique_ptr<WriterEncoder> WriterEncoder::create(const WriterEncoderSettings& settings,
                                                     bool globalHeader) {
  if (settings.mediaType == MediaType::Video) {
    return std::make_unique<WriterVideoEncoder>(settings, globalHeader);
  }
  return std::make_unique<WriterAudioEncoder>(settings, globalHeader);
}

WriterEncoder::WriterEncoder(const WriterEncoderSettings& settings, bool globalHeader)
    : settings_(settings), globalHeader_(globalHeader) {}

WriterEncoder::~WriterEncoder() = default;

AVCodecContext* WriterEncoder::allocateContext() {
  const AVCodec* codec = avcodec_find_encoder_by_name(settings_.encoderName.c_str());
  if (!codec) throw std::runtime_error("no " + settings_.displayName + " encoder is available");
  context_.reset(avcodec_alloc_context3(codec));
  if (!context_) throw std::bad_alloc();
  if (globalHeader_) context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  return context_.get();
}

void WriterEncoder::openContext() {
  const int result = avcodec_open2(context_.get(), context_->codec, nullptr);
  if (result < 0) {
    throw std::runtime_error("the " + settings_.displayName + " encoder refused its settings (" +
                             ffmpegErrorText(result) + ")");
  }
  opened_ = true;
}

void WriterEncoder::sendFrame(const AVFrame* frame, std::vector<PacketPtr>& packets) {
  int result = avcodec_send_frame(context_.get(), frame);
  if (result < 0 && result != AVERROR_EOF) {
    throw std::runtime_error("the " + settings_.displayName + " encoder failed (" +
                             ffmpegErrorText(result) + ")");
  }
  for (;;) {
    PacketPtr packet = allocatePacket();
    result = avcodec_receive_packet(context_.get(), packet.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    if (result < 0) {
      throw std::runtime_error("the " + settings_.displayName + " encoder failed (" +
                               ffmpegErrorText(result) + ")");
    }
    packets.push_back(std::move(packet));
  }
}

}  // namespace reelcraft
