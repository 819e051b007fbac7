#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "media/model/asset.h"
#include "media/decode/track_segment_reader.h"

namespace reelcraft {

// Renders one audio track of a composition as stereo float at one rate, sample by sample on
// the track's timeline: sample n plays at n / rate.
//
// Each segment owns the samples from the sample nearest its start to the sample nearest its
// end (samplePosition() in stream_time.h), so neighbouring segments meet exactly and a track
// of any number of segments has no drift. Within a segment the source samples of its source
// range are converted to stereo at the output rate, played at the segment's speed with the
// pitch kept when the segment is scaled, and cut or padded with silence at the end to fill
// the segment's samples exactly. Empty segments, and time before the first or after the last
// segment, are silent.
class TrackAudioRenderer {
 public:
  TrackAudioRenderer(AssetTrack track, int sampleRate);
  ~TrackAudioRenderer();
  TrackAudioRenderer(TrackAudioRenderer&&) noexcept;
  TrackAudioRenderer& operator=(TrackAudioRenderer&&) noexcept;

  // Goes on from sample `position`.
  void seek(int64_t position);
  // Adds the next `count` stereo frames into `mix` (interleaved left/right) and moves on.
  // Throws ErrorException when a source cannot be read.
  void mixInto(float* mix, int64_t count);

 private:
  class SegmentPlayback;
  struct SampleSpan {
    int64_t begin = 0;
    int64_t end = 0;
  };

  int sampleRate_;
  std::vector<TrackSegment> segments_;
  std::vector<SampleSpan> spans_;
  std::unique_ptr<TrackSegmentReader> reader_;
  int64_t position_ = 0;
  std::unique_ptr<SegmentPlayback> playback_;
  size_t playbackSegment_ = 0;
};

}  // namespace reelcraft
