#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "media/model/asset.h"
#include "media/ffmpeg/av_handles.h"
#include "media/model/input_file.h"
#include "media/base/media_time.h"
#include "media/save/passthrough_audio_range_encoder.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace reelcraft {

// One entry of a saved track's edit list: the stretch [start, end) of the movie's timeline
// shows the track's media from `mediaTime` (in the output stream's time base) on, or nothing
// when mediaTime is -1.
struct PassthroughEdit {
  MediaTime start;
  MediaTime end;
  int64_t mediaTime = -1;
};

// A sample written as a one-byte stand-in for an earlier sample of its track with the same
// bytes: the track's sample table points it at that sample's bytes instead (0-based indices, in
// the order the track's packets were written).
struct PassthroughSharedSample {
  int64_t sample = 0;
  int64_t sameAs = 0;
};

// Where the packets of one saved track come from, with the edit list that places them.
class PassthroughTrackSource {
 public:
  virtual ~PassthroughTrackSource() = default;
  virtual const AVCodecParameters& codecParameters() const = 0;
  // The time base the output stream should ask for.
  virtual AVRational preferredTimeBase() const = 0;
  // The time base the muxer chose; called before next().
  virtual void setOutputTimeBase(AVRational timeBase) = 0;
  // The next packet to write, with timestamps in the output time base, or false at the end.
  // Throws ErrorException when the media cannot be read.
  virtual bool next(PacketPtr& packet) = 0;
  // The edit list, complete once next() has returned false.
  virtual const std::vector<PassthroughEdit>& edits() const = 0;
  // The stand-ins among the packets, complete once next() has returned false.
  virtual const std::vector<PassthroughSharedSample>& sharedSamples() const {
    static const std::vector<PassthroughSharedSample> none;
    return none;
  }
};

// Produces the compressed samples of one composition track for a passthrough save, one packet
// at a time, and the edit list that shows them at the composition's times:
// - video: for each segment, the packets from the keyframe at or before its first frame up to
//   the last packet needed to decode its last frame (decode order), laid end to end on the
//   track's media timeline; a stretched segment gets retimed timestamps; the packets of a
//   segment that starts in the group of pictures where the previous one ended are not read
//   again but replayed from memory, and when the muxer writes them as they are, written as
//   stand-ins that share the bytes already in the file (sharedSamples());
// - compressed audio: whole packets from one packet of pre-roll before the chosen start; each
//   segment starts on the packet boundary that keeps the track within half a packet of the
//   composition's timeline;
// - PCM: exactly the samples of each segment;
// - audio that plays at another speed: encoded again for that range only, with the copied
//   packets' codec configuration (PassthroughAudioRangeEncoder), placed by the rules above.
// Empty time between media plays as the last frame held (video) or as silence (PCM, and AAC
// through repeated silent packets), since common players ignore empty edits after the first
// media edit; empty time at the start is an empty edit.
// Reading streams: a few packets are held at a time, however long the track.
class PassthroughTrackCopier final : public PassthroughTrackSource {
 public:
  // `track` must have at least one segment with a source; all its sources share one codec
  // configuration, which PassthroughAudioRangeEncoder can match when its audio has stretched
  // ranges.
  explicit PassthroughTrackCopier(const AssetTrack& track);

  const AVCodecParameters& codecParameters() const override { return *codec_; }
  AVRational preferredTimeBase() const override;
  void setOutputTimeBase(AVRational timeBase) override;
  bool next(PacketPtr& packet) override;
  const std::vector<PassthroughEdit>& edits() const override { return edits_; }
  const std::vector<PassthroughSharedSample>& sharedSamples() const override {
    return sharedSamples_;
  }

 private:
  enum class Kind { Video, CompressedAudio, Pcm };

  void fill();
  void startSegment();
  void finishSegment();
  bool readSourcePacket(PacketPtr& packet);
  void openSource(const std::shared_ptr<const SourceTrack>& source);
  void useSource(InputFilePtr file, const std::shared_ptr<const SourceTrack>& source);
  void seekSource(int64_t ticks);
  void remember(const AVPacket& packet);
  void forgetRecent();
  bool canReplayFrom(int64_t start) const;
  void replayRecent();
  static void makeStandIn(AVPacket& packet);
  void handleVideo(PacketPtr packet);
  void handleCompressedAudio(PacketPtr packet);
  void handlePcm(PacketPtr packet);
  void emitVideo(PacketPtr packet);
  void releaseVideo();
  void emitAudio(PacketPtr packet);
  int64_t retimed(int64_t sourceTicks) const;
  void fillGapWithSilence();
  void chooseAudioStart(PacketPtr* next);
  void startReencodedAudio();
  void emitReencodedAudio(PacketPtr packet);

