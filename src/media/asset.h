#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "media/geometry.h"
#include "media/media_time.h"

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
  Size naturalSize;                                   // coded picture size before the transform
  AffineTransform preferredTransform;                 // from the display matrix
  MediaTime minFrameDuration = MediaTime::invalid();  // invalid for audio and other media
  int sampleRate = 0;
  int channels = 0;

  // What readers open to reach the samples: the held file, else `path`.
  const std::string& readPath() const;
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

struct SegmentStorage;

// The segments of a track in timeline order, read like a constant sequence of TrackSegment
// values (elements are produced on reading, so hold them by value or const reference). The
// segments are kept in shared, immutable runs, with target times in whole ticks of one timescale
// per list: copying a list copies a pointer, an edit rebuilds only the runs it touches, and lists
// may be copied and read from several threads.
class SegmentList {
 public:
  class const_iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using iterator_concept = std::forward_iterator_tag;
    using value_type = TrackSegment;
    using difference_type = std::ptrdiff_t;
    using reference = TrackSegment;
    struct pointer {
      TrackSegment segment;
      const TrackSegment* operator->() const { return &segment; }
    };

    const_iterator() = default;
    TrackSegment operator*() const;
    pointer operator->() const { return pointer{**this}; }
    const_iterator& operator++();
    const_iterator operator++(int) {
      const_iterator previous = *this;
      ++*this;
      return previous;
    }
    bool operator==(const const_iterator&) const = default;

   private:
    friend class SegmentList;
    const_iterator(const SegmentStorage* storage, size_t run, size_t piece)
        : storage_(storage), run_(run), piece_(piece) {}
    const SegmentStorage* storage_ = nullptr;
    size_t run_ = 0;
    size_t piece_ = 0;
  };
  using iterator = const_iterator;
  using value_type = TrackSegment;
  using size_type = std::size_t;

  SegmentList() = default;
  // The segments laid end to end from the first one's target start (later target starts are
  // not read: each segment begins where the previous one ends).
  SegmentList(const std::vector<TrackSegment>& segments);
  SegmentList(std::initializer_list<TrackSegment> segments)
      : SegmentList(std::vector<TrackSegment>(segments)) {}
  explicit SegmentList(std::shared_ptr<const SegmentStorage> storage)
      : storage_(std::move(storage)) {}

  const_iterator begin() const;
  const_iterator end() const;
  size_type size() const;
  bool empty() const { return size() == 0; }
  // In logarithmic time.
  TrackSegment operator[](size_type index) const;
  TrackSegment at(size_type index) const;
  TrackSegment front() const { return (*this)[0]; }
  TrackSegment back() const { return (*this)[size() - 1]; }

  // From the start of the first segment to the end of the last; zero when empty.
  TimeRange timeRange() const;
  // The first segment that ends after `t`, or end().
  const_iterator segmentEndingAfter(MediaTime t) const;
  std::vector<TrackSegment> toVector() const;

  void push_back(const TrackSegment& segment);
  void clear() { storage_.reset(); }

  // Whether both lists read the same stored runs.
  bool sharesStorageWith(const SegmentList& other) const {
    return storage_ != nullptr && storage_ == other.storage_;
  }
  // The stored form, for the code that edits segment lists (media/segment_storage.h).
  const std::shared_ptr<const SegmentStorage>& storage() const { return storage_; }

 private:
  std::shared_ptr<const SegmentStorage> storage_;
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
