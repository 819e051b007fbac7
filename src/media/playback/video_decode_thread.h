#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "media/render/composition_video_source.h"
#include "media/base/error.h"
#include "media/base/media_time.h"

namespace reelcraft {

enum class PlaybackDirection { Forward, Reverse };

// Decodes a composition's video on a thread of its own into a short queue of frames for the
// presentation side, in runs: reposition() starts a run at a time and in a direction, and the
// thread keeps the queue filled with the run's frames (the frame displayed at the time first,
// then the following frames forward or the earlier ones in reverse) until the queue is full
// or the run reaches an end, where it queues an end marker. Frames of an earlier run are never
// seen once reposition() has returned.
//
// The consumer side (reposition, peek, pop) belongs to one thread, the presentation thread.
class VideoDecodeThread {
 public:
  // A queued entry: a frame, or the end of the run when `frame` is empty.
  struct Entry {
    std::optional<VideoFrame> frame;
  };

  // `makeSource` runs first thing on the new thread. `frameReady` is called on the decoding
  // thread, never under the queue's lock, after an entry has been queued that the consumer
  // asked to be told about (see peek). `failed` is called on the decoding thread when the
  // source cannot be made or read; the run then ends there.
  VideoDecodeThread(std::function<std::unique_ptr<CompositionVideoSource>()> makeSource,
                    size_t capacity, std::function<void()> frameReady,
                    std::function<void(const Error&)> failed);
  // Stops the thread, after the frame it is decoding, and joins it.
  ~VideoDecodeThread();
  VideoDecodeThread(const VideoDecodeThread&) = delete;
  VideoDecodeThread& operator=(const VideoDecodeThread&) = delete;

  // Drops every queued entry and starts a run at `t` (kept within the movie) in `direction`.
  void reposition(MediaTime t, PlaybackDirection direction);

  // Copies the entry at `index` (0 is the front) into `entry`; false when the queue does not
  // reach that far yet, in which case, when `wakeWhenQueued`, frameReady is called as soon as
  // it does.
  bool peek(size_t index, Entry& entry, bool wakeWhenQueued);
  // Takes the front entry; there must be one.
  void pop();

 private:
  struct Run {
    uint64_t generation = 0;
    MediaTime start;
    PlaybackDirection direction = PlaybackDirection::Forward;
  };

  void threadMain(const std::function<std::unique_ptr<CompositionVideoSource>()>& makeSource);
  // Decodes the run's next entry (without the lock).
  Entry decodeNext(CompositionVideoSource& source, const Run& run, bool first,
                   std::optional<VideoFrame>& previous);

  const size_t capacity_;
  const std::function<void()> frameReady_;
  const std::function<void(const Error&)> failed_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Entry> queue_;
  Run run_;
  bool runChanged_ = false;  // a new run waits to be started by the thread
  bool runEnded_ = false;    // the current run has queued its end marker
  size_t wakeAtSize_ = 0;    // call frameReady when the queue grows to this size (0: don't)
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace reelcraft
