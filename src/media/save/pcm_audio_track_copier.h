#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "media/save/audio_track_copier.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace reelcraft {

// Copies exactly the samples of each segment of a PCM sound track, cutting the source's
// packets where the segments begin and end. Empty time between media is filled with silent
// samples (see AudioTrackCopier).
class PcmAudioTrackCopier final : public AudioTrackCopier {
 public:
  // Whether sound coded as `codec` is PCM, which this copier cuts at any sample.
  static bool isPcm(AVCodecID codec) {
    return codec >= AV_CODEC_ID_FIRST_AUDIO && codec < AV_CODEC_ID_ADPCM_IMA_QT;
  }

  // See AudioTrackCopier.
  explicit PcmAudioTrackCopier(const AssetTrack& track) : AudioTrackCopier(track) {}

 private:
  void startCopying(int64_t sourceStart) override;
  void copyPacket(PacketPtr packet) override;
  std::pair<int64_t, int64_t> copiedRange() const override { return {start_, copiedEnd_}; }
  AVRational copiedTimeBase() const override { return {1, sampleRate_}; }
  std::optional<int64_t> writeSilence(int64_t samples) override;

  // The current segment's part of its source, in samples (whatever the source's time base).
  int64_t start_ = 0;
  int64_t end_ = 0;          // the segment's end on the composition's timeline, past start_
  int64_t copiedEnd_ = 0;    // end of the samples copied so far
  int64_t nextPacket_ = -1;  // where the packet after the last one read starts, once known
};

}  // namespace reelcraft
