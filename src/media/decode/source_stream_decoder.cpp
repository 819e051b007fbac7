#include "media/decode/source_stream_decoder.h"

#include <algorithm>
#include <utility>

#include "media/base/media_error.h"
#include "media/model/stream_time.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

// FFmpeg's frame threads hand frames over with atomics that a ThreadSanitizer build cannot see
// in the uninstrumented libraries, so every handover would be reported as a race. Such builds
// decode on the calling thread; the results are the same.
#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizerBuild = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kThreadSanitizerBuild = true;
#else
constexpr bool kThreadSanitizerBuild = false;
#endif
#else
constexpr bool kThreadSanitizerBuild = false;
#endif

// Audio decoders need a little signal before a seek target to settle (AAC frames overlap
// their neighbours), so audio is decoded from this many samples earlier.
constexpr int kAudioPrerollSamples = 4096;

AVStream* findStream(AVFormatContext& input, const SourceTrack& source) {
  if (source.streamIndex < 0 || source.streamIndex >= static_cast<int>(input.nb_streams)) {
    return nullptr;
  }
  AVStream* stream = input.streams[source.streamIndex];
  const AVMediaType expected =
      source.mediaType == MediaType::Video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
  if (stream->codecpar->codec_type != expected) return nullptr;
  if (source.codecParameters && source.codecParameters->codec_id != stream->codecpar->codec_id) {
    return nullptr;
  }
  for (unsigned i = 0; i < input.nb_streams; ++i) {
    if (input.streams[i] != stream) input.streams[i]->discard = AVDISCARD_ALL;
  }
  return stream;
}

}  // namespace

SourceStreamDecoder::SourceStreamDecoder(std::shared_ptr<const SourceTrack> source)
    : source_(std::move(source)) {
  if (source_->mediaType != MediaType::Video && source_->mediaType != MediaType::Audio) {
    throwMediaError(MediaErrorCode::NoPlayableTracks, source_->path);
  }
  input_ = openInputFile(*source_);
  stream_ = findStream(*input_, *source_);
  if (!stream_) throwMediaError(MediaErrorCode::Damaged, source_->path);
  isVideo_ = source_->mediaType == MediaType::Video;

  const AVCodec* codec = avcodec_find_decoder(stream_->codecpar->codec_id);
  if (!codec) throwMediaError(MediaErrorCode::UnsupportedCodec, source_->path);
  decoder_.reset(avcodec_alloc_context3(codec));
  if (!decoder_) throw std::bad_alloc();
  if (avcodec_parameters_to_context(decoder_.get(), stream_->codecpar) < 0) {
    throwMediaError(MediaErrorCode::Damaged, source_->path);
  }
  decoder_->pkt_timebase = stream_->time_base;
  // Frame threading keeps the output order and content of a single-threaded decoder; it
  // only delays the output by a few frames.
  decoder_->thread_count = isVideo_ && !kThreadSanitizerBuild ? 0 : 1;
  if (avcodec_open2(decoder_.get(), codec, nullptr) < 0) {
    throwMediaError(MediaErrorCode::UnsupportedCodec, source_->path);
  }
  packet_ = allocatePacket();
}

SourceStreamDecoder::~SourceStreamDecoder() = default;

void SourceStreamDecoder::seek(MediaTime t) {
  if (!t.isNumeric()) t = t.isPositiveInfinity() ? t : MediaTime::zero();
  if (positioned_ && canDecodeOnTo(t)) {
    if (lastTaken_ && compare(lastTaken_->end(), t) > 0) {
      decoded_.push_front(std::move(*lastTaken_));
    }
    lastTaken_.reset();
    dropBefore_ = t;
    return;
  }
  seekDemuxer(t);
}

bool SourceStreamDecoder::canDecodeOnTo(MediaTime t) const {
  // Frames before the last one taken are gone.
  const MediaTime earliest = lastTaken_ ? lastTaken_->time : dropBefore_;
  if (compare(t, earliest) < 0) return false;
  if (!t.isNumeric()) return true;
  // When a keyframe lies between what has been read and the target, the demuxer gets there
  // sooner than the decoder.
  const AVIndexEntry* keyframe = avformat_index_get_entry_from_timestamp(
      stream_, ticksAtOrBefore(t, stream_->time_base), AVSEEK_FLAG_BACKWARD);
  return !keyframe || keyframe->timestamp <= lastPacketDts_;
}

