#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "media/model/asset.h"
#include "media/base/media_time.h"

struct AVFrame;

namespace reelcraft {

// One decoded video picture or block of audio samples of a composition track, with where it
// comes from in its source and where it plays on the track's timeline.
struct DecodedFrame {
  // The decoder's output (a picture, or audio samples in the decoder's own format, rate and
  // channel layout), owned by this object and by whoever copies the pointer.
  std::shared_ptr<AVFrame> frame;
  // Which segment of the track (index into AssetTrack::segments) the frame was read for.
  size_t segmentIndex = 0;
  // The frame's presentation time and duration in its source file. For audio the duration is
  // exactly frame->nb_samples at frame->sample_rate.
  MediaTime sourceTime;
  MediaTime sourceDuration;
  // Where the frame plays on the track's timeline: its source interval mapped through the
  // segment (scaled when the segment's durations differ) and clipped to the segment's target
  // range. A frame that straddles a segment edge is therefore shown only for the part inside
  // the segment, and the frames of a track tile its non-empty segments without overlap.
  MediaTime time;
  MediaTime duration;
};

// Reads one track of a composition (or of a file) as a single stream in the track's time: the
// frames of every non-empty segment in timeline order, each segment's source range decoded
// from its own file, exactly to the frame (video) or to the decoder frame (audio) that covers
// the segment's edges. Frames are delivered only when their source interval overlaps the
// segment's source range; a frame that straddles an edge between two segments showing
// neighbouring source ranges is delivered for each of them. Empty segments produce no frames:
// callers fill the gaps themselves (black, silence).
//
// Sources are opened lazily, when their first segment is read, and kept open for the
// following segments; a segment that continues at or after the position where the previous
// segment of the same source stopped is decoded on without seeking.
//
// Not thread-safe: one reader is used by one thread at a time. Readers are independent of
// each other and may be used on different threads at once.
class TrackSegmentReader {
 public:
  explicit TrackSegmentReader(AssetTrack track);
  ~TrackSegmentReader();
  TrackSegmentReader(TrackSegmentReader&&) noexcept;
  TrackSegmentReader& operator=(TrackSegmentReader&&) noexcept;

  // Makes next() start at track time `t`: with the video frame shown at t (the frame whose
  // interval contains t), or with the audio frame whose samples contain t. When t falls into
  // empty time, next() starts with the first frame after it; at or after the track's end it
  // returns nothing. Reading starts at the track's beginning when seek is never called.
  void seek(MediaTime t);

  // The next frame in timeline order, or nothing at the end of the track. Throws
  // ErrorException (media_error.h) when a source cannot be opened or read at all; damaged
  // packets inside a readable source are left to the decoder to conceal.
  std::optional<DecodedFrame> next();

  const AssetTrack& track() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace reelcraft
