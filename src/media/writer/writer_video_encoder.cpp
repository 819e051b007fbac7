#include "media/writer/writer_video_encoder.h"

#include <stdexcept>

extern "C" {
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

namespace reelcraft {
namespace {

// Without a sample to go by, a video track is timed at 30 frames per second.
constexpr AVRational kDefaultFrameDuration{1, 30};

AVRational frameDurationOf(const SampleBuffer* sample) {
  if (!sample || !sample->duration.isNumeric() || sample->duration.value <= 0) {
    return kDefaultFrameDuration;
  }
  AVRational duration;
  av_reduce(&duration.num, &duration.den, sample->duration.value, sample->duration.timescale,
            INT32_MAX);
  return duration;
}

}  // namespace

WriterVideoEncoder::WriterVideoEncoder(const WriterEncoderSettings& settings, bool globalHeader)
    : WriterEncoder(settings, globalHeader) {}

void WriterVideoEncoder::open(const SampleBuffer* first) {
  AVCodecContext* context = allocateContext();
  const AVRational frameDuration = frameDurationOf(first);
  context->width = settings_.width;
  context->height = settings_.height;
  context->pix_fmt = settings_.pixelFormat;
  context->sample_aspect_ratio = AVRational{1, 1};
  context->time_base = frameDuration;
  context->framerate = av_inv_q(frameDuration);
  if (settings_.codecId == AV_CODEC_ID_H264) {
    // The preset ffmpeg uses by default; libx264's own rate control unless a bit rate is given.
    av_opt_set(context->priv_data, "preset", "medium", 0);
    if (settings_.averageBitRate) context->bit_rate = *settings_.averageBitRate;
  } else if (settings_.qscale) {
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = FF_QP2LAMBDA * *settings_.qscale;
  }
  openContext();
}

FramePtr WriterVideoEncoder::convert(const AVFrame& source) {
  if (source.width == context_->width && source.height == context_->height &&
      source.format == context_->pix_fmt) {
    FramePtr copy(av_frame_clone(&source));
    if (!copy) throw std::bad_alloc();
    return copy;
  }
  // Frees the old context when it does not fit.
  scaler_.reset(sws_getCachedContext(scaler_.release(), source.width, source.height,
                                     static_cast<AVPixelFormat>(source.format), context_->width,
                                     context_->height, context_->pix_fmt, SWS_BICUBIC, nullptr,
                                     nullptr, nullptr));
  if (!scaler_) {
    throw std::runtime_error("a picture of " + std::to_string(source.width) + " × " +
                             std::to_string(source.height) + " pixels can’t be scaled");
  }
  FramePtr frame = allocateFrame();
  frame->width = context_->width;
  frame->height = context_->height;
  frame->format = context_->pix_fmt;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
  sws_scale(scaler_.get(), source.data, source.linesize, 0, source.height, frame->data,
            frame->linesize);
  return frame;
}

void WriterVideoEncoder::encode(const SampleBuffer& sample, MediaTime sessionStart,
                                std::vector<PacketPtr>& packets) {
  if (!sample.videoFrame) throw std::runtime_error("a video sample holds no picture");
  if (!isOpen()) open(&sample);
  const MediaTime offset = subtract(sample.presentationTime, sessionStart);
  if (!offset.isNumeric()) throw std::runtime_error("a video sample has no presentation time");
  if (offset.value < 0) return;  // before the session
  // Ticks of the time base, rounded to the nearest.
  int64_t pts = av_rescale_q_rnd(offset.value, AVRational{1, offset.timescale}, context_->time_base,
                                 static_cast<AVRounding>(AV_ROUND_NEAR_INF));
  if (pts <= lastPts_) pts = lastPts_ + 1;
  lastPts_ = pts;

  FramePtr frame = convert(*sample.videoFrame);
  frame->pts = pts;
  frame->pict_type = AV_PICTURE_TYPE_NONE;
  if (context_->flags & AV_CODEC_FLAG_QSCALE) frame->quality = context_->global_quality;
  sendFrame(frame.get(), packets);
}

void WriterVideoEncoder::flush(std::vector<PacketPtr>& packets) {
  if (!isOpen()) open(nullptr);
  sendFrame(nullptr, packets);
}

}  // namespace reelcraft
