#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <vector>

#include "media/base/media_time.h"

namespace reelcraft {

struct SourceTrack;

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
  // The stored form, for the code that edits segment lists (media/model/segment_storage.h).
  const std::shared_ptr<const SegmentStorage>& storage() const { return storage_; }

 private:
  std::shared_ptr<const SegmentStorage> storage_;
};

}  // namespace reelcraft
