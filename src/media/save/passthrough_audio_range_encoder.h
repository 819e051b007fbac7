#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "media/ffmpeg/av_handles.h"
#include "media/model/asset.h"

namespace reelcraft {

class TrackAudioRenderer;

// Encodes stretches of an audio track's timeline again, with the same codec and configuration
// as the track's copied packets, so that both share one sample description. Used for the ranges
// that play at another speed (decoded, retimed with the pitch kept, encoded) while the rest of
// the track is copied.
//
// The packets of a range with a codec that has frames (AAC) begin with one frame of pre-roll:
// the sound just before the range, which a decoder needs to decode the range's first frame and
// which the edit list skips. They are encoded with a frame of the sound after the range as
// look-ahead, so the last frame ends as smoothly as a copied one.
class PassthroughAudioRangeEncoder {
 public:
  // Why ranges of a track coded as `codec` cannot be encoded to match its copied packets (no
  // encoder, more than two channels, another encoder configuration), or empty when they can.
  static std::string reasonItCannotMatch(const AVCodecParameters& codec);

  // `track` is the whole composition track; `codec` its sources' shared configuration, for which
  // reasonItCannotMatch() is empty.
  PassthroughAudioRangeEncoder(const AssetTrack& track, const AVCodecParameters& codec);
  ~PassthroughAudioRangeEncoder();
  PassthroughAudioRangeEncoder(const PassthroughAudioRangeEncoder&) = delete;
  PassthroughAudioRangeEncoder& operator=(const PassthroughAudioRangeEncoder&) = delete;

  // Starts encoding the samples [first, first + count) of the track's timeline, at the codec's
  // sample rate.
  void start(int64_t first, int64_t count);
  // The next packet of the range, its timestamps in samples from the start of the pre-roll; false
  // once the range is complete. Throws ErrorException when the sound cannot be read or encoded.
  bool next(PacketPtr& packet);
  // Samples of pre-roll before the range's first sample in its packets.
  int64_t preroll() const { return preroll_; }

 private:
  void encodeMore();
  void receivePackets();

  int sampleRate_;
  int channels_;
  int frameSize_;
  CodecParametersPtr codec_;
  std::unique_ptr<TrackAudioRenderer> renderer_;
  CodecContextPtr encoder_;
  ResamplerPtr converter_;
  FramePtr frame_;
  std::vector<float> mix_;
  std::deque<PacketPtr> ready_;
  int64_t preroll_ = 0;
  int64_t inputEnd_ = 0;  // input samples to encode, counted from the pre-roll's start
  int64_t encoded_ = 0;   // input samples sent so far
  int64_t keptEnd_ = 0;   // packets starting at or after this are look-ahead only
  bool flushed_ = false;
  bool drained_ = true;
};

}  // namespace reelcraft