void SourceStreamDecoder::seekDemuxer(MediaTime t) {
  decoded_.clear();
  lastTaken_.reset();
  dropBefore_ = t;
  positioned_ = true;
  if (t.isPositiveInfinity()) {
    demuxerEnded_ = decoderEnded_ = true;
    return;
  }
  int64_t ticks = ticksAtOrBefore(t, stream_->time_base);
  if (!isVideo_ && stream_->codecpar->sample_rate > 0) {
    ticks -= av_rescale_q(kAudioPrerollSamples, AVRational{1, stream_->codecpar->sample_rate},
                          stream_->time_base);
  }
  seekBackoffTicks_ = std::max<int64_t>(1, av_rescale_q(1, AVRational{1, 1}, stream_->time_base));
  seekToTicks(ticks);
}

void SourceStreamDecoder::seekToTicks(int64_t ticks) {
  decoded_.clear();
  nextExpectedTime_ = MediaTime::invalid();
  demuxerEnded_ = decoderEnded_ = false;
  reseekRequested_ = false;
  lastPacketDts_ = INT64_MIN;
  // Before the first sample, or when the demuxer cannot seek there, the file is read from its
  // start: a demuxer that searches the file for timestamps (no index) may land a group of
  // pictures late even when asked for the first sample.
  if (!beforeStreamStart(ticks) &&
      avformat_seek_file(input_.get(), stream_->index, INT64_MIN, ticks, ticks, 0) >= 0) {
    seekTicks_ = ticks;
  } else {
    restartFromBeginning();
  }
  avcodec_flush_buffers(decoder_.get());
}

void SourceStreamDecoder::restartFromBeginning() {
  input_ = openInputFile(*source_);
  stream_ = findStream(*input_, *source_);
  if (!stream_) throwMediaError(MediaErrorCode::Damaged, source_->path);
  seekTicks_.reset();
}

bool SourceStreamDecoder::beforeStreamStart(int64_t ticks) const {
  int64_t first = stream_->start_time != AV_NOPTS_VALUE ? stream_->start_time : 0;
  if (const AVIndexEntry* entry = avformat_index_get_entry(stream_, 0)) {
    first = std::min(first, entry->timestamp);
  }
  return ticks < first;
}

const SourceFrame* SourceStreamDecoder::peek() {
  while (true) {
    fillDecoded();
    if (decoded_.empty()) return nullptr;
    if (compare(decoded_.front().end(), dropBefore_) > 0) return &decoded_.front();
    decoded_.pop_front();
  }
}

SourceFrame SourceStreamDecoder::pop() {
  SourceFrame frame = std::move(decoded_.front());
  decoded_.pop_front();
  lastTaken_ = frame;
  return frame;
}

void SourceStreamDecoder::fillDecoded() {
  // A video frame's duration is settled by the next frame's time, so one frame is decoded
  // ahead.
  const size_t wanted = isVideo_ ? 2 : 1;
  while (decoded_.size() < wanted && decodeMore()) {
  }
}

bool SourceStreamDecoder::decodeMore() {
  if (reseekRequested_) {
    seekToTicks(*seekTicks_);
    return true;
  }
  if (decoderEnded_) return false;
  if (demuxerEnded_) {
    sendPacket(nullptr);
    receiveFrames();
    decoderEnded_ = true;
    // Nothing came out since the seek: without an index, the demuxer can land past the last
    // keyframe before the target, and nothing after it decodes.
    if (seekTicks_ && !reseekRequested_ && !beforeStreamStart(*seekTicks_)) seekFurtherBack();
    return true;
  }
  const int result = av_read_frame(input_.get(), packet_.get());
  if (result == AVERROR(EAGAIN)) return true;
  if (result == AVERROR(EIO) || result == AVERROR(ENOMEM)) {
    throwMediaError(MediaErrorCode::Damaged, source_->path);
  }
  if (result < 0) {
    // The end of the file, or damage that ends it early: what was read is played.
    demuxerEnded_ = true;
    return true;
  }
  if (packet_->stream_index == stream_->index) {
    if (packet_->dts != AV_NOPTS_VALUE) lastPacketDts_ = packet_->dts;
    if (isVideo_) {
      // Pictures that end before the target are never shown: let the decoder skip those
      // that no other picture refers to.
      decoder_->skip_frame =
          packetEndsBeforeTarget(*packet_) ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    }
    sendPacket(packet_.get());
    receiveFrames();
  }
  av_packet_unref(packet_.get());
  return true;
}

