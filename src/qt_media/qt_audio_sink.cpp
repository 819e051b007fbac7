#include "qt_media/qt_audio_sink.h"

#include <algorithm>
#include <vector>

#include <QAudioFormat>
#include <QAudioSink>
#include <QIODevice>
#include <QMediaDevices>
#include <QObject>
#include <QTimer>

namespace reelcraft {

namespace {

constexpr qint64 kBytesPerFrame = AudioSink::kChannels * sizeof(float);
// How often the output thread hands samples on and reads the device's processed time.
constexpr int kFeedIntervalMs = 5;
// How much the device holds: short, so that a new run (after a seek) is heard soon.
constexpr int kDeviceBufferMs = 100;

}  // namespace

// The output thread's side. The device is fed in push mode, as much as it can take each time,
// because a stream only begins playing once its buffer is full: a pull-mode device asks in
// fixed periods, which need not add up to the buffer.
class QtAudioSink::Output : public QObject {
 public:
  explicit Output(QtAudioSink& owner) : owner_(owner) {
    feedTimer_.setInterval(kFeedIntervalMs);
    feedTimer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&feedTimer_, &QTimer::timeout, this, [this] { feed(); });
  }
  ~Output() override {
    closing_ = true;
    closeDevice();
  }

  // Begins playing `run` at `sampleRate`, unless a later start() or stop() has come meanwhile.
  void openRun(uint64_t run, int sampleRate) {
    if (closing_ || run != owner_.run_.load()) return;
    closeDevice();
    // Closing a stream lets Qt deliver this thread's events, which may have been later
    // requests that are now done.
    if (closing_ || run != owner_.run_.load()) return;
    run_ = run;
    sampleRate_ = sampleRate;
    if (!owner_.deviceFailed_.load()) openDevice(sampleRate);
    if (!device_) {
      // The run was promised an output: consume it on the system clock instead.
      wallStart_ = Clock::now();
      wallFramesTaken_ = 0;
    }
    feedTimer_.start();
  }

  void closeRun(uint64_t run) {
    if (run != owner_.run_.load()) return;
    closeDevice();
  }

 private:
  void openDevice(int sampleRate) {
    QAudioFormat format;
    format.setSampleRate(sampleRate);
    format.setChannelCount(AudioSink::kChannels);
    format.setSampleFormat(QAudioFormat::Float);
    device_ = std::make_unique<QAudioSink>(owner_.device_, format);
    device_->setBufferSize(sampleRate * kBytesPerFrame * kDeviceBufferMs / 1000);
    input_ = device_->start();
    if (input_ == nullptr || device_->error() != QAudio::NoError) {
      input_ = nullptr;
      device_.reset();
      owner_.deviceFailed_.store(true);
    }
  }

  void closeDevice() {
    feedTimer_.stop();
    run_ = 0;
    input_ = nullptr;
    if (auto device = std::move(device_)) device->stop();
  }

  void feed() {
    if (run_ == 0 || run_ != owner_.run_.load()) return;
    if (device_) {
      feedDevice();
    } else {
      feedWallClock();
    }
  }

  void feedDevice() {
    const qsizetype freeFrames = device_->bytesFree() / kBytesPerFrame;
    if (freeFrames > 0) {
      buffer_.resize(static_cast<size_t>(freeFrames) * AudioSink::kChannels);
      size_t given = owner_.pull(buffer_.data(), static_cast<size_t>(freeFrames));
      if (given < static_cast<size_t>(freeFrames) && owner_.endedRun_.load() == run_) {
        // Past the end, silence fills the device so that it plays out what it holds.
        std::fill(buffer_.begin() + given * AudioSink::kChannels, buffer_.end(), 0.0f);
        given = static_cast<size_t>(freeFrames);
      }
      if (given > 0)
        input_->write(reinterpret_cast<const char*>(buffer_.data()),
                      static_cast<qint64>(given) * kBytesPerFrame);
    }
    const int64_t heard = device_->processedUSecs() * sampleRate_ / 1'000'000;
    owner_.publishHeard(run_, heard, device_->state() == QAudio::ActiveState);
  }

