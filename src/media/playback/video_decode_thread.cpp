#include "media/playback/video_decode_thread.h"

#include <exception>
#include <utility>

#include "media/playback/playback_error.h"

namespace reelcraft {

namespace {

Error unexpectedFailure(const std::exception& exception) {
  return makePlaybackError(PlaybackError::Failed, "video", exception.what());
}

}  // namespace

VideoDecodeThread::VideoDecodeThread(
    std::function<std::unique_ptr<CompositionVideoSource>()> makeSource, size_t capacity,
    std::function<void()> frameReady, std::function<void(const Error&)> failed)
    : capacity_(capacity < 2 ? 2 : capacity),
      frameReady_(std::move(frameReady)),
      failed_(std::move(failed)) {
  runEnded_ = true;  // nothing to decode before the first run
  thread_ = std::thread([this, makeSource = std::move(makeSource)] { threadMain(makeSource); });
}

VideoDecodeThread::~VideoDecodeThread() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void VideoDecodeThread::reposition(MediaTime t, PlaybackDirection direction) {
  {
    std::lock_guard lock(mutex_);
    queue_.clear();
    run_ = Run{run_.generation + 1, t, direction};
    runChanged_ = true;
    runEnded_ = false;
    wakeAtSize_ = 1;
  }
  changed_.notify_all();
}

bool VideoDecodeThread::peek(size_t index, Entry& entry, bool wakeWhenQueued) {
  std::lock_guard lock(mutex_);
  if (index < queue_.size()) {
    entry = queue_[index];
    return true;
  }
  if (wakeWhenQueued) wakeAtSize_ = index + 1;
  return false;
}

void VideoDecodeThread::pop() {
  {
    std::lock_guard lock(mutex_);
    queue_.pop_front();
  }
  changed_.notify_all();
}

void VideoDecodeThread::threadMain(
    const std::function<std::unique_ptr<CompositionVideoSource>()>& makeSource) {
  std::unique_ptr<CompositionVideoSource> source;
  try {
    source = makeSource();
  } catch (const ErrorException& exception) {
    failed_(exception.error());
  } catch (const std::exception& exception) {
    failed_(unexpectedFailure(exception));
  }

  std::unique_lock lock(mutex_);
  Run run;
  bool first = true;
  std::optional<VideoFrame> previous;
  for (;;) {
    changed_.wait(lock, [&] {
      return stopping_ || runChanged_ || (!runEnded_ && queue_.size() < capacity_);
    });
    if (stopping_) break;
    if (runChanged_) {
      runChanged_ = false;
      run = run_;
      first = true;
      previous.reset();
    }

    lock.unlock();
    Entry entry;
    if (source) {
      try {
        entry = decodeNext(*source, run, first, previous);
      } catch (const ErrorException& exception) {
        failed_(exception.error());
        entry = Entry{};
      } catch (const std::exception& exception) {
        failed_(unexpectedFailure(exception));
        entry = Entry{};
      }
    }
    first = false;
    lock.lock();

    if (stopping_) break;
    if (runChanged_) continue;  // the entry belongs to a run that has been replaced
    queue_.push_back(std::move(entry));
    if (!queue_.back().frame) runEnded_ = true;
    if (wakeAtSize_ != 0 && queue_.size() >= wakeAtSize_) {
      wakeAtSize_ = 0;
      lock.unlock();
      frameReady_();
      lock.lock();
    }
  }
}

VideoDecodeThread::Entry VideoDecodeThread::decodeNext(CompositionVideoSource& source,
                                                       const Run& run, bool first,
                                                       std::optional<VideoFrame>& previous) {
  if (first) {
    VideoFrame frame = source.frameAt(run.start);
    if (run.direction == PlaybackDirection::Forward) {
      source.seek(add(frame.time, frame.duration));
    }
    previous = frame;
    return Entry{std::move(frame)};
  }
  if (run.direction == PlaybackDirection::Forward) return Entry{source.nextFrame()};
  if (!previous || compare(previous->time, MediaTime::zero()) <= 0) return Entry{};
  MediaTime earlier = subtract(previous->time, source.frameDuration());
  if (compare(earlier, MediaTime::zero()) < 0) earlier = MediaTime::zero();
  previous = source.frameAt(earlier);
  return Entry{previous};
}

}  // namespace reelcraft
