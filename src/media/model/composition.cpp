#include "media/model/composition.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

#include "media/base/error.h"
#include "media/model/segment_editing.h"

namespace reelcraft {
namespace {

std::string secondsText(MediaTime time) {
  char text[64];
  std::snprintf(text, sizeof text, "%.3f s", time.seconds());
  return text;
}

[[noreturn]] void fail(CompositionError code, std::string description, std::string suggestion) {
  throw ErrorException(mediaError(code, std::move(description), std::move(suggestion)));
}

bool isNegative(MediaTime t) {
  return compare(t, MediaTime::zero()) < 0;
}

// A range that an edit acts on: valid, numeric, not before zero and not empty.
bool isEditableRange(const TimeRange& range) {
  return range.isValid() && !isNegative(range.start) &&
         compare(range.duration, MediaTime::zero()) > 0;
}

bool hasTrackID(const std::vector<AssetTrack>& tracks, int32_t trackID) {
  return std::any_of(tracks.begin(), tracks.end(),
                     [trackID](const AssetTrack& track) { return track.trackID == trackID; });
}

int32_t chooseTrackID(const std::vector<AssetTrack>& tracks, int32_t preferredTrackID) {
  if (preferredTrackID > 0 && !hasTrackID(tracks, preferredTrackID)) return preferredTrackID;
  int32_t candidate = 1;
  while (hasTrackID(tracks, candidate)) ++candidate;
  return candidate;
}

// The index in `tracks` of the `ordinal`-th track (from 0) of `mediaType`, or tracks.size().
size_t indexOfTrack(const std::vector<AssetTrack>& tracks, MediaType mediaType, size_t ordinal) {
  for (size_t i = 0; i < tracks.size(); ++i) {
    if (tracks[i].mediaType != mediaType) continue;
    if (ordinal == 0) return i;
    --ordinal;
  }
  return tracks.size();
}

bool sameTime(MediaTime a, MediaTime b) {
  if (!a.isValid() || !b.isValid()) return a.isValid() == b.isValid();
  return compare(a, b) == 0;
}

bool sameRange(const TimeRange& a, const TimeRange& b) {
  return sameTime(a.start, b.start) && sameTime(a.duration, b.duration);
}

void checkTrack(const AssetTrack& track) {
  const auto broken = [&track](size_t index, const std::string& what) {
    throw std::logic_error("track " + std::to_string(track.trackID) + ", segment " +
                           std::to_string(index) + ": " + what);
  };
  MediaTime expectedStart = MediaTime::zero();
  size_t i = 0;
  for (const TrackSegment& segment : track.segments) {
    const TrackSegment indexed = track.segments[i];
    if (indexed.source != segment.source ||
        compare(indexed.targetRange.start, segment.targetRange.start) != 0) {
      broken(i, "reads differently by index");
    }
    const TimeRange& target = segment.targetRange;
    if (!target.isValid() || !target.duration.isNumeric()) {
      broken(i, "target range " + target.debugString() + " is not a numeric range");
    }
    if (compare(target.start, expectedStart) != 0) {
      broken(i, "starts at " + target.start.debugString() + " instead of " +
                    expectedStart.debugString());
    }
    if (compare(target.duration, MediaTime::zero()) <= 0) {
      broken(i, "has no length: " + target.debugString());
    }
    if (segment.isEmpty()) {
      if (segment.sourceRange.isValid()) broken(i, "is empty but has a source range");
    } else if (!segment.sourceRange.isValid() || !segment.sourceRange.duration.isNumeric()) {
      broken(i, "source range " + segment.sourceRange.debugString() + " is not usable");
    }
    expectedStart = target.end();
    ++i;
  }
  if (i != track.segments.size()) broken(i, "is past the list's size");
}

}  // namespace

MediaTime Composition::duration() const {
  MediaTime longest = MediaTime::zero();
  for (const AssetTrack& track : tracks_) longest = maximum(longest, segmentsEnd(track.segments));
  return longest;
}

Size Composition::naturalSize() const {
  if (explicitNaturalSize_) return *explicitNaturalSize_;
  for (const AssetTrack& track : tracks_) {
    if (track.mediaType != MediaType::Video) continue;
    const bool showsMedia = std::any_of(track.segments.begin(), track.segments.end(),
                                        [](const TrackSegment& s) { return !s.isEmpty(); });
    if (showsMedia) return track.naturalSize;
  }
  return Size{};
}

const AssetTrack* Composition::trackWithID(int32_t trackID) const {
  for (const AssetTrack& track : tracks_) {
    if (track.trackID == trackID) return &track;
  }
  return nullptr;
}

std::shared_ptr<const Composition> Composition::copy() const {
  return std::shared_ptr<const Composition>(new Composition(*this));
}

std::shared_ptr<MutableComposition> Composition::mutableCopy() const {
  return std::shared_ptr<MutableComposition>(new MutableComposition(*this));
}

void Composition::checkInvariants() const {
  for (size_t i = 0; i < tracks_.size(); ++i) {
    const int32_t id = tracks_[i].trackID;
    if (id <= 0) throw std::logic_error("track " + std::to_string(id) + " has no valid id");
    for (size_t j = 0; j < i; ++j) {
      if (tracks_[j].trackID == id) {
        throw std::logic_error("track id " + std::to_string(id) + " is used twice");
      }
    }
    checkTrack(tracks_[i]);
  }
}

bool equivalent(const Composition& a, const Composition& b) {
  if (a.explicitNaturalSize_ != b.explicitNaturalSize_) return false;
  if (!(a.naturalSize() == b.naturalSize())) return false;
  if (a.tracks_.size() != b.tracks_.size()) return false;
  for (size_t i = 0; i < a.tracks_.size(); ++i) {
    const AssetTrack& x = a.tracks_[i];
    const AssetTrack& y = b.tracks_[i];
    if (x.trackID != y.trackID || x.mediaType != y.mediaType || !(x.naturalSize == y.naturalSize) ||
        !(x.preferredTransform == y.preferredTransform) ||
        !sameTime(x.minFrameDuration, y.minFrameDuration) ||
        x.segments.size() != y.segments.size()) {
      return false;
    }
    if (x.segments.sharesStorageWith(y.segments)) continue;
    for (auto s = x.segments.begin(), t = y.segments.begin(); s != x.segments.end(); ++s, ++t) {
      const TrackSegment u = *s;
      const TrackSegment v = *t;
      if (u.source != v.source || !sameRange(u.sourceRange, v.sourceRange) ||
          !sameRange(u.targetRange, v.targetRange)) {
        return false;
      }
    }
  }
  return true;
}

std::shared_ptr<MutableComposition> MutableComposition::create() {
  return std::shared_ptr<MutableComposition>(new MutableComposition());
}

int32_t MutableComposition::addMutableTrack(MediaType mediaType, int32_t preferredTrackID) {
  AssetTrack track;
  track.trackID = chooseTrackID(tracks_, preferredTrackID);
  track.mediaType = mediaType;
  tracks_.push_back(std::move(track));
  return tracks_.back().trackID;
}

void MutableComposition::removeTrack(int32_t trackID) {
  std::erase_if(tracks_, [trackID](const AssetTrack& track) { return track.trackID == trackID; });
}

void MutableComposition::insertEmptyTimeRange(TimeRange range) {
  if (!isEditableRange(range) || !range.duration.isNumeric()) return;
  std::vector<TrackSegment> gap(1);
  gap.front().targetRange = TimeRange::make(MediaTime::zero(), range.duration);
  std::vector<AssetTrack> edited = tracks_;
  for (AssetTrack& track : edited) {
    track.segments = insertingSegments(track.segments, range.start, gap);
  }
  tracks_ = std::move(edited);
  checkInvariantsInDebugBuilds();
}

void MutableComposition::insertTimeRange(TimeRange range, const Asset& asset, MediaTime at) {
  if (asset.tracks().empty()) {
    fail(CompositionError::AssetHasNoTracks, "The movie to insert has no tracks.",
         "Choose a movie that contains video or audio, then try again.");
  }
  if (!range.isValid() || !range.duration.isNumeric() || isNegative(range.start)) {
    fail(CompositionError::InvalidTimeRange,
         "The time range to insert (" + range.debugString() + ") is not a valid range.",
         "Select a part of the movie that starts at or after its beginning, then try again.");
  }
  const MediaTime assetDuration = asset.duration();
  if (compare(range.end(), assetDuration) > 0) {
    fail(CompositionError::TimeRangeOutsideAsset,
         "The time range to insert, from " + secondsText(range.start) + " to " +
             secondsText(range.end()) + ", lies outside the movie it comes from, which is " +
             secondsText(assetDuration) + " long.",
         "Select a part that lies within that movie, then try again.");
  }
  const MediaTime ownDuration = duration();
  if (!at.isNumeric() || isNegative(at) || compare(at, ownDuration) > 0) {
    fail(CompositionError::InvalidInsertionTime,
         "The insertion point " + (at.isNumeric() ? secondsText(at) : at.debugString()) +
             " lies outside the movie, which is " + secondsText(ownDuration) + " long.",
         "Move the playhead into the movie, then try again.");
  }
  if (compare(range.duration, MediaTime::zero()) == 0) return;

  // Everything is read from `asset` before anything changes: it may be this composition.
  std::vector<AssetTrack> edited = tracks_;
  std::vector<std::vector<TrackSegment>> insertions(edited.size());
  std::vector<bool> matched(edited.size(), false);
  std::map<MediaType, size_t> ordinals;
  for (const AssetTrack& source : asset.tracks()) {
    const size_t index = indexOfTrack(edited, source.mediaType, ordinals[source.mediaType]++);
    if (index == edited.size()) {
      AssetTrack added;
      added.trackID = chooseTrackID(edited, source.trackID);
      added.mediaType = source.mediaType;
      added.naturalSize = source.naturalSize;
      added.preferredTransform = source.preferredTransform;
      added.minFrameDuration = source.minFrameDuration;
      edited.push_back(std::move(added));
      insertions.emplace_back();
      matched.push_back(false);
    }
    AssetTrack& track = edited[index];
    if (track.naturalSize.isEmpty()) track.naturalSize = source.naturalSize;
    if (!track.minFrameDuration.isNumeric()) track.minFrameDuration = source.minFrameDuration;
    insertions[index] = extractSegments(source, range);
    matched[index] = true;
  }
  std::vector<TrackSegment> gap(1);
  gap.front().targetRange = TimeRange::make(MediaTime::zero(), range.duration);
  for (size_t i = 0; i < edited.size(); ++i) {
    edited[i].segments =
        insertingSegments(edited[i].segments, at, matched[i] ? insertions[i] : gap);
  }
  tracks_ = std::move(edited);
  checkInvariantsInDebugBuilds();
}

void MutableComposition::removeTimeRange(TimeRange range) {
  if (!isEditableRange(range)) return;
  std::vector<AssetTrack> edited = tracks_;
  for (AssetTrack& track : edited) {
    if (compare(range.start, segmentsEnd(track.segments)) >= 0) continue;
    track.segments = removingTimeRange(track.segments, range);
  }
  tracks_ = std::move(edited);
  checkInvariantsInDebugBuilds();
}

void MutableComposition::scaleTimeRange(TimeRange range, MediaTime duration) {
  if (!isEditableRange(range) || !range.duration.isNumeric() || !duration.isNumeric() ||
      compare(duration, MediaTime::zero()) <= 0 || compare(duration, range.duration) == 0) {
    return;
  }
  std::vector<AssetTrack> edited = tracks_;
  for (AssetTrack& track : edited) {
    if (compare(range.start, segmentsEnd(track.segments)) >= 0) continue;
    track.segments = scalingTimeRange(track.segments, range, duration);
  }
  tracks_ = std::move(edited);
  checkInvariantsInDebugBuilds();
}

void MutableComposition::setNaturalSize(Size size) {
  explicitNaturalSize_ = size;
}

bool MutableComposition::setPreferredTransform(int32_t trackID, const AffineTransform& transform) {
  AssetTrack* track = mutableTrackWithID(trackID);
  if (track == nullptr) return false;
  track->preferredTransform = transform;
  return true;
}

AssetTrack* MutableComposition::mutableTrackWithID(int32_t trackID) {
  for (AssetTrack& track : tracks_) {
    if (track.trackID == trackID) return &track;
  }
  return nullptr;
}

void MutableComposition::checkInvariantsInDebugBuilds() const {
#ifndef NDEBUG
  checkInvariants();
#endif
}

}  // namespace reelcraft
