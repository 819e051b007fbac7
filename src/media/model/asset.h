#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "media/base/geometry.h"
#include "media/base/media_time.h"
#include "media/model/segment_list.h"

struct AVCodecParameters;

namespace reelcraft {

class PinnedFile;

enum class MediaType { Video, Audio, Subtitle, Data, Other };

// "video", "audio", "subtitle", "data", "other".
std::string_view mediaTypeName(MediaType type);

// One track of a media file as the demuxer describes it. Immutable once made, and shared by
// every asset, composition and snapshot that uses it, so copying a composition never copies
// media or codec state.
struct SourceTrack {
  std::string path;  // the file the samples live in, as named when it was opened
  // The file held open as it was opened, so that a newer file saved under the same name is
  // never read in its place; null for tracks that no file backs.
  std::shared_ptr<const PinnedFile> file;
  int streamIndex = -1;  // the demuxer's stream index in that file
  int32_t trackID = 0;   // the container's track id (1-based for QuickTime/MP4)
  MediaType mediaType = MediaType::Other;
  std::string codecName;  // FFmpeg codec name, e.g. "h264", "aac"
  // Null for tracks that no file backs (synthetic tracks in tests).
  std::shared_ptr<const AVCodecParameters> codecParameters;
  TimeRange timeRange = TimeRange::zero();            // presentation range in the file's time
  MediaTime clockStart = MediaTime::zero();           // the file's time at movie time zero
  Size naturalSize;                                   // coded picture size before the transform
  AffineTransform preferredTransform;                 // from the display matrix
  MediaTime minFrameDuration = MediaTime::invalid();  // invalid for audio and other media
  int sampleRate = 0;
  int channels = 0;

  // What readers open to reach the samples: the held file, else `path`.
  const std::string& readPath() const;
  // Where the samples play in the movie: timeRange less clockStart.
  TimeRange movieTimeRange() const;
};

// A track of an asset: what a file track or a composition track looks like from outside.
struct AssetTrack {
  int32_t trackID = 0;
  MediaType mediaType = MediaType::Other;
  Size naturalSize;
  AffineTransform preferredTransform;
  MediaTime minFrameDuration = MediaTime::invalid();
  // In timeline order, contiguous, starting at zero for compositions.
  SegmentList segments;

  // A track that shows the whole of `source` at its movie times.
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
