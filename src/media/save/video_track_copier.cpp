#include "media/save/video_track_copier.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <new>
#include <numeric>
#include <string>
#include <utility>

#include "media/model/stream_time.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mathematics.h>
}

namespace reelcraft {
namespace {

__extension__ using Int128 = __int128;

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

// The tick of `timeBase` nearest to `t`: containers store times rounded to their time base
// (Matroska to milliseconds), so a cut between two ticks belongs to the nearer one.
int64_t nearestTicks(MediaTime t, AVRational timeBase) {
  return av_rescale_rnd(t.value, timeBase.den, static_cast<int64_t>(t.timescale) * timeBase.num,
                        AV_ROUND_NEAR_INF);
}

int64_t ticksAtOrAfter(MediaTime t, AVRational timeBase) {
  const int64_t ticks = ticksAtOrBefore(t, timeBase);
  return compare(timeFromTicks(ticks, timeBase), t) < 0 ? ticks + 1 : ticks;
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

// Turns `packet` into a one-byte stand-in with the same timing and flags.
void makeStandIn(AVPacket& packet) {
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

}  // namespace

VideoTrackCopier::VideoTrackCopier(const AssetTrack& track) : PassthroughTrackCopier(track) {
  std::map<std::pair<std::string, int>, AVRational> timeBases;
  openSources([&](AVFormatContext& file, int streamIndex, const SourceTrack& source) {
    timeBases[{source.readPath(), streamIndex}] = file.streams[streamIndex]->time_base;
    if (source.mediaType == MediaType::Video) {
      const FrameReordering& reordering = reader_.reorderingOf(file, source);
      maxReorderSeconds_ =
          std::max(maxReorderSeconds_,
                   reordering.longestWait * av_q2d(file.streams[streamIndex]->time_base));
    }
  });
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
}

void VideoTrackCopier::setOutputTimeBase(AVRational timeBase) {
  PassthroughTrackCopier::setOutputTimeBase(timeBase);
  double largestStretch = 1;
  for (const TrackSegment& segment : segments()) {
    if (segment.isEmpty() || !segment.sourceRange.duration.isNumeric()) continue;
    const double seconds = segment.sourceRange.duration.seconds();
    if (seconds > 0) {
      largestStretch = std::max(largestStretch, segment.targetRange.duration.seconds() / seconds);
    }
  }
  presentationDelay_ =
      static_cast<int64_t>(std::ceil(maxReorderSeconds_ * largestStretch / av_q2d(timeBase)));
}

void VideoTrackCopier::startMediaSegment(const TrackSegment& segment) {
  if (reader_.open(segment.source)) recent_.forget();
  const AVRational base = reader_.timeBase();
  segmentStart_ = nearestTicks(segment.sourceRange.start, base);
  segmentEnd_ = nearestTicks(segment.sourceRange.end(), base);
  frameDuration_ = 1;
  if (segment.source->minFrameDuration.isNumeric()) {
    frameDuration_ = std::max<int64_t>(1, ticksAtOrBefore(segment.source->minFrameDuration, base));
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
  trailingShift_ = av_rescale_q(ticksAtOrAfter(gapAfter(), base), base, outputTimeBase_);
  firstShownPts_ = INT64_MAX;
  neededPending_ = 0;
  decided_ = false;
  ptsShift_ = 0;
  seekAttempts_ = 0;
  // A segment that begins in the group of pictures where the previous one ended shares its
  // lead-in: the packets from the keyframe on are replayed from memory, and those written
  // already become stand-ins for the samples that hold their bytes (see emit()).
  if (recent_.canReplayFrom(reader_.keyframeAtOrBefore(segmentStart_), segmentStart_)) {
    recent_.replay();
    checkedSeek_ = true;  // the replay starts on the keyframe the segment needs
  } else {
    checkedSeek_ = false;
    seek(segmentStart_);
  }
}

void VideoTrackCopier::copyMore() {
  PacketPtr packet;
  if (read(packet)) {
    handle(std::move(packet));
  } else {
    release();
    finishSegment();
  }
}

void VideoTrackCopier::finishEmptySegment(const TrackSegment& segment) {
  if (isInnerGap() && !edits_.empty() && edits_.back().mediaTime >= 0) {
    edits_.back().end = segment.targetRange.end();  // hold the last frame
  } else {
    edits_.push_back({segment.targetRange.start, segment.targetRange.end(), -1});
  }
}

void VideoTrackCopier::finishMediaSegment(const TrackSegment& segment) {
  if (firstShownPts_ == INT64_MAX) {
    edits_.push_back({segment.targetRange.start, segment.targetRange.end(), -1});
  } else {
    edits_.push_back({segment.targetRange.start, segment.targetRange.end(),
                      anchorOutput_ + retimed(firstShownPts_ - anchorSource_) + ptsShift_});
  }
  pending_.clear();
}

bool VideoTrackCopier::read(PacketPtr& packet) {
  if (recent_.nextReplayed(packet)) return true;
  if (!reader_.read(packet)) return false;
  recent_.remember(*packet);
  return true;
}

void VideoTrackCopier::seek(int64_t ticks) {
  recent_.forget();
  reader_.seek(ticks);
}

int64_t VideoTrackCopier::retimed(int64_t sourceTicks) const {
  const AVRational sourceTimeBase = reader_.timeBase();
  return scaleRounded(sourceTicks,
                      static_cast<Int128>(sourceTimeBase.num) * stretch_.num * outputTimeBase_.den,
                      static_cast<Int128>(sourceTimeBase.den) * stretch_.den * outputTimeBase_.num);
}

void VideoTrackCopier::handle(PacketPtr packet) {
  if (!checkedSeek_) {
    // The demuxer seeks by decode time: with reordered frames it may land one keyframe late.
    checkedSeek_ = true;
    const bool late = !(packet->flags & AV_PKT_FLAG_KEY) || packet->pts > segmentStart_;
    if (late && seekAttempts_ < 16) {
      ++seekAttempts_;
      const int64_t earlier = std::min(packet->pts, packet->dts) - 1;
      recent_.forget();
      if (reader_.trySeek(earlier)) {
        PacketPtr first;
        if (read(first) && first->dts < packet->dts) {
          checkedSeek_ = false;
          handle(std::move(first));
          return;
        }
      }
      seek(segmentStart_);  // no earlier keyframe: keep the first one
      PacketPtr again;
      if (!read(again)) return;
      packet = std::move(again);
    }
  }
  if (packet->dts >= segmentEnd_) {
    // Presentation never precedes decoding: no later packet shows a frame of the segment.
    release();
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
  if (decided_ ? shown : (neededPending_ > 0 && dts > segmentStart_)) release();
}

void VideoTrackCopier::release() {
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
    ptsShift_ = std::max(presentationDelay_ - distance, -minimumOffset);
  }
  for (; neededPending_ > 0; --neededPending_) {
    emit(std::move(pending_.front()));
    pending_.pop_front();
  }
}

void VideoTrackCopier::emit(PacketPtr packet) {
  const int64_t sample = samples_++;
  if (sharesSamples_) {
    // A packet written a second time (a shared lead-in replayed) becomes a one-byte stand-in
    // that the sample table points at the first copy's bytes.
    const int64_t sameAs = recent_.noteWritten(*packet, sample);
    if (sameAs >= 0) {
      sharedSamples_.push_back({sample, sameAs});
      makeStandIn(*packet);
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
  nextDts_ = std::max(nextDts_, dts + duration);
  mediaEnd_ = std::max(mediaEnd_, pts + duration);
  write(std::move(packet));
}

}  // namespace reelcraft
