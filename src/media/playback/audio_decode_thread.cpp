#include "media/playback/audio_decode_thread.h"

#include <chrono>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "media/audio/audio_tempo_filter.h"
#include "media/audio/composition_audio_source.h"
#include "media/playback/playback_error.h"

namespace reelcraft {

namespace {

constexpr int kChunkFrames = 1024;
// How long to wait for the sink to make room; well under its buffer's length.
constexpr auto kRoomPollInterval = std::chrono::milliseconds(4);

// One run's sound on its way from the source to the sink.
class RunPump {
 public:
  RunPump(CompositionAudioSource& source, MediaTime start, double rate,
          std::shared_ptr<AudioSink> sink)
      : source_(source), sink_(std::move(sink)) {
    source_.seek(start);
    if (rate != 1.0) tempo_ = std::make_unique<AudioTempoFilter>(rate, source_.sampleRate());
  }

  AudioSink& sink() { return *sink_; }
  int64_t framesWritten() const { return written_; }
  bool ended() const { return ended_; }

  // Moves some sound along; false when the sink had no room for it.
  bool pump() {
    if (offset_ == pending_.size()) refill();
    if (offset_ < pending_.size()) {
      const size_t frames = (pending_.size() - offset_) / AudioSink::kChannels;
      const size_t taken = sink_->write(pending_.data() + offset_, frames);
      offset_ += taken * AudioSink::kChannels;
      written_ += static_cast<int64_t>(taken);
      if (taken == 0) return false;
    }
    if (offset_ == pending_.size() && inputEnded_) finish();
    return true;
  }

  void finish() {
    if (ended_) return;
    sink_->endOfStream();
    ended_ = true;
  }

 private:
  void refill() {
    pending_.clear();
    offset_ = 0;
    if (inputEnded_) return;
    std::optional<AudioChunk> chunk = source_.read(kChunkFrames);
    if (!chunk) {
      inputEnded_ = true;
      if (tempo_) tempo_->finish(pending_);
      return;
    }
    if (tempo_) {
      tempo_->push(chunk->samples.data(), static_cast<int>(chunk->frameCount()), pending_);
    } else {
      pending_ = std::move(chunk->samples);
    }
  }

  CompositionAudioSource& source_;
  std::shared_ptr<AudioSink> sink_;
  std::unique_ptr<AudioTempoFilter> tempo_;
  std::vector<float> pending_;
  size_t offset_ = 0;
  int64_t written_ = 0;
  bool inputEnded_ = false;
  bool ended_ = false;
};

Error unexpectedFailure(const std::exception& exception) {
  return makePlaybackError(PlaybackError::Failed, "sound", exception.what());
}

}  // namespace

AudioDecodeThread::AudioDecodeThread(std::shared_ptr<const Composition> composition, int sampleRate,
                                     std::function<void(const Error&)> failed)
    : sampleRate_(sampleRate), failed_(std::move(failed)) {
  thread_ = std::thread([this, composition = std::move(composition)]() mutable {
    threadMain(std::move(composition));
  });
}

AudioDecodeThread::~AudioDecodeThread() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

uint64_t AudioDecodeThread::post(Command command) {
  uint64_t generation;
  {
    std::lock_guard lock(mutex_);
    generation = ++lastGeneration_;
    command.generation = generation;
    command_ = std::move(command);
    commandPending_ = true;
  }
  changed_.notify_all();
  return generation;
}

uint64_t AudioDecodeThread::play(MediaTime t, double rate, std::shared_ptr<AudioSink> sink) {
  return post(Command{0, true, t, rate, std::move(sink)});
}

void AudioDecodeThread::stop() {
  post(Command{});
}

AudioDecodeThread::RunState AudioDecodeThread::state() const {
  std::lock_guard lock(mutex_);
  return state_;
}

void AudioDecodeThread::threadMain(std::shared_ptr<const Composition> composition) {
  std::unique_ptr<CompositionAudioSource> source;
  try {
    source = CompositionAudioSource::create(std::move(composition), sampleRate_);
  } catch (const ErrorException& exception) {
    failed_(exception.error());
  } catch (const std::exception& exception) {
    failed_(unexpectedFailure(exception));
  }

  std::unique_ptr<RunPump> run;
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return stopping_ || commandPending_ || (run && !run->ended()); });
    if (stopping_) break;

    if (commandPending_) {
      Command command = std::move(command_);
      commandPending_ = false;
      lock.unlock();
      if (run) run->sink().stop();
      run.reset();
      bool opened = false;
      std::optional<Error> failure;
      if (command.play && command.sink) {
        try {
          if (!source) throw std::runtime_error("the sound could not be opened");
          run = std::make_unique<RunPump>(*source, command.start, command.rate, command.sink);
          opened = run->sink().start(sampleRate_);
          if (!opened) run.reset();
        } catch (const ErrorException& exception) {
          failure = exception.error();
        } catch (const std::exception& exception) {
          failure = unexpectedFailure(exception);
        }
        if (failure) {
          run.reset();
          failed_(*failure);
        }
      }
      lock.lock();
      state_ = RunState{command.generation, command.play, opened, !run, 0};
      continue;
    }

    lock.unlock();
    bool room = true;
    std::optional<Error> failure;
    try {
      room = run->pump();
    } catch (const ErrorException& exception) {
      failure = exception.error();
    } catch (const std::exception& exception) {
      failure = unexpectedFailure(exception);
    }
    if (failure) {
      run->finish();
      failed_(*failure);
    }
    lock.lock();
    state_.framesWritten = run->framesWritten();
    state_.ended = run->ended();
    if (!room) {
      changed_.wait_for(lock, kRoomPollInterval, [&] { return stopping_ || commandPending_; });
    }
  }
  lock.unlock();
  if (run) run->sink().stop();
}

}  // namespace reelcraft
