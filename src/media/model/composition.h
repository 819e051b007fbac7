#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/base/geometry.h"
#include "media/base/media_error_codes.h"
#include "media/base/media_time.h"
#include "media/model/asset.h"

namespace reelcraft {

class MutableComposition;

// An edited movie: tracks whose segments show stretches of source tracks, or empty time, on
// one timeline from zero. A Composition is an immutable snapshot; copies share their segment
// storage and the sources, so copying never touches media, and snapshots may be read from any
// thread.
class Composition : public Asset {
 public:
  // The end of the longest track; zero when there are no tracks.
  MediaTime duration() const override;
  // The size set with setNaturalSize, else the natural size of the first video track that
  // shows any media, else zero.
  Size naturalSize() const override;
  const std::vector<AssetTrack>& tracks() const override { return tracks_; }

  // The track with `trackID`, or null.
  const AssetTrack* trackWithID(int32_t trackID) const;

  // An immutable copy of the present state.
  std::shared_ptr<const Composition> copy() const;
  // An editable composition equal to this one.
  std::shared_ptr<MutableComposition> mutableCopy() const;

  // Throws std::logic_error naming the first broken rule: track ids positive and unique; each
  // track's segments start at zero, each where the previous one ends, all of positive length;
  // a segment with a source has a numeric source range, an empty one none.
  void checkInvariants() const;

 protected:
  Composition() = default;
  Composition(const Composition&) = default;
  Composition& operator=(const Composition&) = default;

  std::vector<AssetTrack> tracks_;
  std::optional<Size> explicitNaturalSize_;

  friend bool equivalent(const Composition& a, const Composition& b);
};

// Same tracks in the same order (ids, media types, natural sizes, transforms, minimum frame
// durations), same natural size, and the same segment maps: identical source objects and
// numerically equal times.
bool equivalent(const Composition& a, const Composition& b);

// A composition that can be edited. Edits apply to all tracks at once, so the tracks stay in
// step, and replace the tracks: a reference to a track lasts until the next edit. The edits
// other than insertTimeRange check no ranges: a range that is not valid, that starts before
// zero or that has no length changes nothing.
class MutableComposition : public Composition {
 public:
  // An empty composition of duration zero.
  static std::shared_ptr<MutableComposition> create();

  // Adds an empty track and returns its id: `preferredTrackID` when that is positive and
  // free, otherwise the lowest free id from 1.
  int32_t addMutableTrack(MediaType mediaType, int32_t preferredTrackID = 0);
  // Removes the track with `trackID`; an unknown id changes nothing.
  void removeTrack(int32_t trackID);

  // A gap of the range's duration at the range's start in every track, shifting later media.
  // A track that ends before the start is padded with empty time up to it.
  void insertEmptyTimeRange(TimeRange range);

  // Inserts `range` of every track of `asset` (a file or a composition, possibly this one) at
  // `at`, shifting later media. The k-th track of a media type in `asset` goes into the k-th
  // track of that type here; missing tracks are added with the source track's natural size,
  // transform and minimum frame duration, and a track without a natural size or minimum
  // frame duration takes the source track's. Every other track gets empty time of the same
  // length, so all tracks shift together. Throws ErrorException, leaving the composition as it
  // was, when `range` is not valid or not within the asset's duration, when `at` is not a
  // valid time from zero to this composition's duration, or when `asset` has no tracks.
  void insertTimeRange(TimeRange range, const Asset& asset, MediaTime at);

  // Removes `range` from every track and closes the gap; the part beyond a track's end is
  // ignored.
  void removeTimeRange(TimeRange range);

  // Plays the media of `range` over `duration` instead, in every track, shifting later media.
  // A non-positive or non-numeric `duration` changes nothing.
  void scaleTimeRange(TimeRange range, MediaTime duration);

  void setNaturalSize(Size size);
  // Sets a track's display transform; false (and no change) when there is no such track.
  bool setPreferredTransform(int32_t trackID, const AffineTransform& transform);

 private:
  friend class Composition;
  MutableComposition() = default;
  explicit MutableComposition(const Composition& other) : Composition(other) {}

  AssetTrack* mutableTrackWithID(int32_t trackID);
  void checkInvariantsInDebugBuilds() const;
};

}  // namespace reelcraft
