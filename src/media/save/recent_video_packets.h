#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>

#include "media/ffmpeg/av_handles.h"

struct AVIndexEntry;

namespace reelcraft {

// The video packets read since the latest keyframe of the open source, so that a segment that
// needs the same keyframe as the previous one replays them instead of reading its lead-in from
// the file again. Each keeps its properties, and its bytes (a reference) until it is written,
// when the sample that holds them is noted instead: a replay of it is then written as a stand-in
// that shares those bytes. Up to kMaxBytes of bytes, however long the group of pictures.
class RecentVideoPackets {
 public:
  // Keeps `packet`, just read from the source, when it belongs to the group of pictures
  // of the latest keyframe.
  void remember(const AVPacket& packet);
  // Forgets all, when the source is read from elsewhere.
  void forget();

  // Whether a segment that starts at `start` (source ticks), whose keyframe a seek would find at
  // `keyframe`, can begin with a replay.
  bool canReplayFrom(const AVIndexEntry* keyframe, int64_t start) const;
  // Queues the packets kept so far to be read again.
  void replay();
  // The next packet of the replay, or false once it is over. A packet written already has no
  // bytes.
  bool nextReplayed(PacketPtr& packet);

  // Notes that `packet` is written as the track's sample `sample`: returns the earlier sample
  // with the same bytes when it is a replay of a packet written already, or -1.
  int64_t noteWritten(const AVPacket& packet, int64_t sample);

 private:
  struct Packet {
    PacketPtr packet;        // no bytes once written
    int64_t writtenAs = -1;  // the sample that holds its bytes, once written
  };
  static constexpr int64_t kMaxBytes = 64 << 20;

  std::deque<Packet> packets_;                 // in decode order, from a keyframe on
  std::unordered_map<int64_t, size_t> byDts_;  // index in packets_, by source decode time
  int64_t bytes_ = 0;                          // held by packets_
  std::deque<PacketPtr> replay_;               // still to be read again
};

}  // namespace reelcraft
