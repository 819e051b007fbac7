#include "media/save/passthrough_track_copier.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <numeric>
#include <stdexcept>

#include "media/base/media_error.h"
#include "media/save/passthrough_silence.h"
#include "media/model/stream_time.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mathematics.h>
}

namespace reelcraft {
namespace {

__extension__ using Int128 = __int128;

bool isPcm(AVCodecID id) {
  return id >= AV_CODEC_ID_FIRST_AUDIO && id < AV_CODEC_ID_ADPCM_IMA_QT;
}

// a × b / c rounded to nearest, in 128-bit arithmetic.
int64_t scaleRounded(Int128 a, Int128 b, Int128 c) {
  if (c < 0) {
    b = -b;
    c = -c;
  }
  const Int128 product = a * b;
  const Int128 half = c / 2;
  return static_cast<int64_t>(product >= 0 ? (product + half) / c : -((-product + half) / c));
}

int64_t ticksAtOrAfter(MediaTime t, AVRational timeBase) {
  const int64_t ticks = ticksAtOrBefore(t, timeBase);
  return compare(timeFromTicks(ticks, timeBase), t) < 0 ? ticks + 1 : ticks;
}

// Opens a source for reading its packets. Unlike openInputFile it does not probe the streams
// by decoding: the container's headers say all that copying needs.
InputFilePtr openForCopying(const SourceTrack& source) {
  AVFormatContext* raw = avformat_alloc_context();
  if (!raw) throw std::bad_alloc();
  // The container's samples are whole frames already: parsing them again only costs time.
  raw->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
  // Sound is usually stored in small chunks between the video's: seek over the video rather
  // than read through it.
  if (source.mediaType == MediaType::Audio) raw->avio_flags |= AVIO_FLAG_DIRECT;
  const std::string url = "file:" + source.readPath();
  const int result = avformat_open_input(&raw, url.c_str(), nullptr, nullptr);
  if (result < 0) {
    throwMediaError(result == AVERROR(ENOENT)   ? MediaErrorCode::FileNotFound
                    : result == AVERROR(EACCES) ? MediaErrorCode::PermissionDenied
                                                : MediaErrorCode::Damaged,
                    source.path);
  }
  return InputFilePtr(raw);
}

// Whether libavformat's QuickTime muxer writes the video packets of `codec` byte for byte,
// without reformatting or parsing them: then a sample's size and bytes are its packet's.
bool muxerWritesPacketsAsTheyAre(const AVCodecParameters& codec) {
  switch (codec.codec_id) {
    case AV_CODEC_ID_H264:
    case AV_CODEC_ID_HEVC:
      // Length-prefixed NAL units (avcC, hvcC); start codes would be converted.
      return codec.extradata_size > 0 && codec.extradata[0] == 1;
    case AV_CODEC_ID_MJPEG:
    case AV_CODEC_ID_PRORES:
    case AV_CODEC_ID_MPEG4:
      return true;
    default:
      return false;
  }
}

// The largest distance between decoding and presenting a frame over the first packets of a
// stream, in seconds.
double reorderDelaySeconds(AVFormatContext& file, int streamIndex) {
  for (unsigned i = 0; i < file.nb_streams; ++i) {
    file.streams[i]->discard =
        static_cast<int>(i) == streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  PacketPtr packet = allocatePacket();
  int64_t largest = 0;
  for (int read = 0; read < 120 && av_read_frame(&file, packet.get()) >= 0;) {
    if (packet->stream_index == streamIndex) {
      ++read;
      if (packet->pts != AV_NOPTS_VALUE && packet->dts != AV_NOPTS_VALUE) {
        largest = std::max(largest, packet->pts - packet->dts);
      }
    }
    av_packet_unref(packet.get());
  }
  return largest * av_q2d(file.streams[streamIndex]->time_base);
}

}  // namespace

void PassthroughTrackCopier::setOutputTimeBase(AVRational timeBase) {
  outputTimeBase_ = timeBase;
  double largestStretch = 1;
  for (const TrackSegment& segment : segments_) {
    if (segment.isEmpty() || !segment.sourceRange.duration.isNumeric()) continue;
    const double seconds = segment.sourceRange.duration.seconds();
    if (seconds > 0) {
      largestStretch = std::max(largestStretch, segment.targetRange.duration.seconds() / seconds);
    }
  }
  presentationDelay_ =
      static_cast<int64_t>(std::ceil(maxReorderSeconds_ * largestStretch / av_q2d(timeBase)));
}

PassthroughTrackCopier::PassthroughTrackCopier(const AssetTrack& track)
    : segments_(track.segments.toVector()), track_(track) {
  std::map<std::pair<std::string, int>, AVRational> timeBases;
  for (size_t i = 0; i < segments_.size(); ++i) {
    const TrackSegment& segment = segments_[i];
    if (segment.isEmpty()) continue;
    lastMediaSegment_ = i;
    if (!codec_) codec_ = segment.source->codecParameters;
    const auto key = std::make_pair(segment.source->readPath(), segment.source->streamIndex);
    if (!timeBases.count(key)) {
      InputFilePtr file = openForCopying(*segment.source);
      if (key.second < 0 || key.second >= static_cast<int>(file->nb_streams)) {
        throwMediaError(MediaErrorCode::Damaged, segment.source->path);
      }
      timeBases[key] = file->streams[key.second]->time_base;
      if (segment.source->mediaType == MediaType::Video) {
        maxReorderSeconds_ = std::max(maxReorderSeconds_, reorderDelaySeconds(*file, key.second));
      }
      if (!input_) useSource(std::move(file), segment.source);  // the first segment's, most often
    }
  }
  if (!codec_) throw std::logic_error("PassthroughTrackCopier: a track without media");
  gapAfter_.assign(segments_.size(), MediaTime::zero());
  innerGap_.assign(segments_.size(), false);
  bool mediaBefore = false;
  for (size_t i = 0; i < segments_.size(); ++i) {
    if (!segments_[i].isEmpty()) {
      mediaBefore = true;
      continue;
    }
    innerGap_[i] = mediaBefore && i < lastMediaSegment_;
    if (!innerGap_[i]) continue;
    size_t owner = i;
    while (segments_[owner].isEmpty()) --owner;
    gapAfter_[owner] = add(gapAfter_[owner], segments_[i].targetRange.duration);
  }
  if (codec_->codec_type == AVMEDIA_TYPE_VIDEO) {
    kind_ = Kind::Video;
    sharesSamples_ = muxerWritesPacketsAsTheyAre(*codec_);
    // A time base that holds every source's timestamps exactly, when one fits.
    int64_t denominator = 1;
    for (const auto& [key, base] : timeBases) {
      const int64_t next = std::lcm(denominator, static_cast<int64_t>(base.den));
      if (base.num != 1 || next > INT32_MAX) {
        denominator = timeBases.begin()->second.den;
        break;
      }
      denominator = next;
    }
    outputTimeBase_ = {1, static_cast<int>(denominator)};
  } else {
    kind_ = isPcm(codec_->codec_id) ? Kind::Pcm : Kind::CompressedAudio;
    sampleRate_ = codec_->sample_rate;
    outputTimeBase_ = {1, sampleRate_};
  }
}

AVRational PassthroughTrackCopier::preferredTimeBase() const {
  return outputTimeBase_;
}

bool PassthroughTrackCopier::next(PacketPtr& packet) {
  fill();
  if (ready_.empty()) return false;
  packet = std::move(ready_.front());
  ready_.pop_front();
  return true;
}

void PassthroughTrackCopier::fill() {
  while (ready_.empty() && segmentIndex_ < segments_.size()) {
    if (!segmentStarted_) {
      startSegment();
      continue;
    }
    PacketPtr packet;
    if (reencoding_) {
      if (rangeEncoder_->next(packet)) {
        emitReencodedAudio(std::move(packet));
      } else {
        finishSegment();
      }
      continue;
    }
    if (!readSourcePacket(packet)) {
      if (kind_ == Kind::CompressedAudio && !startChosen_) chooseAudioStart(nullptr);
      if (kind_ == Kind::Video) releaseVideo();
      finishSegment();
      continue;
    }
    switch (kind_) {
      case Kind::Video:
        handleVideo(std::move(packet));
        break;
      case Kind::CompressedAudio:
        handleCompressedAudio(std::move(packet));
        break;
      case Kind::Pcm:
        handlePcm(std::move(packet));
        break;
    }
  }
}

void PassthroughTrackCopier::openSource(const std::shared_ptr<const SourceTrack>& source) {
  const int streamIndex = source->streamIndex;
  if (input_ && source->readPath() == inputSource_->readPath() && streamIndex == streamIndex_) {
    return;
  }
  input_.reset();
  useSource(openForCopying(*source), source);
}

void PassthroughTrackCopier::useSource(InputFilePtr file,
                                       const std::shared_ptr<const SourceTrack>& source) {
  forgetRecent();
  input_ = std::move(file);
  inputSource_ = source;
  const int streamIndex = source->streamIndex;
  if (streamIndex < 0 || streamIndex >= static_cast<int>(input_->nb_streams)) {
    throwMediaError(MediaErrorCode::Damaged, source->path);
  }
  streamIndex_ = streamIndex;
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    input_->streams[i]->discard =
        static_cast<int>(i) == streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  sourceTimeBase_ = input_->streams[streamIndex]->time_base;
}

void PassthroughTrackCopier::seekSource(int64_t ticks) {
  forgetRecent();
  sourceAtEnd_ = false;
  if (av_seek_frame(input_.get(), streamIndex_, ticks, AVSEEK_FLAG_BACKWARD) < 0) {
    // Before the first sample: read from the beginning.
    const std::shared_ptr<const SourceTrack> source = inputSource_;
    input_.reset();
    openSource(source);
  }
}

bool PassthroughTrackCopier::readSourcePacket(PacketPtr& packet) {
  if (!replay_.empty()) {
    packet = std::move(replay_.front());
    replay_.pop_front();
    return true;
  }
  if (sourceAtEnd_) return false;
  packet = allocatePacket();
  while (true) {
    const int result = av_read_frame(input_.get(), packet.get());
    if (result == AVERROR_EOF) {
      sourceAtEnd_ = true;
      return false;
    }
    if (result < 0) throwMediaError(MediaErrorCode::Damaged, inputSource_->path);
    if (packet->stream_index == streamIndex_ && packet->pts != AV_NOPTS_VALUE) {
      if (packet->dts == AV_NOPTS_VALUE) packet->dts = packet->pts;
      if (kind_ == Kind::Video) remember(*packet);
      return true;
    }
    av_packet_unref(packet.get());
  }
}

void PassthroughTrackCopier::startSegment() {
  const TrackSegment& segment = segments_[segmentIndex_];
  segmentStarted_ = true;
  pending_.clear();
  anchored_ = false;
  if (segment.isEmpty()) {
    if (kind_ != Kind::Video && innerGap_[segmentIndex_]) {
      fillGapWithSilence();
    } else {
      finishSegment();
    }
    return;
  }
  openSource(segment.source);
  const AVRational base = sourceTimeBase_;
  if (kind_ == Kind::Video) {
    segmentStart_ = ticksAtOrBefore(segment.sourceRange.start, base);
    segmentEnd_ = ticksAtOrAfter(segment.sourceRange.end(), base);
    frameDuration_ = 1;
    if (segment.source->minFrameDuration.isNumeric()) {
      frameDuration_ =
          std::max<int64_t>(1, ticksAtOrBefore(segment.source->minFrameDuration, base));
    }
    // Retiming factor: target duration over source duration.
    const MediaTime target = segment.targetRange.duration;
    const MediaTime source = segment.sourceRange.duration;
    int num = 1, den = 1;
    if (compare(target, source) != 0 && source.value != 0) {
      av_reduce(&num, &den, target.value * static_cast<int64_t>(source.timescale),
                static_cast<int64_t>(target.timescale) * source.value, INT32_MAX);
    }
    stretch_ = {num, den};
    // Packets decoded for the segment but shown after it move past the held last frame.
    trailingShift_ =
        av_rescale_q(ticksAtOrAfter(gapAfter_[segmentIndex_], base), base, outputTimeBase_);
    firstShownPts_ = INT64_MAX;
    neededPending_ = 0;
    decided_ = false;
    ptsShift_ = 0;
    seekAttempts_ = 0;
    if (canReplayFrom(segmentStart_)) {
      replayRecent();
      checkedSeek_ = true;  // the replay starts on the keyframe the segment needs
    } else {
      checkedSeek_ = false;
      seekSource(segmentStart_);
    }
    return;
  }

  targetStartSamples_ = samplePosition(segment.targetRange.start, sampleRate_);
  targetEndSamples_ = samplePosition(segment.targetRange.end(), sampleRate_);
  if (compare(segment.sourceRange.duration, segment.targetRange.duration) != 0) {
    startReencodedAudio();
    return;
  }
  const int64_t sourceStartSamples = samplePosition(segment.sourceRange.start, sampleRate_);
  if (kind_ == Kind::Pcm) {
    segmentStart_ = av_rescale_q(sourceStartSamples, {1, sampleRate_}, base);
    segmentEnd_ =
        segmentStart_ + av_rescale_q(targetEndSamples_ - outputPosition_, {1, sampleRate_}, base);
    copiedEnd_ = segmentStart_;
    seekSource(segmentStart_);
    return;
  }
  // Compressed audio: start where the content belongs, given where the output timeline is.
  desiredStart_ = av_rescale_q(sourceStartSamples + (outputPosition_ - targetStartSamples_),
                               {1, sampleRate_}, base);
  packetTicks_ =
      codec_->frame_size > 0 ? av_rescale_q(codec_->frame_size, {1, sampleRate_}, base) : 0;
  startChosen_ = false;
  audioStart_ = audioEnd_ = copiedEnd_ = 0;
  seekSource(desiredStart_ - 2 * std::max<int64_t>(packetTicks_, 1));
}

void PassthroughTrackCopier::finishSegment() {
  const TrackSegment& segment = segments_[segmentIndex_];
  if (segment.isEmpty()) {
    if (kind_ == Kind::Video) {
      if (innerGap_[segmentIndex_] && !edits_.empty() && edits_.back().mediaTime >= 0) {
        edits_.back().end = segment.targetRange.end();  // hold the last frame
      } else {
        edits_.push_back({segment.targetRange.start, segment.targetRange.end(), -1});
      }
    } else {
      const int64_t end = samplePosition(segment.targetRange.end(), sampleRate_);
      if (end > outputPosition_) {
        edits_.push_back(
            {MediaTime::make(outputPosition_, sampleRate_), MediaTime::make(end, sampleRate_), -1});
        outputPosition_ = end;
      }
    }
  } else if (reencoding_) {
    reencoding_ = false;
    if (reencodedSamples_ > 0) {
      edits_.push_back({MediaTime::make(outputPosition_, sampleRate_),
                        MediaTime::make(outputPosition_ + reencodedSamples_, sampleRate_),
                        reencodedBase_ + rangeEncoder_->preroll()});
      outputPosition_ += reencodedSamples_;
    }
  } else if (kind_ == Kind::Video) {
    if (firstShownPts_ == INT64_MAX) {
      edits_.push_back({segment.targetRange.start, segment.targetRange.end(), -1});
    } else {
      edits_.push_back({segment.targetRange.start, segment.targetRange.end(),
                        anchorOutput_ + retimed(firstShownPts_ - anchorSource_) + ptsShift_});
    }
  } else {
    const int64_t start = kind_ == Kind::Pcm ? segmentStart_ : audioStart_;
    const int64_t end = kind_ == Kind::Pcm ? copiedEnd_ : std::min(audioEnd_, copiedEnd_);
    const int64_t samples =
        anchored_ ? av_rescale_q(end - start, sourceTimeBase_, {1, sampleRate_}) : 0;
    if (samples > 0) {
      edits_.push_back(
          {MediaTime::make(outputPosition_, sampleRate_),
           MediaTime::make(outputPosition_ + samples, sampleRate_),
           anchorOutput_ + av_rescale_q(start - anchorSource_, sourceTimeBase_, outputTimeBase_)});
      outputPosition_ += samples;
    }
  }
  pending_.clear();
  segmentStarted_ = false;
  ++segmentIndex_;
}

void PassthroughTrackCopier::remember(const AVPacket& packet) {
  if (packet.flags & AV_PKT_FLAG_KEY) {
    forgetRecent();
  } else if (recent_.empty()) {
    return;  // nothing to replay before the next keyframe
  }
  if (recentBytes_ + packet.size > kMaxRecentBytes) {
    forgetRecent();
    return;
  }
  PacketPtr reference = allocatePacket();
  if (av_packet_ref(reference.get(), &packet) < 0) throw std::bad_alloc();
  recentBytes_ += packet.size;
  recentByDts_[packet.dts] = recent_.size();
  recent_.push_back({std::move(reference), -1});
}

void PassthroughTrackCopier::forgetRecent() {
  recent_.clear();
  recentBytes_ = 0;
  replay_.clear();
  recentByDts_.clear();
}

bool PassthroughTrackCopier::canReplayFrom(int64_t start) const {
  if (recent_.empty() || !replay_.empty()) return false;
  // The keyframe a seek would find: the last one decoded at or before the start, which must
  // also be shown at or before it.
  const AVIndexEntry* keyframe = avformat_index_get_entry_from_timestamp(
      input_->streams[streamIndex_], start, AVSEEK_FLAG_BACKWARD);
  const AVPacket& first = *recent_.front().packet;
  return keyframe && keyframe->timestamp == first.dts && first.pts <= start;
}

void PassthroughTrackCopier::makeStandIn(AVPacket& packet) {
  PacketPtr standIn = allocatePacket();
  if (av_new_packet(standIn.get(), 1) < 0) throw std::bad_alloc();
  standIn->data[0] = 0;
  standIn->pts = packet.pts;
  standIn->dts = packet.dts;
  standIn->duration = packet.duration;
  standIn->flags = packet.flags;
  standIn->time_base = packet.time_base;
  av_packet_unref(&packet);
  av_packet_move_ref(&packet, standIn.get());
}

void PassthroughTrackCopier::replayRecent() {
  for (const RecentPacket& recent : recent_) {
    PacketPtr copy = allocatePacket();
    if (recent.writtenAs < 0) {
      if (av_packet_ref(copy.get(), recent.packet.get()) < 0) throw std::bad_alloc();
    } else {
      // Written already: it comes back as a stand-in, which needs no bytes but must know its
      // sample even once a later keyframe has made the copier forget the recent packets.
      if (av_packet_copy_props(copy.get(), recent.packet.get()) < 0) throw std::bad_alloc();
      copy->opaque = reinterpret_cast<void*>(static_cast<intptr_t>(recent.writtenAs + 1));
    }
    replay_.push_back(std::move(copy));
  }
}

int64_t PassthroughTrackCopier::retimed(int64_t sourceTicks) const {
  return scaleRounded(
      sourceTicks, static_cast<Int128>(sourceTimeBase_.num) * stretch_.num * outputTimeBase_.den,
      static_cast<Int128>(sourceTimeBase_.den) * stretch_.den * outputTimeBase_.num);
}

void PassthroughTrackCopier::handleVideo(PacketPtr packet) {
  if (!checkedSeek_) {
    // The demuxer seeks by decode time: with reordered frames it may land one keyframe late.
    checkedSeek_ = true;
    const bool late = !(packet->flags & AV_PKT_FLAG_KEY) || packet->pts > segmentStart_;
    if (late && seekAttempts_ < 16) {
      ++seekAttempts_;
      const int64_t earlier = std::min(packet->pts, packet->dts) - 1;
      forgetRecent();
      if (av_seek_frame(input_.get(), streamIndex_, earlier, AVSEEK_FLAG_BACKWARD) >= 0) {
        PacketPtr first;
        if (readSourcePacket(first) && first->dts < packet->dts) {
          checkedSeek_ = false;
          handleVideo(std::move(first));
          return;
        }
      }
      seekSource(segmentStart_);  // no earlier keyframe: keep the first one
      PacketPtr again;
      if (!readSourcePacket(again)) return;
      packet = std::move(again);
    }
  }
  if (packet->dts >= segmentEnd_) {
    // Presentation never precedes decoding: no later packet shows a frame of the segment.
    releaseVideo();
    finishSegment();
    return;
  }
  const int64_t duration = packet->duration > 0 ? packet->duration : frameDuration_;
  const bool shown = packet->pts < segmentEnd_ && packet->pts + duration > segmentStart_;
  const int64_t dts = packet->dts;
  pending_.push_back(std::move(packet));
  if (shown) {
    if (firstShownPts_ == INT64_MAX) firstShownDts_ = dts;
    firstShownPts_ = std::min(firstShownPts_, pending_.back()->pts);
    neededPending_ = pending_.size();
  }
  // Every frame shown at the segment's start has been read once decoding passes the start.
  if (decided_ ? shown : (neededPending_ > 0 && dts > segmentStart_)) releaseVideo();
}

void PassthroughTrackCopier::releaseVideo() {
  if (!decided_) {
    decided_ = true;
    if (firstShownPts_ == INT64_MAX) return;
    // FFmpeg's demuxer times each edit from the decode time of its first shown packet: give
    // every segment's samples the composition offset that puts its first shown frame the
    // same distance (the largest reordering delay of the sources) after that decode time.
    const int64_t distance = retimed(firstShownPts_ - firstShownDts_);
    int64_t minimumOffset = INT64_MAX;
    for (const PacketPtr& pending : pending_) {
      minimumOffset = std::min(minimumOffset, retimed(pending->pts - pending->dts));
    }
    const int64_t shift = std::max(presentationDelay_ - distance, -minimumOffset);
    ptsShift_ = shift;
  }
  for (; neededPending_ > 0; --neededPending_) {
    emitVideo(std::move(pending_.front()));
    pending_.pop_front();
  }
}

void PassthroughTrackCopier::emitVideo(PacketPtr packet) {
  const int64_t sample = videoSamples_++;
  if (packet->opaque) {
    // A replay of a packet already written (only made when samples may be shared).
    sharedSamples_.push_back({sample, reinterpret_cast<intptr_t>(packet->opaque) - 1});
    makeStandIn(*packet);
  } else if (sharesSamples_) {
    const auto found = recentByDts_.find(packet->dts);
    if (found != recentByDts_.end()) {
      RecentPacket& recent = recent_[found->second];
      if (recent.writtenAs >= 0) {
        sharedSamples_.push_back({sample, recent.writtenAs});
        makeStandIn(*packet);
      } else {
        // Written now: a replay of it will share these bytes, so it needs no copy of them.
        recent.writtenAs = sample;
        recentBytes_ -= recent.packet->size;
        av_buffer_unref(&recent.packet->buf);
        recent.packet->data = nullptr;
        recent.packet->size = 0;
      }
    }
  }
  if (!anchored_) {
    anchored_ = true;
    anchorSource_ = packet->dts;
    // After everything written so far, in decode and in presentation order.
    anchorOutput_ = std::max(nextDts_, mediaEnd_);
  }
  const int64_t duration =
      std::max<int64_t>(1, retimed(packet->duration > 0 ? packet->duration : frameDuration_));
  int64_t dts = anchorOutput_ + retimed(packet->dts - anchorSource_);
  int64_t pts = anchorOutput_ + retimed(packet->pts - anchorSource_) + ptsShift_;
  if (packet->pts >= segmentEnd_) pts += trailingShift_;
  if (dts <= lastDts_) dts = lastDts_ + 1;
  pts = std::max(pts, dts);
  packet->dts = dts;
  packet->pts = pts;
  packet->duration = duration;
  packet->pos = -1;
  av_packet_free_side_data(packet.get());
  lastDts_ = dts;
  nextDts_ = std::max(nextDts_, dts + duration);
  mediaEnd_ = std::max(mediaEnd_, pts + duration);
  ready_.push_back(std::move(packet));
}

void PassthroughTrackCopier::emitAudio(PacketPtr packet) {
  if (!anchored_) {
    anchored_ = true;
    anchorSource_ = packet->pts;
    anchorOutput_ = nextDts_;
  }
  const int64_t sourceDuration = packet->duration > 0 ? packet->duration : packetTicks_;
  const int64_t pts =
      anchorOutput_ + av_rescale_q(packet->pts - anchorSource_, sourceTimeBase_, outputTimeBase_);
  packet->pts = packet->dts = std::max(pts, lastDts_ + 1);
  packet->duration = av_rescale_q(sourceDuration, sourceTimeBase_, outputTimeBase_);
  packet->pos = -1;
  packet->flags &= ~AV_PKT_FLAG_DISCARD;
  av_packet_free_side_data(packet.get());
  lastDts_ = packet->dts;
  nextDts_ = packet->dts + packet->duration;
  mediaEnd_ = nextDts_;
  ready_.push_back(std::move(packet));
}

void PassthroughTrackCopier::chooseAudioStart(PacketPtr* next) {
  startChosen_ = true;
  // The boundary nearest the wanted start: the last packet before it or the one at/after it.
  const AVPacket* before = pending_.empty() ? nullptr : pending_.back().get();
  const AVPacket* after = next ? next->get() : nullptr;
  bool startAtBefore = after == nullptr;
  if (before && after) {
    startAtBefore = desiredStart_ - before->pts < after->pts - desiredStart_;
  }
  if (!before && !after) return;
  audioStart_ = startAtBefore ? before->pts : after->pts;

  // Whole packets to where the composition's timeline is, except at the track's end.
  const int64_t packetSamples =
      std::max<int64_t>(1, av_rescale_q(packetTicks_, sourceTimeBase_, {1, sampleRate_}));
  const int64_t remaining = targetEndSamples_ - outputPosition_;
  int64_t samples = remaining;
  if (segmentIndex_ != lastMediaSegment_) {
    samples = (remaining + packetSamples / 2) / packetSamples * packetSamples;
  }
  audioEnd_ = audioStart_ + av_rescale_q(samples, {1, sampleRate_}, sourceTimeBase_);
  if (samples <= 0) {
    pending_.clear();
    return;
  }
  // One packet of pre-roll, which players decode and drop, so the first one sounds right.
  const size_t keep = startAtBefore ? 2 : 1;
  while (pending_.size() > keep) pending_.pop_front();
  while (!pending_.empty()) {
    copiedEnd_ = pending_.front()->pts +
                 (pending_.front()->duration > 0 ? pending_.front()->duration : packetTicks_);
    emitAudio(std::move(pending_.front()));
    pending_.pop_front();
  }
}

void PassthroughTrackCopier::startReencodedAudio() {
  // The same length rules as copied audio: whole packets up to where the composition's
  // timeline is (exact for PCM and at the track's end), starting at the output's position.
  const int64_t remaining = targetEndSamples_ - outputPosition_;
  int64_t samples = remaining;
  if (kind_ == Kind::CompressedAudio && segmentIndex_ != lastMediaSegment_) {
    const int64_t packetSamples = codec_->frame_size > 0 ? codec_->frame_size : 1024;
    samples = (remaining + packetSamples / 2) / packetSamples * packetSamples;
  }
  reencodedSamples_ = std::max<int64_t>(0, samples);
  if (reencodedSamples_ == 0) {
    finishSegment();
    return;
  }
  if (!rangeEncoder_)
    rangeEncoder_ = std::make_unique<PassthroughAudioRangeEncoder>(track_, *codec_);
  rangeEncoder_->start(outputPosition_, reencodedSamples_);
  reencodedBase_ = nextDts_;
  reencoding_ = true;
}

void PassthroughTrackCopier::emitReencodedAudio(PacketPtr packet) {
  packet->pts = packet->dts = std::max(reencodedBase_ + packet->pts, lastDts_ + 1);
  packet->pos = -1;
  lastDts_ = packet->dts;
  nextDts_ = packet->dts + packet->duration;
  mediaEnd_ = nextDts_;
  ready_.push_back(std::move(packet));
}

void PassthroughTrackCopier::handleCompressedAudio(PacketPtr packet) {
  if (packetTicks_ <= 0) packetTicks_ = packet->duration > 0 ? packet->duration : 1024;
  if (!startChosen_) {
    if (packet->pts < desiredStart_) {
      pending_.push_back(std::move(packet));
      while (pending_.size() > 2) pending_.pop_front();
      return;
    }
    chooseAudioStart(&packet);
  }
  if (audioEnd_ <= audioStart_ || packet->pts >= audioEnd_) {
    finishSegment();
    return;
  }
  copiedEnd_ = packet->pts + (packet->duration > 0 ? packet->duration : packetTicks_);
  emitAudio(std::move(packet));
}

void PassthroughTrackCopier::fillGapWithSilence() {
  const TrackSegment& segment = segments_[segmentIndex_];
  const int64_t remaining =
      samplePosition(segment.targetRange.end(), sampleRate_) - outputPosition_;
  int64_t samples = 0;
  const int64_t mediaTime = nextDts_;
  if (kind_ == Kind::Pcm) {
    const int blockAlign = codec_->block_align;
    const uint8_t zero = codec_->codec_id == AV_CODEC_ID_PCM_U8 ? 0x80 : 0;
    for (int64_t done = 0; done < remaining && blockAlign > 0;) {
      const int64_t count = std::min<int64_t>(remaining - done, 4096);
      PacketPtr packet = allocatePacket();
      if (av_new_packet(packet.get(), static_cast<int>(count * blockAlign)) < 0) {
        throw std::bad_alloc();
      }
      std::fill_n(packet->data, count * blockAlign, zero);
      packet->flags = AV_PKT_FLAG_KEY;
      packet->pts = packet->dts = nextDts_;
      packet->duration = count;
      lastDts_ = nextDts_;
      nextDts_ += count;
      ready_.push_back(std::move(packet));
      done += count;
      samples = done;
    }
  } else {
    if (!silenceTried_) {
      silenceTried_ = true;
      silence_ = encodedSilencePacket(*codec_);
    }
    const int64_t packetSamples = codec_->frame_size > 0 ? codec_->frame_size : 1024;
    if (silence_) {
      const int64_t count = (remaining + packetSamples / 2) / packetSamples;
      for (int64_t i = 0; i < count; ++i) {
        PacketPtr packet = allocatePacket();
        if (av_new_packet(packet.get(), static_cast<int>(silence_->size())) < 0) {
          throw std::bad_alloc();
        }
        std::copy(silence_->begin(), silence_->end(), packet->data);
        packet->flags = AV_PKT_FLAG_KEY;
        packet->pts = packet->dts = nextDts_;
        packet->duration = packetSamples;
        lastDts_ = nextDts_;
        nextDts_ += packetSamples;
        ready_.push_back(std::move(packet));
      }
      samples = count * packetSamples;
    }
  }
  mediaEnd_ = nextDts_;
  if (samples > 0) {
    edits_.push_back({MediaTime::make(outputPosition_, sampleRate_),
                      MediaTime::make(outputPosition_ + samples, sampleRate_), mediaTime});
    outputPosition_ += samples;
  } else if (remaining > 0 && !silence_ && kind_ != Kind::Pcm) {
    finishSegment();  // no silence to copy: leave empty time
    return;
  }
  segmentStarted_ = false;
  ++segmentIndex_;
}

void PassthroughTrackCopier::handlePcm(PacketPtr packet) {
  const int blockAlign = codec_->block_align > 0
                             ? codec_->block_align
                             : codec_->ch_layout.nb_channels *
                                   std::max(1, av_get_bits_per_sample(codec_->codec_id) / 8);
  const int64_t count = packet->size / blockAlign;
  const int64_t first = packet->pts;
  if (first >= segmentEnd_) {
    finishSegment();
    return;
  }
  const int64_t from = std::max(first, copiedEnd_);
  const int64_t to = std::min(first + count, segmentEnd_);
  if (to <= from) return;
  PacketPtr slice = allocatePacket();
  if (av_new_packet(slice.get(), static_cast<int>((to - from) * blockAlign)) < 0) {
    throw std::bad_alloc();
  }
  std::copy_n(packet->data + (from - first) * blockAlign, (to - from) * blockAlign, slice->data);
  slice->flags = AV_PKT_FLAG_KEY;
  if (!anchored_) {
    anchored_ = true;
    anchorSource_ = segmentStart_;
    anchorOutput_ = nextDts_;
  }
  slice->pts = slice->dts = anchorOutput_ + (from - segmentStart_);
  slice->duration = to - from;
  copiedEnd_ = to;
  lastDts_ = slice->dts;
  nextDts_ = slice->dts + slice->duration;
  mediaEnd_ = nextDts_;
  ready_.push_back(std::move(slice));
  if (to >= segmentEnd_) finishSegment();
}

}  // namespace reelcraft
