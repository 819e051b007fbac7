#include "media/writer/writer_audio_encoder.h"

#include <stdexcept>

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

namespace reelcraft {
namespace {

// Frame size for encoders that take any number of samples per frame (PCM).
constexpr int kVariableFrameSize = 4096;

}  // namespace

WriterAudioEncoder::WriterAudioEncoder(const WriterEncoderSettings& settings, bool globalHeader)
    : WriterEncoder(settings, globalHeader) {}

void WriterAudioEncoder::open(const SampleBuffer*) {
  AVCodecContext* context = allocateContext();
  context->sample_rate = settings_.sampleRate;
  context->sample_fmt = settings_.sampleFormat;
  context->time_base = AVRational{1, settings_.sampleRate};
  av_channel_layout_uninit(&context->ch_layout);
  context->ch_layout = AV_CHANNEL_LAYOUT_STEREO;
  if (settings_.bitsPerRawSample) context->bits_per_raw_sample = settings_.bitsPerRawSample;
  if (settings_.bitRate) context->bit_rate = *settings_.bitRate;
  openContext();
  const bool variable =
      context->frame_size <= 0 || (context->codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE);
  frameSize_ = variable ? kVariableFrameSize : context->frame_size;
  fifo_.reset(av_audio_fifo_alloc(context->sample_fmt, 2, frameSize_));
  if (!fifo_) throw std::bad_alloc();
}

void WriterAudioEncoder::makeResampler(int inputRate) {
  SwrContext* allocated = nullptr;
  AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
  int result = swr_alloc_set_opts2(&allocated, &stereo, context_->sample_fmt, context_->sample_rate,
                                   &stereo, AV_SAMPLE_FMT_FLT, inputRate, 0, nullptr);
  ResamplerPtr resampler(allocated);
  if (result >= 0) result = swr_init(resampler.get());
  if (result < 0) {
    throw std::runtime_error("sound at " + std::to_string(inputRate) + " Hz can’t be resampled");
  }
  resampler_ = std::move(resampler);
  resamplerInputRate_ = inputRate;
}

void WriterAudioEncoder::resample(const float* samples, int frameCount) {
  const int capacity = swr_get_out_samples(resampler_.get(), frameCount);
  if (capacity <= 0) return;
  uint8_t** planes = nullptr;
  int linesize = 0;
  if (av_samples_alloc_array_and_samples(&planes, &linesize, 2, capacity, context_->sample_fmt, 0) <
      0) {
    throw std::bad_alloc();
  }
  const uint8_t* input = reinterpret_cast<const uint8_t*>(samples);
  const int converted =
      swr_convert(resampler_.get(), planes, capacity, samples ? &input : nullptr, frameCount);
  int written = 0;
  if (converted > 0)
    written = av_audio_fifo_write(fifo_.get(), reinterpret_cast<void**>(planes), converted);
  av_freep(&planes[0]);
  av_freep(&planes);
  if (converted < 0) throw std::runtime_error("the sound couldn’t be resampled");
  if (written < converted) throw std::bad_alloc();
}

void WriterAudioEncoder::encode(const SampleBuffer& sample, MediaTime sessionStart,
                                std::vector<PacketPtr>& packets) {
  const AudioChunk& chunk = sample.audio;
  if (chunk.sampleRate <= 0) throw std::runtime_error("an audio sample has no sample rate");
  if (!isOpen()) open(&sample);
  if (chunk.frameCount() == 0) return;
  const float* samples = chunk.samples.data();
  int64_t frameCount = chunk.frameCount();
  const MediaTime time = sample.presentationTime.isNumeric() ? sample.presentationTime : chunk.time;
  const MediaTime offset = subtract(time, sessionStart);
  if (!offset.isNumeric()) throw std::runtime_error("an audio sample has no presentation time");
  if (!started_) {
    // Sound before the session start is cut off; the first kept sample fixes the position.
    int64_t skip = 0;
    if (offset.value < 0) {
      skip = av_rescale_rnd(-offset.value, chunk.sampleRate, offset.timescale, AV_ROUND_NEAR_INF);
      if (skip >= frameCount) return;
    }
    samples += skip * AudioChunk::kChannelCount;
    frameCount -= skip;
    nextPts_ = offset.value < 0 ? 0
                                : av_rescale_rnd(offset.value, context_->sample_rate,
                                                 offset.timescale, AV_ROUND_NEAR_INF);
    started_ = true;
  }
  if (!resampler_ || resamplerInputRate_ != chunk.sampleRate) {
    if (resampler_) resample(nullptr, 0);  // keep what the old rate still held
    makeResampler(chunk.sampleRate);
  }
  resample(samples, static_cast<int>(frameCount));
  encodeQueued(packets, false);
}

void WriterAudioEncoder::encodeQueued(std::vector<PacketPtr>& packets, bool all) {
  const bool smallLastFrame = context_->codec->capabilities &
                              (AV_CODEC_CAP_SMALL_LAST_FRAME | AV_CODEC_CAP_VARIABLE_FRAME_SIZE);
  while (av_audio_fifo_size(fifo_.get()) >= frameSize_ ||
         (all && av_audio_fifo_size(fifo_.get()) > 0)) {
    const int available = std::min(av_audio_fifo_size(fifo_.get()), frameSize_);
    FramePtr frame = allocateFrame();
    // An encoder that needs whole frames gets the last one padded with silence.
    frame->nb_samples = available < frameSize_ && !smallLastFrame ? frameSize_ : available;
    frame->format = context_->sample_fmt;
    frame->sample_rate = context_->sample_rate;
    if (av_channel_layout_copy(&frame->ch_layout, &context_->ch_layout) < 0 ||
        av_frame_get_buffer(frame.get(), 0) < 0) {
      throw std::bad_alloc();
    }
    if (frame->nb_samples > available) {
      av_samples_set_silence(frame->extended_data, 0, frame->nb_samples, 2, context_->sample_fmt);
    }
    av_audio_fifo_read(fifo_.get(), reinterpret_cast<void**>(frame->extended_data), available);
    frame->pts = nextPts_;
    nextPts_ += available;
    sendFrame(frame.get(), packets);
  }
}

void WriterAudioEncoder::flush(std::vector<PacketPtr>& packets) {
  if (!isOpen()) open(nullptr);
  if (resampler_) resample(nullptr, 0);
  encodeQueued(packets, true);
  sendFrame(nullptr, packets);
}

}  // namespace reelcraft
