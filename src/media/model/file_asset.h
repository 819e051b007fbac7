#pragma once

#include <memory>
#include <string>
#include <vector>

#include "media/model/asset.h"

namespace reelcraft {

// A movie or sound file as an asset: its video and audio tracks as the demuxer describes
// them. Opening reads the file's header and stream information only and holds the file open
// (one descriptor, see PinnedFile), so that the asset keeps showing the file it was opened from
// even after a save puts a new file under its name; readers open the held file themselves, so
// an asset is cheap to share across threads.
//
// Tracks are the file's video and audio streams in stream order. A stream whose codec FFmpeg
// cannot decode is left out, as are cover pictures, subtitles and data streams; opening fails
// only when no video or audio track is left.
class FileAsset final : public Asset {
 public:
  // Throws ErrorException with a media error (media_error.h) when the file cannot be used.
  static std::shared_ptr<const FileAsset> open(const std::string& path);

  const std::string& path() const { return path_; }
  // The latest end of the tracks (or the container's duration when no stream has one).
  MediaTime duration() const override { return duration_; }
  // The first video track's size as displayed (preferred transform applied); zero without
  // video.
  Size naturalSize() const override { return naturalSize_; }
  const std::vector<AssetTrack>& tracks() const override { return tracks_; }
  // The tracks' sources, in the same order as tracks().
  const std::vector<std::shared_ptr<const SourceTrack>>& sourceTracks() const {
    return sourceTracks_;
  }

 private:
  FileAsset() = default;

  std::string path_;
  MediaTime duration_ = MediaTime::zero();
  Size naturalSize_;
  std::vector<AssetTrack> tracks_;
  std::vector<std::shared_ptr<const SourceTrack>> sourceTracks_;
};

}  // namespace reelcraft
