#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "media/geometry.h"
#include "media/media_time.h"

struct AVCodecParameters;

namespace reelcraft {

enum class MediaType { Video, Audio, Subtitle, Data, Other };

// "video", "audio", "subtitle", "data", "other".
std::string_view mediaTypeName(MediaType type);

// One track of a media file as the demuxer describes it. Immutable once made, and shared by
// every asset, composition and snapshot that uses it, so copying a composition never copies
// media or codec state.
struct SourceTrack {
  std::string path;      // the file the samples live in
  int streamIndex = -1;  // the demuxer's stream index in that file
  int32_t trackID = 0;   // the container's track id (1-based for QuickTime/MP4)
  MediaType mediaType = MediaType::Other;
  std::string codecName;  // FFmpeg codec name, e.g. "h264", "aac"
  // Null for tracks that no file backs (synthetic tracks in tests).
  std::shared_ptr<const AVCodecParameters> codecParameters;
  TimeRange timeRange = TimeRange::zero();            // presentation range in the file's time
  Size naturalSize;                                   // coded picture size before the transform
  AffineTransform preferredTransform;                 // from the display matrix
  MediaTime minFrameDuration = MediaTime::invalid();  // invalid for audio and other media
  int sampleRate = 0;
  int channels = 0;
};

// A stretch of a track: `targetRange` of the owner's timeline shows `sourceRange` of `source`.
// When the two durations differ the stretch plays scaled. A segment with no source is empty
// time; its sourceRange is invalid.
struct TrackSegment {
  std::shared_ptr<const SourceTrack> source;
  TimeRange sourceRange = TimeRange::invalid();
  TimeRange targetRange = TimeRange::invalid();

  bool isEmpty() const { return source == nullptr; }
};

// A track of an asset: what a file track or a composition track looks like from outside.
struct AssetTrack {
  int32_t trackID = 0;
  MediaType mediaType = MediaType::Other;
  Size naturalSize;
  AffineTransform preferredTransform;
  MediaTime minFrameDuration = MediaTime::invalid();
  // In timeline order, contiguous, starting at zero for compositions.
  std::vector<TrackSegment> segments;

  // A track that shows the whole of `source` at the source's own times.
  static AssetTrack fromSource(std::shared_ptr<const SourceTrack> source);
  // From the start of the first segment to the end of the last; zero when there are none.
  TimeRange timeRange() const;
};

// Anything that can be played, inserted from, exported or saved: a file or a composition.
class Asset {
 public:
  virtual ~Asset() = default;
  virtual MediaTime duration() const = 0;
  virtual Size naturalSize() const = 0;
  virtual const std::vector<AssetTrack>& tracks() const = 0;

  // The tracks of one media type, in track order.
  std::vector<const AssetTrack*> tracksWithMediaType(MediaType type) const;
};

using AssetPtr = std::shared_ptr<const Asset>;

}  // namespace reelcraft