bool SourceStreamDecoder::packetEndsBeforeTarget(const AVPacket& packet) const {
  if (packet.pts == AV_NOPTS_VALUE || !dropBefore_.isNumeric()) return false;
  MediaTime end = timeFromTicks(packet.pts, stream_->time_base);
  end = add(end, packet.duration > 0 ? timeFromTicks(packet.duration, stream_->time_base)
                                     : nominalFrameDuration());
  return compare(end, dropBefore_) <= 0;
}

void SourceStreamDecoder::sendPacket(AVPacket* packet) {
  while (true) {
    const int result = avcodec_send_packet(decoder_.get(), packet);
    if (result == AVERROR(EAGAIN)) {
      receiveFrames();
      if (reseekRequested_) return;
      continue;
    }
    if (result >= 0 || result == AVERROR_EOF) return;
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    // A damaged packet: skip it, the decoder conceals what is missing.
    return;
  }
}

void SourceStreamDecoder::receiveFrames() {
  while (true) {
    FramePtr frame = allocateFrame();
    const int result = avcodec_receive_frame(decoder_.get(), frame.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (result < 0) continue;  // a picture that could not be decoded
    acceptFrame(std::move(frame));
  }
}

void SourceStreamDecoder::acceptFrame(FramePtr frame) {
  // Frames of packets the demuxer marked as lead-in: decoded as references, never shown.
  if (reseekRequested_ || (frame->flags & AV_FRAME_FLAG_DISCARD)) return;
  if (!isVideo_ && (frame->nb_samples <= 0 || frame->sample_rate <= 0)) return;

  MediaTime time;
  if (frame->best_effort_timestamp != AV_NOPTS_VALUE) {
    time = timeFromTicks(frame->best_effort_timestamp, stream_->time_base);
  } else {
    time = nextExpectedTime_.isValid() ? nextExpectedTime_ : source_->timeRange.start;
  }

  if (seekTicks_) {
    // The first frame after a seek must not start after the target, or the frame that
    // shows the target was missed: the demuxer chose a keyframe by decode time. Seek again
    // further back, from the start of the file at the latest.
    if (compare(time, dropBefore_) > 0 && !beforeStreamStart(*seekTicks_)) {
      seekFurtherBack();
      return;
    }
    seekTicks_.reset();
  }

  MediaTime duration;
  if (isVideo_) {
    if (!decoded_.empty() && compare(time, decoded_.back().time) <= 0) return;
    if (lastTaken_ && decoded_.empty() && compare(time, lastTaken_->time) <= 0) return;
    duration = frame->pkt_duration > 0 ? timeFromTicks(frame->pkt_duration, stream_->time_base)
                                       : nominalFrameDuration();
    if (!decoded_.empty()) decoded_.back().duration = subtract(time, decoded_.back().time);
  } else {
    duration = MediaTime::make(frame->nb_samples, frame->sample_rate);
  }
  nextExpectedTime_ = add(time, duration);
  decoded_.push_back(SourceFrame{std::shared_ptr<AVFrame>(std::move(frame)), time, duration});
}

void SourceStreamDecoder::seekFurtherBack() {
  seekTicks_ = *seekTicks_ - seekBackoffTicks_;
  seekBackoffTicks_ *= 2;
  reseekRequested_ = true;
}

MediaTime SourceStreamDecoder::nominalFrameDuration() const {
  if (source_->minFrameDuration.isNumeric() &&
      compare(source_->minFrameDuration, MediaTime::zero()) > 0) {
    return source_->minFrameDuration;
  }
  for (AVRational rate : {stream_->avg_frame_rate, stream_->r_frame_rate}) {
    if (rate.num > 0 && rate.den > 0) return MediaTime::make(rate.den, rate.num);
  }
  return MediaTime::make(1, 25);
}

}  // namespace reelcraft
