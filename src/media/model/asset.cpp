#include "media/model/asset.h"

#include "media/model/pinned_file.h"

namespace reelcraft {

const std::string& SourceTrack::readPath() const {
  return file ? file->readPath() : path;
}

TimeRange SourceTrack::movieTimeRange() const {
  return TimeRange::make(subtract(timeRange.start, clockStart), timeRange.duration);
}

std::string_view mediaTypeName(MediaType type) {
  switch (type) {
    case MediaType::Video:
      return "video";
    case MediaType::Audio:
      return "audio";
    case MediaType::Subtitle:
      return "subtitle";
    case MediaType::Data:
      return "data";
    case MediaType::Other:
      break;
  }
  return "other";
}

AssetTrack AssetTrack::fromSource(std::shared_ptr<const SourceTrack> source) {
  AssetTrack track;
  track.trackID = source->trackID;
  track.mediaType = source->mediaType;
  track.naturalSize = source->naturalSize;
  track.preferredTransform = source->preferredTransform;
  track.minFrameDuration = source->minFrameDuration;
  TrackSegment segment;
  segment.sourceRange = source->timeRange;
  segment.targetRange = source->movieTimeRange();
  segment.source = std::move(source);
  track.segments = SegmentList{std::move(segment)};
  return track;
}

TimeRange AssetTrack::timeRange() const {
  return segments.timeRange();
}

std::vector<const AssetTrack*> Asset::tracksWithMediaType(MediaType type) const {
  std::vector<const AssetTrack*> result;
  for (const AssetTrack& track : tracks()) {
    if (track.mediaType == type) result.push_back(&track);
  }
  return result;
}

}  // namespace reelcraft
