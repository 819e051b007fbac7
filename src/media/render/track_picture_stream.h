#pragma once

#include <functional>
#include <optional>

#include "media/base/media_time.h"
#include "media/decode/track_segment_reader.h"
#include "media/model/asset.h"

namespace reelcraft {

// The decoded pictures of one video track, found by time: the picture shown at t is the
// decoded frame whose interval on the track's timeline contains t. A later time is reached by
// reading on from the present position (the track reader decodes on to it, or seeks when a
// keyframe lies nearer); an earlier one by seeking back.
//
// Not thread-safe: used by one thread at a time.
class TrackPictureStream {
 public:
  using Visitor = std::function<void(const DecodedFrame&)>;

  explicit TrackPictureStream(AssetTrack track);

  const AssetTrack& track() const { return reader_.track(); }

  // The frame shown at `t`, or nothing when no frame of the track covers t (empty time, or
  // beyond the track's end). Throws ErrorException when a source cannot be read.
  std::optional<DecodedFrame> frameAt(MediaTime t);

  // The same, reading from `from` (before t): every frame shown from `from` up to, but not
  // including, the one at t is handed to `visit` on the way, so that the caller can keep
  // the frames before t for stepping back.
  std::optional<DecodedFrame> frameAt(MediaTime t, MediaTime from, const Visitor& visit);

  // The start of the frame handed out last; nothing before the first one.
  std::optional<MediaTime> position() const;

 private:
  std::optional<DecodedFrame> readNext();
  std::optional<DecodedFrame> readUpTo(MediaTime t, const Visitor* visit);
  void reposition(MediaTime t);

  TrackSegmentReader reader_;
  std::optional<DecodedFrame> current_;  // the frame handed out last
  std::optional<DecodedFrame> ahead_;    // a frame read past the time asked for last
  bool ended_ = false;
};

}  // namespace reelcraft
