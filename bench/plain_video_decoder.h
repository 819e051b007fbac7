#pragma once

// The floor the media engine is measured against: the video stream of a file decoded with
// nothing but libavformat and libavcodec calls, with the decoder set up as an application
// would (frame threads, one per core) and no cleverness about seeking.

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include "media/ffmpeg/av_handles.h"

namespace reelcraft::bench {

class PlainVideoDecoder {
 public:
  // Opens the file, reads its stream information and opens the decoder of its main video
  // stream. Throws std::runtime_error when any of that fails.
  explicit PlainVideoDecoder(const std::string& path) {
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) {
      throw std::runtime_error("cannot open " + path);
    }
    format_.reset(format);
    if (avformat_find_stream_info(format, nullptr) < 0) {
      throw std::runtime_error("cannot read the streams of " + path);
    }
    const AVCodec* codec = nullptr;
    streamIndex_ = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (streamIndex_ < 0 || !codec) throw std::runtime_error("no video to decode in " + path);
    stream_ = format->streams[streamIndex_];
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_ || avcodec_parameters_to_context(decoder_.get(), stream_->codecpar) < 0) {
      throw std::runtime_error("cannot set up the decoder for " + path);
    }
    decoder_->pkt_timebase = stream_->time_base;
    decoder_->thread_count = 0;
    if (avcodec_open2(decoder_.get(), codec, nullptr) < 0) {
      throw std::runtime_error("cannot open the decoder for " + path);
    }
    packet_ = allocatePacket();
    frame_ = allocateFrame();
  }

  AVRational timeBase() const { return stream_->time_base; }
  // The stream's first presentation time, in timeBase() ticks.
  int64_t startTicks() const {
    return stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
  }

  // The next frame in presentation order (valid until the next call), or null at the end.
  const AVFrame* nextFrame() {
    for (;;) {
      const int received = avcodec_receive_frame(decoder_.get(), frame_.get());
      if (received == 0) return frame_.get();
      if (received == AVERROR_EOF) return nullptr;
      if (received != AVERROR(EAGAIN)) throw std::runtime_error("decoding failed");
      if (demuxerEnded_) {
        avcodec_send_packet(decoder_.get(), nullptr);
        continue;
      }
      const int read = av_read_frame(format_.get(), packet_.get());
      if (read < 0) {
        demuxerEnded_ = true;
        continue;
      }
      if (packet_->stream_index == streamIndex_) avcodec_send_packet(decoder_.get(), packet_.get());
      av_packet_unref(packet_.get());
    }
  }

  // The frame displayed at `ticks` (timeBase() units): seeks to the keyframe at or before it,
  // then decodes until the frame whose interval contains it. Null past the end.
  const AVFrame* frameAt(int64_t ticks) {
    // The index of MP4 files is in decode order: with B-frames, the keyframe found can
    // present after the target, and the search must start further back.
    int64_t seekTicks = ticks;
    int64_t backoff = std::max<int64_t>(1, stream_->time_base.den / stream_->time_base.num);
    for (;;) {
      if (av_seek_frame(format_.get(), streamIndex_, seekTicks, AVSEEK_FLAG_BACKWARD) < 0) {
        throw std::runtime_error("seeking failed");
      }
      avcodec_flush_buffers(decoder_.get());
      demuxerEnded_ = false;
      const AVFrame* frame = nextFrame();
      if (!frame) return nullptr;
      if (presentationTicks(*frame) <= ticks || seekTicks <= startTicks()) break;
      seekTicks -= backoff;
      backoff *= 2;
    }
    for (;;) {
      const int64_t start = presentationTicks(*frame_);
      if (frame_->pkt_duration > 0 && start + frame_->pkt_duration > ticks) return frame_.get();
      // The frame's end is not known without its duration: the next frame settles it.
      held_.reset(av_frame_clone(frame_.get()));
      const AVFrame* next = nextFrame();
      if (!next) return held_.get();
      // The held frame covers the target (or is the first frame, when the target lies
      // before the stream's start).
      if (presentationTicks(*next) > ticks) return held_.get();
    }
  }

  static int64_t presentationTicks(const AVFrame& frame) {
    return frame.best_effort_timestamp != AV_NOPTS_VALUE ? frame.best_effort_timestamp : frame.pts;
  }

 private:
  InputContextPtr format_;
  CodecContextPtr decoder_;
  PacketPtr packet_;
  FramePtr frame_;
  FramePtr held_;
  AVStream* stream_ = nullptr;
  int streamIndex_ = -1;
  bool demuxerEnded_ = false;
};

// Whether the luma planes of two pictures of the same size are identical.
inline bool sameLuma(const AVFrame& a, const AVFrame& b) {
  if (a.width != b.width || a.height != b.height) return false;
  for (int row = 0; row < a.height; ++row) {
    if (std::memcmp(a.data[0] + row * a.linesize[0], b.data[0] + row * b.linesize[0],
                    static_cast<size_t>(a.width)) != 0) {
      return false;
    }
  }
  return true;
}

}  // namespace reelcraft::bench
