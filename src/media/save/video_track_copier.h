#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "media/save/passthrough_track_copier.h"
#include "media/save/recent_video_packets.h"

namespace reelcraft {

// Copies the compressed samples of a video track: for each segment, the packets from the
// keyframe at or before its first frame up to the last packet needed to decode its last frame
// (decode order), laid end to end on the track's media timeline; a stretched segment gets
// retimed timestamps. The packets of a segment that starts in the group of pictures where the
// previous one ended are not read again but replayed from memory, and when the muxer writes them
// as they are, written as stand-ins that share the bytes already in the file (sharedSamples()).
// Empty time between media holds the last frame shown, since common players ignore empty edits
// after the first media edit; empty time at the start is an empty edit.
class VideoTrackCopier final : public PassthroughTrackCopier {
 public:
  // See PassthroughTrackCopier. Throws ErrorException when a source cannot be read.
  explicit VideoTrackCopier(const AssetTrack& track);

  void setOutputTimeBase(AVRational timeBase) override;
  const std::vector<PassthroughSharedSample>& sharedSamples() const override {
    return sharedSamples_;
  }

 private:
  void startMediaSegment(const TrackSegment& segment) override;
  void copyMore() override;
  void finishEmptySegment(const TrackSegment& segment) override;
  void finishMediaSegment(const TrackSegment& segment) override;

  bool read(PacketPtr& packet);
  void seek(int64_t ticks);
  void handle(PacketPtr packet);
  void release();
  void emit(PacketPtr packet);
  int64_t retimed(int64_t sourceTicks) const;

  double maxReorderSeconds_ = 0;   // the sources' largest distance from decoding to showing
  int64_t presentationDelay_ = 0;  // output ticks from a segment's first decode to its start
  int64_t mediaEnd_ = 0;           // past the latest presentation end written so far, output ticks

  RecentVideoPackets recent_;
  // Whether a packet written again may be a stand-in: the muxer must write video packets as
  // they are, so that the samples' sizes and bytes are the packets'.
  bool sharesSamples_ = false;
  int64_t samples_ = 0;  // packets written so far
  std::vector<PassthroughSharedSample> sharedSamples_;

  // The segment being copied (source ticks unless said otherwise).
  int64_t segmentStart_ = 0;
  int64_t segmentEnd_ = 0;
  int64_t frameDuration_ = 1;  // for packets without a duration
  AVRational stretch_{1, 1};   // target duration / source duration
  int64_t trailingShift_ = 0;  // output ticks added to packets shown after the segment ends
  int seekAttempts_ = 0;
  bool checkedSeek_ = false;       // whether reading starts on the keyframe the segment needs
  std::deque<PacketPtr> pending_;  // read, not yet written; empty between segments
  int64_t firstShownPts_ = INT64_MAX;
  int64_t firstShownDts_ = 0;  // of the first shown packet in decode order
  size_t neededPending_ = 0;   // pending packets up to the last one shown
  bool decided_ = false;       // whether the segment's composition offset is known
  int64_t ptsShift_ = 0;       // output ticks added to the segment's presentation times
};

}  // namespace reelcraft
