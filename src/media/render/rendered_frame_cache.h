#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "media/base/media_time.h"

struct AVFrame;

namespace reelcraft {

// Pictures already drawn, each with the stretch of time that it shows on its layer (a video
// track of the composition, by index), kept around the playhead: a step back or forth, or a
// second request for the same time, then needs no decoding and no drawing.
//
// Not thread-safe.
class RenderedFrameCache {
 public:
  // Keeps at most `capacity` pictures (at least one).
  explicit RenderedFrameCache(size_t capacity);

  size_t capacity() const { return capacity_; }
  size_t size() const { return entries_.size(); }

  // The picture that `layer` shows at `t`, or null.
  std::shared_ptr<AVFrame> find(size_t layer, MediaTime t) const;

  // Keeps `picture` as what `layer` shows from `time` for `duration`, in place of a picture
  // kept for the same start. Beyond the capacity, the pictures farthest from `playhead` go.
  void insert(size_t layer, MediaTime time, MediaTime duration, std::shared_ptr<AVFrame> picture,
              MediaTime playhead);

  void clear() { entries_.clear(); }

 private:
  struct Entry {
    size_t layer = 0;
    TimeRange range;
    std::shared_ptr<AVFrame> picture;
  };

  size_t capacity_;
  std::vector<Entry> entries_;
};

}  // namespace reelcraft
