#pragma once

// Assets made of source tracks that no file backs, for testing compositions and edits.

#include <memory>
#include <utility>
#include <vector>

#include "media/model/asset.h"

namespace reelcraft::synthetic {

inline std::shared_ptr<const SourceTrack> sourceTrack(MediaType type, int32_t trackID,
                                                      TimeRange range) {
  auto track = std::make_shared<SourceTrack>();
  track->path = "synthetic";
  track->trackID = trackID;
  track->mediaType = type;
  track->timeRange = range;
  if (type == MediaType::Video) {
    track->naturalSize = Size{1920, 1080};
    track->minFrameDuration = MediaTime::make(1001, 30000);
  }
  return track;
}

// An asset that shows each of its source tracks whole at the source's own times, as a file does.
class SourceAsset : public reelcraft::Asset {
 public:
  explicit SourceAsset(std::vector<std::shared_ptr<const SourceTrack>> sources)
      : sources_(std::move(sources)) {
    for (const auto& source : sources_) tracks_.push_back(AssetTrack::fromSource(source));
  }

  MediaTime duration() const override {
    MediaTime longest = MediaTime::zero();
    for (const auto& track : tracks_) longest = maximum(longest, track.timeRange().end());
    return longest;
  }
  Size naturalSize() const override {
    for (const auto& track : tracks_) {
      if (track.mediaType == MediaType::Video) return track.naturalSize;
    }
    return Size{};
  }
  const std::vector<AssetTrack>& tracks() const override { return tracks_; }
  const std::vector<std::shared_ptr<const SourceTrack>>& sourceTracks() const { return sources_; }

 private:
  std::vector<std::shared_ptr<const SourceTrack>> sources_;
  std::vector<AssetTrack> tracks_;
};

inline TimeRange rangeOf(int64_t start, int64_t duration, int32_t timescale) {
  return TimeRange::make(MediaTime::make(start, timescale), MediaTime::make(duration, timescale));
}

// A camera-like movie: NTSC video (1001/30000 frames) of 60.06 s, 44.1 kHz audio of 60 s and a
// text track on a 1/600 timescale that runs only from 2 s to 50 s.
inline std::shared_ptr<SourceAsset> cameraMovie() {
  return std::make_shared<SourceAsset>(std::vector<std::shared_ptr<const SourceTrack>>{
      sourceTrack(MediaType::Video, 1, rangeOf(0, 1801800, 30000)),
      sourceTrack(MediaType::Audio, 2, rangeOf(0, 2646000, 44100)),
      sourceTrack(MediaType::Subtitle, 3, rangeOf(1200, 28800, 600)),
  });
}

// Two audio tracks of 20 s (48 kHz and 44.1 kHz), and no video.
inline std::shared_ptr<SourceAsset> twoVoiceRecording() {
  return std::make_shared<SourceAsset>(std::vector<std::shared_ptr<const SourceTrack>>{
      sourceTrack(MediaType::Audio, 7, rangeOf(0, 960000, 48000)),
      sourceTrack(MediaType::Audio, 8, rangeOf(0, 882000, 44100)),
  });
}

}  // namespace reelcraft::synthetic
