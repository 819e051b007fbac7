#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "media/model/sample_buffer.h"

namespace reelcraft {

// Reads samples ahead of the one who takes them, on a worker thread of its own: the worker
// keeps up to `depth` samples ready, so that decoding and drawing go on while the taker
// handles the samples already read (an exporter encodes them, for instance).
//
// The samples come out exactly as the producer made them, in the same order; the end, and
// a failure (an exception thrown by the producer), are handed on in their place in the
// sequence, after the samples read before them.
//
// next() is used by one thread at a time; stop() may be called from any thread.
class SampleReadAhead {
 public:
  // Makes the next sample, or null at the end; may throw.
  using Producer = std::function<std::shared_ptr<SampleBuffer>()>;

  // Starts the worker, which calls `produce` until it returns null or throws, or until
  // stopped. Throws std::invalid_argument for no producer or a depth of zero.
  SampleReadAhead(Producer produce, size_t depth);
  // Stops the worker and waits for it to finish the sample it is reading.
  ~SampleReadAhead();
  SampleReadAhead(const SampleReadAhead&) = delete;
  SampleReadAhead& operator=(const SampleReadAhead&) = delete;

  // The next sample, waiting for the worker to read it: null at the end or once stopped.
  // Rethrows the producer's exception where it was thrown in the sequence.
  std::shared_ptr<SampleBuffer> next();

  // The worker reads nothing more after the sample it is reading, and next() gives null from
  // now on. Idempotent.
  void stop();

 private:
  void run();

  Producer produce_;
  size_t depth_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::shared_ptr<SampleBuffer>> ready_;
  std::exception_ptr failure_;  // thrown by the producer after the samples in ready_
  bool ended_ = false;          // the producer has returned null or thrown
  bool stopped_ = false;
  std::thread worker_;  // last: started once everything else is set up
};

}  // namespace reelcraft
