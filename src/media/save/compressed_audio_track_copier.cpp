#include "media/save/compressed_audio_track_copier.h"

#include <algorithm>

#include "media/save/passthrough_silence.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mathematics.h>
}

namespace reelcraft {
namespace {

// `samples` rounded to the nearest whole number of packets of `packetSamples`.
int64_t wholePackets(int64_t samples, int64_t packetSamples) {
  return (samples + packetSamples / 2) / packetSamples * packetSamples;
}

}  // namespace

// Packets are copied whole, so a segment's sound rarely starts and ends exactly where the
// composition's timeline says. So that the errors never add up, each segment starts where its
// content belongs given where the track's media actually ends (outputPosition_, which may be up
// to half a packet off the segment's start), on the packet boundary nearest to that place, and
// copies the whole number of packets that brings the media nearest to the segment's end. Every
// joint is then within half a packet of its place, however many segments come before it.
void CompressedAudioTrackCopier::startCopying(int64_t sourceStart) {
  const AVRational base = reader_.timeBase();
  desiredStart_ =
      av_rescale_q(sourceStart + (outputPosition_ - targetStartSamples_), {1, sampleRate_}, base);
  packetTicks_ =
      codec_->frame_size > 0 ? av_rescale_q(codec_->frame_size, {1, sampleRate_}, base) : 0;
  startChosen_ = false;
  start_ = end_ = copiedEnd_ = 0;
  pending_.clear();
  reader_.seek(desiredStart_ - 2 * std::max<int64_t>(packetTicks_, 1));
}

void CompressedAudioTrackCopier::copyPacket(PacketPtr packet) {
  if (packetTicks_ <= 0) packetTicks_ = packet->duration > 0 ? packet->duration : 1024;
  if (!startChosen_) {
    if (packet->pts < desiredStart_) {
      pending_.push_back(std::move(packet));
      while (pending_.size() > 2) pending_.pop_front();
      return;
    }
    chooseStart(&packet);
  }
  if (end_ <= start_ || packet->pts >= end_) {
    finishSegment();
    return;
  }
  emit(std::move(packet));
}

void CompressedAudioTrackCopier::sourceEnded() {
  if (!startChosen_) chooseStart(nullptr);
}

std::pair<int64_t, int64_t> CompressedAudioTrackCopier::copiedRange() const {
  return {start_, std::min(end_, copiedEnd_)};
}

int64_t CompressedAudioTrackCopier::reencodedLength(int64_t remaining) const {
  return isLastMediaSegment() ? remaining : wholePackets(remaining, frameSamples());
}

std::optional<int64_t> CompressedAudioTrackCopier::writeSilence(int64_t samples) {
  if (!silenceTried_) {
    silenceTried_ = true;
    silence_ = encodedSilencePacket(*codec_);
  }
  if (!silence_) return std::nullopt;
  const int64_t packetSamples = frameSamples();
  const int64_t count = wholePackets(samples, packetSamples) / packetSamples;
  for (int64_t i = 0; i < count; ++i) {
    PacketPtr packet = newPacket(static_cast<int64_t>(silence_->size()));
    std::copy(silence_->begin(), silence_->end(), packet->data);
    writeAtEnd(std::move(packet), packetSamples);
  }
  return count * packetSamples;
}

void CompressedAudioTrackCopier::chooseStart(PacketPtr* next) {
  startChosen_ = true;
  // The boundary nearest the wanted start: the last packet before it or the one at/after it.
  const AVPacket* before = pending_.empty() ? nullptr : pending_.back().get();
  const AVPacket* after = next ? next->get() : nullptr;
  bool startAtBefore = after == nullptr;
  if (before && after) {
    startAtBefore = desiredStart_ - before->pts < after->pts - desiredStart_;
  }
  if (!before && !after) return;
  start_ = startAtBefore ? before->pts : after->pts;

  // Whole packets to where the composition's timeline is, except at the track's end.
  const int64_t packetSamples =
      std::max<int64_t>(1, av_rescale_q(packetTicks_, reader_.timeBase(), {1, sampleRate_}));
  const int64_t remaining = targetEndSamples_ - outputPosition_;
  const int64_t samples = isLastMediaSegment() ? remaining : wholePackets(remaining, packetSamples);
  end_ = start_ + av_rescale_q(samples, {1, sampleRate_}, reader_.timeBase());
  if (samples <= 0) {
    pending_.clear();
    return;
  }
  // One packet of pre-roll, which players decode and drop, so the first one sounds right.
  const size_t keep = startAtBefore ? 2 : 1;
  while (pending_.size() > keep) pending_.pop_front();
  while (!pending_.empty()) {
    emit(std::move(pending_.front()));
    pending_.pop_front();
  }
}

void CompressedAudioTrackCopier::emit(PacketPtr packet) {
  const AVRational sourceTimeBase = reader_.timeBase();
  const int64_t sourceDuration = packet->duration > 0 ? packet->duration : packetTicks_;
  copiedEnd_ = packet->pts + sourceDuration;
  if (!anchored_) {
    anchored_ = true;
    anchorSource_ = packet->pts;
    anchorOutput_ = nextDts_;
  }
  const int64_t pts =
      anchorOutput_ + av_rescale_q(packet->pts - anchorSource_, sourceTimeBase, outputTimeBase_);
  packet->pts = packet->dts = std::max(pts, lastDts_ + 1);
  packet->duration = av_rescale_q(sourceDuration, sourceTimeBase, outputTimeBase_);
  packet->pos = -1;
  packet->flags &= ~AV_PKT_FLAG_DISCARD;
  av_packet_free_side_data(packet.get());
  writeAudio(std::move(packet));
}

int64_t CompressedAudioTrackCopier::frameSamples() const {
  return codec_->frame_size > 0 ? codec_->frame_size : 1024;
}

}  // namespace reelcraft
