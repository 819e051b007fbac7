#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "media/base/media_time.h"
#include "media/model/asset.h"
#include "media/save/passthrough_source_reader.h"
#include "media/save/passthrough_track_source.h"

struct AVFormatContext;

namespace reelcraft {

// What the copiers of one composition track for a passthrough save share, whatever the kind of
// its samples: going through the track's segments one at a time, reading the packets of their
// sources, queueing the packets written and the edit list that shows them at the composition's
// times. Each kind (VideoTrackCopier, CompressedAudioTrackCopier, PcmAudioTrackCopier) decides
// which packets a segment needs and where they go.
// Reading streams: a few packets are held at a time, however long the track.
class PassthroughTrackCopier : public PassthroughTrackSource {
 public:
  const AVCodecParameters& codecParameters() const override { return *codec_; }
  AVRational preferredTimeBase() const override { return outputTimeBase_; }
  void setOutputTimeBase(AVRational timeBase) override { outputTimeBase_ = timeBase; }
  bool next(PacketPtr& packet) override;
  const std::vector<PassthroughEdit>& edits() const override { return edits_; }

 protected:
  // `track` must have at least one segment with a source; all its sources share one codec
  // configuration.
  explicit PassthroughTrackCopier(const AssetTrack& track);

  // Opens each source of the track once, so that a missing or damaged file fails before
  // anything is written, shows `inspect` the file and the index of the source's stream, and
  // keeps the first one open for copying. Throws ErrorException.
  void openSources(const std::function<void(AVFormatContext& file, int streamIndex,
                                            const SourceTrack& source)>& inspect = {});

  // Starts the current segment, which has no media: by default, leaves its time empty.
  virtual void startEmptySegment(const TrackSegment&) { finishSegment(); }
  virtual void startMediaSegment(const TrackSegment& segment) = 0;
  // Queues more packets of the started segment, or finishes it.
  virtual void copyMore() = 0;
  // Adds the edits that show the segment.
  virtual void finishEmptySegment(const TrackSegment& segment) = 0;
  virtual void finishMediaSegment(const TrackSegment& segment) = 0;

  // Adds the current segment's edits and goes on to the next segment.
  void finishSegment();
  // Goes on to the next segment, the current one's edits added already.
  void nextSegment();
  // Queues `packet`, its timestamps in output ticks, as the track's next sample.
  void write(PacketPtr packet);

  const std::vector<TrackSegment>& segments() const { return segments_; }
  bool isLastMediaSegment() const { return segmentIndex_ == lastMediaSegment_; }
  // Whether the current segment is empty time between two segments with media.
  bool isInnerGap() const { return innerGap_[segmentIndex_]; }
  // The empty time between the current segment and the next one with media (zero when none
  // follows).
  MediaTime gapAfter() const { return gapAfter_[segmentIndex_]; }

  std::shared_ptr<const AVCodecParameters> codec_;  // shared by all sources
  AVRational outputTimeBase_{1, 1};
  std::vector<PassthroughEdit> edits_;
  PassthroughSourceReader reader_;  // the source of the latest segment with media

  // The output media timeline, in output ticks.
  int64_t nextDts_ = 0;          // where the next sample may start decoding
  int64_t lastDts_ = INT64_MIN;  // of the last sample written
  // Where the current segment's first packet copied went: the source time anchorSource_ (in
  // the source's time base) is written at anchorOutput_ (output ticks). Set when anchored_.
  bool anchored_ = false;
  int64_t anchorSource_ = 0;
  int64_t anchorOutput_ = 0;

 private:
  void fill();
  void startSegment();

  std::vector<TrackSegment> segments_;
  std::deque<PacketPtr> ready_;  // written, not yet taken by next()
  size_t segmentIndex_ = 0;
  bool segmentStarted_ = false;
  size_t lastMediaSegment_ = 0;
  // Per segment: see gapAfter() and isInnerGap().
  std::vector<MediaTime> gapAfter_;
  std::vector<bool> innerGap_;
};

}  // namespace reelcraft