  // What a device playing since the run began would have taken by now.
  void feedWallClock() {
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - wallStart_);
    const int64_t due = elapsed.count() * sampleRate_ / 1'000'000;
    if (due > wallFramesTaken_) {
      owner_.pull(nullptr, static_cast<size_t>(due - wallFramesTaken_));
      // Running dry does not hold this clock back: what was missing is never played.
      wallFramesTaken_ = due;
    }
    owner_.publishHeard(run_, owner_.PullAudioSink::playedFrames(), true);
  }

  QtAudioSink& owner_;
  std::unique_ptr<QAudioSink> device_;
  QIODevice* input_ = nullptr;  // owned by device_
  std::vector<float> buffer_;
  QTimer feedTimer_{this};  // a child, so that it moves to the output thread along
  bool closing_ = false;
  uint64_t run_ = 0;
  int sampleRate_ = 0;
  Clock::time_point wallStart_;
  int64_t wallFramesTaken_ = 0;
};

QtAudioSink::QtAudioSink(size_t capacityFrames) : PullAudioSink(capacityFrames) {
  device_ = QMediaDevices::defaultAudioOutput();
  hasDevice_ = !device_.isNull() &&
               device_.supportedSampleFormats().contains(QAudioFormat::Float) &&
               device_.maximumChannelCount() >= kChannels;
  if (!hasDevice_) return;
  minimumSampleRate_ = device_.minimumSampleRate();
  maximumSampleRate_ = device_.maximumSampleRate();
  thread_.setObjectName(QStringLiteral("audio output"));
  output_ = new Output(*this);
  output_->moveToThread(&thread_);
  thread_.start(QThread::TimeCriticalPriority);
}

QtAudioSink::~QtAudioSink() {
  if (output_ == nullptr) return;
  Output* output = output_;
  QMetaObject::invokeMethod(
      output, [output] { delete output; }, Qt::BlockingQueuedConnection);
  thread_.quit();
  thread_.wait();
}

bool QtAudioSink::canPlay(int sampleRate) const {
  return hasDevice_ && !deviceFailed_.load() && sampleRate >= minimumSampleRate_ &&
         sampleRate <= maximumSampleRate_;
}

bool QtAudioSink::start(int sampleRate) {
  if (!canPlay(sampleRate)) {
    stop();
    return false;
  }
  PullAudioSink::start(sampleRate);
  const uint64_t run = ++run_;
  {
    std::lock_guard lock(heardMutex_);
    heard_ = HeardSample{run, 0, Clock::now(), false};
    lastReported_ = 0;
  }
  Output* output = output_;
  QMetaObject::invokeMethod(
      output, [output, run, sampleRate] { output->openRun(run, sampleRate); },
      Qt::QueuedConnection);
  return true;
}

void QtAudioSink::stop() {
  PullAudioSink::stop();
  const uint64_t run = ++run_;
  if (output_ == nullptr) return;
  Output* output = output_;
  QMetaObject::invokeMethod(
      output, [output, run] { output->closeRun(run); }, Qt::QueuedConnection);
}

void QtAudioSink::endOfStream() {
  PullAudioSink::endOfStream();
  endedRun_.store(run_.load());
}

int64_t QtAudioSink::playedFrames() const {
  const int64_t taken = PullAudioSink::playedFrames();
  std::lock_guard lock(heardMutex_);
  if (heard_.run != run_.load()) return 0;
  int64_t frames = heard_.frames;
  if (heard_.advancing) {
    const auto since =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - heard_.at);
    frames += since.count() * sampleRate() / 1'000'000;
  }
  frames = std::clamp(frames, lastReported_, std::max(lastReported_, taken));
  lastReported_ = frames;
  return frames;
}

void QtAudioSink::publishHeard(uint64_t run, int64_t frames, bool advancing) {
  std::lock_guard lock(heardMutex_);
  if (run != run_.load()) return;
  heard_ = HeardSample{run, frames, Clock::now(), advancing};
}

}  // namespace reelcraft
