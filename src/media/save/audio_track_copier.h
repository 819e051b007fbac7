#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "media/save/passthrough_audio_range_encoder.h"
#include "media/save/passthrough_track_copier.h"

namespace reelcraft {

// What the copiers of compressed and of PCM sound share: the track's media timeline counted in
// samples and kept in step with the composition's; empty time between media played as silence,
// since common players ignore empty edits after the first media edit (empty time at the start
// is an empty edit); segments that play at another speed encoded again for that range only, with
// the copied packets' codec configuration (PassthroughAudioRangeEncoder), and placed by the
// same rules as copied ones.
class AudioTrackCopier : public PassthroughTrackCopier {
 protected:
  // See PassthroughTrackCopier; when the track has stretched ranges, PassthroughAudioRangeEncoder
  // must be able to match its codec configuration. Throws ErrorException when a source cannot
  // be read.
  explicit AudioTrackCopier(const AssetTrack& track);

  // Starts copying the current segment, which plays at its own speed from its source's sample
  // `sourceStart` on; its source is open.
  virtual void startCopying(int64_t sourceStart) = 0;
  // Takes the next packet of the source.
  virtual void copyPacket(PacketPtr packet) = 0;
  // Called when the source has no more packets, before the segment finishes.
  virtual void sourceEnded() {}
  // The part of the source [first, second) that the segment's copied packets show, in
  // copiedTimeBase() as anchorSource_ is; read only once a packet has been copied.
  virtual std::pair<int64_t, int64_t> copiedRange() const = 0;
  virtual AVRational copiedTimeBase() const { return reader_.timeBase(); }
  // How many samples of a stretched segment to encode again, `remaining` being the distance from
  // the end of the track's media to the segment's end on the composition's timeline.
  virtual int64_t reencodedLength(int64_t remaining) const { return remaining; }
  // Queues `samples` samples of silence, or about as many when the codec's packets only come
  // whole; returns how many, or nothing when this codec has no silence to copy.
  virtual std::optional<int64_t> writeSilence(int64_t samples) = 0;

  // A packet of `size` bytes (uninitialised), which decodes on its own.
  static PacketPtr newPacket(int64_t size);
  // Queues `packet`, its timestamps set in samples.
  void writeAudio(PacketPtr packet);
  // Queues `packet`, which plays `samples` samples, at the end of the track's media.
  void writeAtEnd(PacketPtr packet, int64_t samples);

  int sampleRate_ = 0;  // of the codec, and the output's time base
  // The end of the track's media on the composition's timeline, in samples: the edits added so
  // far show that many.
  int64_t outputPosition_ = 0;
  // The current segment on the composition's timeline, in samples.
  int64_t targetStartSamples_ = 0;
  int64_t targetEndSamples_ = 0;

 private:
  void startEmptySegment(const TrackSegment& segment) final;
  void startMediaSegment(const TrackSegment& segment) final;
  void copyMore() final;
  void finishEmptySegment(const TrackSegment& segment) final;
  void finishMediaSegment(const TrackSegment& segment) final;

  void startReencoding();
  // Shows the next `samples` samples of the composition's timeline (if any) with the track's
  // media from `mediaTime` (output ticks) on, or with nothing when mediaTime is -1.
  void show(int64_t samples, int64_t mediaTime);

  AssetTrack track_;
  std::unique_ptr<PassthroughAudioRangeEncoder> rangeEncoder_;  // made when first needed
  bool reencoding_ = false;       // whether the current segment is being encoded again
  int64_t reencodedSamples_ = 0;  // of the current segment, more than zero
  int64_t reencodedBase_ = 0;     // output ticks of the segment's first packet
};

}  // namespace reelcraft
