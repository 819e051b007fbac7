#include "media/save/audio_track_copier.h"

#include <algorithm>
#include <new>

#include "media/model/stream_time.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace reelcraft {

AudioTrackCopier::AudioTrackCopier(const AssetTrack& track)
    : PassthroughTrackCopier(track), track_(track) {
  openSources();
  sampleRate_ = codec_->sample_rate;
  outputTimeBase_ = {1, sampleRate_};
}

PacketPtr AudioTrackCopier::newPacket(int64_t size) {
  PacketPtr packet = allocatePacket();
  if (av_new_packet(packet.get(), static_cast<int>(size)) < 0) throw std::bad_alloc();
  packet->flags = AV_PKT_FLAG_KEY;
  return packet;
}

void AudioTrackCopier::writeAudio(PacketPtr packet) {
  nextDts_ = packet->dts + packet->duration;
  write(std::move(packet));
}

void AudioTrackCopier::writeAtEnd(PacketPtr packet, int64_t samples) {
  packet->pts = packet->dts = nextDts_;
  packet->duration = samples;
  writeAudio(std::move(packet));
}

void AudioTrackCopier::startEmptySegment(const TrackSegment& segment) {
  if (!isInnerGap()) {
    finishSegment();
    return;
  }
  const int64_t mediaTime = nextDts_;
  const std::optional<int64_t> samples =
      writeSilence(samplePosition(segment.targetRange.end(), sampleRate_) - outputPosition_);
  if (!samples) {
    finishSegment();  // no silence to copy: leave empty time
    return;
  }
  show(*samples, mediaTime);
  nextSegment();
}

void AudioTrackCopier::startMediaSegment(const TrackSegment& segment) {
  reader_.open(segment.source);
  targetStartSamples_ = samplePosition(segment.targetRange.start, sampleRate_);
  targetEndSamples_ = samplePosition(segment.targetRange.end(), sampleRate_);
  if (compare(segment.sourceRange.duration, segment.targetRange.duration) != 0) {
    startReencoding();
  } else {
    startCopying(samplePosition(segment.sourceRange.start, sampleRate_));
  }
}

void AudioTrackCopier::startReencoding() {
  // The same length rules as copied audio, starting at the end of the track's media.
  reencodedSamples_ = std::max<int64_t>(0, reencodedLength(targetEndSamples_ - outputPosition_));
  if (reencodedSamples_ == 0) {
    finishSegment();
    return;
  }
  if (!rangeEncoder_) {
    rangeEncoder_ = std::make_unique<PassthroughAudioRangeEncoder>(track_, *codec_);
  }
  rangeEncoder_->start(outputPosition_, reencodedSamples_);
  reencodedBase_ = nextDts_;
  reencoding_ = true;
}

void AudioTrackCopier::copyMore() {
  PacketPtr packet;
  if (reencoding_) {
    if (!rangeEncoder_->next(packet)) {
      finishSegment();
      return;
    }
    packet->pts = packet->dts = std::max(reencodedBase_ + packet->pts, lastDts_ + 1);
    packet->pos = -1;
    writeAudio(std::move(packet));
  } else if (reader_.read(packet)) {
    copyPacket(std::move(packet));
  } else {
    sourceEnded();
    finishSegment();
  }
}

void AudioTrackCopier::finishEmptySegment(const TrackSegment& segment) {
  show(samplePosition(segment.targetRange.end(), sampleRate_) - outputPosition_, -1);
}

void AudioTrackCopier::finishMediaSegment(const TrackSegment&) {
  if (reencoding_) {
    reencoding_ = false;
    show(reencodedSamples_, reencodedBase_ + rangeEncoder_->preroll());
  } else if (anchored_) {
    const auto [start, end] = copiedRange();
    const AVRational sourceTimeBase = copiedTimeBase();
    show(av_rescale_q(end - start, sourceTimeBase, {1, sampleRate_}),
         anchorOutput_ + av_rescale_q(start - anchorSource_, sourceTimeBase, outputTimeBase_));
  }
}

void AudioTrackCopier::show(int64_t samples, int64_t mediaTime) {
  if (samples <= 0) return;
  edits_.push_back({MediaTime::make(outputPosition_, sampleRate_),
                    MediaTime::make(outputPosition_ + samples, sampleRate_), mediaTime});
  outputPosition_ += samples;
}

}  // namespace reelcraft
