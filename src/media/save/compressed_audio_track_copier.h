#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "media/save/audio_track_copier.h"

namespace reelcraft {

// Copies the packets of a compressed sound track (AAC and the like) whole: each segment from
// one packet of pre-roll before the packet boundary it starts on, which keeps the track within
// half a packet of the composition's timeline. Empty time between media is filled with
// repeated silent packets where the codec has them (see AudioTrackCopier).
class CompressedAudioTrackCopier final : public AudioTrackCopier {
 public:
  // See AudioTrackCopier.
  explicit CompressedAudioTrackCopier(const AssetTrack& track) : AudioTrackCopier(track) {}

 private:
  void startCopying(int64_t sourceStart) override;
  void copyPacket(PacketPtr packet) override;
  void sourceEnded() override;
  std::pair<int64_t, int64_t> copiedRange() const override;
  int64_t reencodedLength(int64_t remaining) const override;
  std::optional<int64_t> writeSilence(int64_t samples) override;

  void chooseStart(PacketPtr* next);
  void emit(PacketPtr packet);
  // Samples per packet as the codec configuration says, or a guess.
  int64_t frameSamples() const;

  // The current segment, in source ticks.
  int64_t packetTicks_ = 0;   // a packet's duration
  int64_t desiredStart_ = 0;  // where the segment's sound would start without whole packets
  bool startChosen_ = false;
  int64_t start_ = 0;      // the chosen packet boundary
  int64_t end_ = 0;        // where the copied packets' sound should end
  int64_t copiedEnd_ = 0;  // end of the last packet copied
  // Until the start is chosen, the last packets before desiredStart_ (at most two).
  std::deque<PacketPtr> pending_;

  bool silenceTried_ = false;
  std::optional<std::vector<uint8_t>> silence_;  // one packet, once tried
};

}  // namespace reelcraft