  std::vector<TrackSegment> segments_;
  std::shared_ptr<const AVCodecParameters> codec_;
  Kind kind_ = Kind::Video;
  int sampleRate_ = 0;
  AVRational outputTimeBase_{1, 1};
  std::vector<PassthroughEdit> edits_;
  std::deque<PacketPtr> ready_;

  InputFilePtr input_;
  std::shared_ptr<const SourceTrack> inputSource_;
  int streamIndex_ = -1;
  AVRational sourceTimeBase_{1, 1};
  bool sourceAtEnd_ = false;
  // The video packets read since the latest keyframe of the open source: a segment that needs
  // the same keyframe replays them instead of reading its pre-roll from the file again. Each
  // keeps its properties, and its bytes (a reference) until they are written, when the sample
  // that holds them is noted; up to kMaxRecentBytes of bytes, however long the group of
  // pictures.
  struct RecentPacket {
    PacketPtr packet;
    int64_t writtenAs = -1;
  };
  static constexpr int64_t kMaxRecentBytes = 64 << 20;
  std::deque<RecentPacket> recent_;
  std::unordered_map<int64_t, size_t> recentByDts_;  // index in recent_, by source decode time
  int64_t recentBytes_ = 0;
  std::deque<PacketPtr> replay_;  // still to be read again
  // Whether a packet written again may be a stand-in: the muxer must write video packets as
  // they are, so that the samples' sizes and bytes are the packets'.
  bool sharesSamples_ = false;
  int64_t videoSamples_ = 0;  // packets emitted so far
  std::vector<PassthroughSharedSample> sharedSamples_;

  size_t segmentIndex_ = 0;
  bool segmentStarted_ = false;
  size_t lastMediaSegment_ = 0;
  // Per segment: the empty time between it and the next segment with media (zero when none
  // follows), and whether it is empty time between two segments with media.
  std::vector<MediaTime> gapAfter_;
  std::vector<bool> innerGap_;
  int64_t trailingShift_ = 0;  // output ticks added to packets shown after the segment ends
  bool silenceTried_ = false;
  std::optional<std::vector<uint8_t>> silence_;

  // Output media timeline, in output ticks.
  int64_t nextDts_ = 0;
  int64_t mediaEnd_ = 0;  // past the latest presentation end written so far
  int64_t lastDts_ = INT64_MIN;

  // The segment being copied (source ticks unless said otherwise).
  int64_t segmentStart_ = 0;
  int64_t segmentEnd_ = 0;
  int64_t frameDuration_ = 1;
  std::deque<PacketPtr> pending_;
  bool anchored_ = false;
  int64_t anchorSource_ = 0;  // source dts that maps to anchorOutput_
  int64_t anchorOutput_ = 0;  // output ticks
  AVRational stretch_{1, 1};  // target duration / source duration
  int64_t firstShownPts_ = INT64_MAX;
  int64_t firstShownDts_ = 0;  // of the first shown packet in decode order
  size_t neededPending_ = 0;   // pending packets up to the last one shown
  bool decided_ = false;       // whether the segment's composition offset is known
  int64_t ptsShift_ = 0;       // output ticks added to the segment's presentation times
  double maxReorderSeconds_ = 0;
  int64_t presentationDelay_ = 0;  // output ticks from a segment's first decode to its start
  int seekAttempts_ = 0;
  bool checkedSeek_ = false;

  // Audio: the output timeline position and the composition's, in samples.
  int64_t outputPosition_ = 0;
  int64_t targetStartSamples_ = 0;
  int64_t targetEndSamples_ = 0;
  int64_t packetTicks_ = 0;
  int64_t desiredStart_ = 0;  // source ticks
  bool startChosen_ = false;
  int64_t audioStart_ = 0;  // chosen boundary, source ticks
  int64_t audioEnd_ = 0;    // source ticks
  int64_t copiedEnd_ = 0;   // end of the last packet copied, source ticks

  // Audio ranges that play at another speed, encoded again.
  AssetTrack track_;
  std::unique_ptr<PassthroughAudioRangeEncoder> rangeEncoder_;
  bool reencoding_ = false;
  int64_t reencodedSamples_ = 0;
  int64_t reencodedBase_ = 0;  // output ticks of the range's first packet
};

}  // namespace reelcraft
