#include "media/playback/player.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <stdexcept>
#include <utility>

#include "media/playback/audio_decode_thread.h"
#include "media/audio/null_audio_sink.h"
#include "media/playback/playback_clock.h"
#include "media/playback/video_decode_thread.h"

namespace reelcraft {

namespace {

using WallClock = std::chrono::steady_clock;
__extension__ typedef __int128 Int128;

// How often the time is looked at while it stands still waiting for the sound to begin.
constexpr auto kAudioStartPoll = std::chrono::milliseconds(2);
// The longest a playing player goes without looking at its clock.
constexpr auto kLongestTickInterval = std::chrono::milliseconds(100);

MediaTime clampTime(MediaTime t, MediaTime low, MediaTime high) {
  if (compare(t, low) < 0) return low;
  if (compare(t, high) > 0) return high;
  return t;
}

// floor(t / step) for numeric t and a positive numeric step.
int64_t wholeStepsIn(MediaTime t, MediaTime step) {
  const Int128 numerator = static_cast<Int128>(t.value) * step.timescale;
  const Int128 denominator = static_cast<Int128>(t.timescale) * step.value;
  Int128 quotient = numerator / denominator;
  if (numerator % denominator != 0 && numerator < 0) --quotient;
  return static_cast<int64_t>(quotient);
}

MediaTime endOf(const VideoFrame& frame) {
  return add(frame.time, frame.duration);
}

double secondsBetween(MediaTime from, MediaTime to) {
  return subtract(to, from).seconds();
}

}  // namespace

class Player::Impl : public std::enable_shared_from_this<Impl> {
 public:
  Impl(std::shared_ptr<const Composition> composition, MainQueue& mainQueue, Options options);
  void startThreads();
  void shutdown();

  const std::shared_ptr<const Composition>& composition() const { return composition_; }
  const std::optional<VideoComposition>& videoComposition() const { return videoComposition_; }
  MediaTime duration() const { return duration_; }
  double rate() const { return rate_; }
  void setRate(double rate);
  double volume() const { return volume_; }
  void setVolume(double volume);
  void seek(MediaTime t, std::function<void(bool)> completion);
  void stepByCount(int frames);
  MediaTime currentTime() const;
  const VideoFrame* displayedFrame() const { return shownFrame_ ? &*shownFrame_ : nullptr; }
  ObserverToken addPeriodicTimeObserver(MediaTime interval,
                                        std::function<void(MediaTime)> observer);
  void removeTimeObserver(ObserverToken token) { observers_.erase(token); }
  void setVideoSink(VideoSink* sink);
  void setAudioSink(std::shared_ptr<AudioSink> sink);
  const std::shared_ptr<AudioSink>& audioSink() const { return audioSink_; }
  void setEndHandler(std::function<void()> handler) { endHandler_ = std::move(handler); }
  void setFailureHandler(std::function<void(const Error&)> handler) {
    failureHandler_ = std::move(handler);
  }
  const std::optional<Error>& error() const { return error_; }
  PlayerStatistics statistics() const;

 private:
  struct PendingSeek {
    MediaTime target;
    std::function<void(bool)> completion;
    uint64_t serial = 0;
  };
  struct Observer {
    MediaTime interval;
    std::function<void(MediaTime)> callback;
    int64_t lastSlot = INT64_MIN;
  };

  // Runs `task` on the main queue unless the player is gone by then. Any thread.
  void postToSelf(std::function<void(Impl&)> task);
  void postAfterToSelf(WallClock::duration delay, std::function<void(Impl&)> task);

  // Called on the main queue when the video thread has queued what we were waiting for.
  void onVideoFrameReady();
  void onFailure(const Error& error);

  // Starts a video run at `t`; the clock waits for its first frame.
  void repositionVideo(MediaTime t, PlaybackDirection direction);
  // The first frame of a run has been shown (`succeeded`), or there was none because decoding
  // failed; a pending seek completes.
  void videoPositioned(bool succeeded = true);
  void startClock();
  // Stops the clock and the sound where they are, showing the frame due then.
  void freeze();
  // Makes the frame on show the one at the current position when it is not.
  void settleVideo();
  // Shows the frame due at `t` from the queue, dropping the ones already passed; returns when
  // the next one falls due, if it is known. False in `stillCurrent` when a callback changed
  // the player's state underneath.
  std::optional<MediaTime> presentDueFrames(MediaTime t, bool& stillCurrent);
  bool isDue(const VideoFrame& frame, MediaTime t) const;
  bool isOnShow(const VideoFrame& frame) const;
  void show(const VideoFrame& frame);

  void scheduleTick(WallClock::duration delay);
  void tick();
  void reachEnd();
  void reportToAllObservers();
  void reportPeriodically(MediaTime t);
  void report(const std::vector<ObserverToken>& tokens, MediaTime t);
  static int64_t slotOf(MediaTime t, MediaTime interval);

  // Changes whenever the clock starts or stops or the video is repositioned: callbacks that
  // change the player's course are noticed by comparing it before and after.
  uint64_t course() const { return courseSerial_; }

  const std::shared_ptr<const Composition> composition_;
  MainQueue& mainQueue_;
  const Options options_;
  const MediaTime duration_;
  std::optional<VideoComposition> videoComposition_;
  bool hasAudio_ = false;

  std::unique_ptr<VideoDecodeThread> video_;
  std::unique_ptr<AudioDecodeThread> audio_;
  std::shared_ptr<AudioSink> audioSink_;
  VideoSink* videoSink_ = nullptr;

  double rate_ = 0;
  double volume_ = 1.0;
  // Where the movie stands while the clock does not run.
  MediaTime position_ = MediaTime::zero();
  PlaybackClock clock_;
  PlaybackDirection videoDirection_ = PlaybackDirection::Forward;
  bool awaitingVideo_ = false;  // a video run has been started and its first frame not shown
  std::optional<PendingSeek> pendingSeek_;
  uint64_t seekSerial_ = 0;
  std::optional<VideoFrame> shownFrame_;
  uint64_t courseSerial_ = 0;

  std::map<ObserverToken, Observer> observers_;
  ObserverToken nextToken_ = 1;
  std::function<void()> endHandler_;
  std::function<void(const Error&)> failureHandler_;
  std::optional<Error> error_;
  PlayerStatistics statistics_;

  bool tickPending_ = false;
  WallClock::time_point tickDue_;
  uint64_t tickSerial_ = 0;
  bool closed_ = false;
};

Player::Impl::Impl(std::shared_ptr<const Composition> composition, MainQueue& mainQueue,
                   Options options)
    : composition_(std::move(composition)),
      mainQueue_(mainQueue),
      options_(std::move(options)),
      duration_(composition_ ? composition_->duration() : MediaTime::zero()),
      audioSink_(std::make_shared<NullAudioSink>()) {
  if (options_.audioSampleRate <= 0) {
    throw std::invalid_argument("Player needs a positive audio sample rate");
  }
  if (!composition_) return;
  const bool hasTime = duration_.isNumeric() && compare(duration_, MediaTime::zero()) > 0;
  VideoComposition videoComposition = options_.videoComposition
                                          ? *options_.videoComposition
                                          : VideoComposition::withPropertiesOfAsset(*composition_);
  if (videoComposition.renderSize.width > 0 && videoComposition.renderSize.height > 0) {
    const MediaTime& step = videoComposition.frameDuration;
    if (!step.isNumeric() || compare(step, MediaTime::zero()) <= 0) {
      throw std::invalid_argument("Player needs a positive frame duration");
    }
    if (hasTime) videoComposition_ = videoComposition;
  }
  hasAudio_ = hasTime && !composition_->tracksWithMediaType(MediaType::Audio).empty();
}

void Player::Impl::startThreads() {
  std::weak_ptr<Impl> weak = weak_from_this();
  MainQueue* queue = &mainQueue_;
  auto reportFailure = [weak, queue](const Error& error) {
    queue->post([weak, error] {
      if (auto self = weak.lock(); self && !self->closed_) self->onFailure(error);
    });
  };
  if (videoComposition_) {
    auto makeSource = [composition = composition_, videoComposition = *videoComposition_,
                       options = options_] {
      return CompositionVideoSource::create(
          composition, videoComposition,
          CompositionVideoSource::Options{options.pixelFormat, options.outputSize});
    };
    auto frameReady = [weak, queue] {
      queue->post([weak] {
        if (auto self = weak.lock(); self && !self->closed_) self->onVideoFrameReady();
      });
    };
    video_ = std::make_unique<VideoDecodeThread>(makeSource, options_.videoQueueFrames + 1,
                                                 frameReady, reportFailure);
    repositionVideo(MediaTime::zero(), PlaybackDirection::Forward);
  }
  if (hasAudio_) {
    audio_ =
        std::make_unique<AudioDecodeThread>(composition_, options_.audioSampleRate, reportFailure);
  }
}

void Player::Impl::shutdown() {
  closed_ = true;
  clock_.stop();
  video_.reset();
  audio_.reset();
  pendingSeek_.reset();
  observers_.clear();
  endHandler_ = nullptr;
  failureHandler_ = nullptr;
}

void Player::Impl::postToSelf(std::function<void(Impl&)> task) {
  mainQueue_.post([weak = weak_from_this(), task = std::move(task)] {
    if (auto self = weak.lock(); self && !self->closed_) task(*self);
  });
}

void Player::Impl::postAfterToSelf(WallClock::duration delay, std::function<void(Impl&)> task) {
  mainQueue_.postAfter(std::chrono::duration_cast<std::chrono::nanoseconds>(delay),
                       [weak = weak_from_this(), task = std::move(task)] {
                         if (auto self = weak.lock(); self && !self->closed_) task(*self);
                       });
}

// Rate and position.

void Player::Impl::setRate(double rate) {
  if (closed_ || !std::isfinite(rate) || rate == rate_) return;
  const bool wasMoving = rate_ != 0;
  if (clock_.isRunning()) freeze();
  if (closed_) return;
  rate_ = rate;
  if (rate == 0) {
    settleVideo();
    reportToAllObservers();
    return;
  }

  const PlaybackDirection direction =
      rate > 0 ? PlaybackDirection::Forward : PlaybackDirection::Reverse;
  bool startOver = false;
  if (!pendingSeek_) {
    if (direction == PlaybackDirection::Forward && compare(position_, duration_) >= 0) {
      position_ = MediaTime::zero();
      startOver = true;
    } else if (direction == PlaybackDirection::Reverse &&
               compare(position_, MediaTime::zero()) <= 0) {
      position_ = duration_;
      startOver = true;
    }
  }
  if (video_ && (startOver || direction != videoDirection_)) {
    repositionVideo(pendingSeek_ ? pendingSeek_->target : position_, direction);
  }
  if (!awaitingVideo_) startClock();
  if (!wasMoving) reportToAllObservers();
}

void Player::Impl::setVolume(double volume) {
  if (std::isnan(volume)) return;
  volume_ = std::clamp(volume, 0.0, 1.0);
  audioSink_->setVolume(volume_);
}

void Player::Impl::seek(MediaTime t, std::function<void(bool)> completion) {
  if (closed_) return;
  if (!t.isNumeric()) {
    if (completion) postToSelf([completion](Impl&) { completion(false); });
    return;
  }
  if (pendingSeek_ && pendingSeek_->completion) {
    postToSelf([superseded = std::move(pendingSeek_->completion)](Impl&) { superseded(false); });
  }
  if (clock_.isRunning()) {
    clock_.stop();
    if (audio_) audio_->stop();
    ++courseSerial_;
  }
  position_ = clampTime(t, MediaTime::zero(), duration_);
  pendingSeek_ = PendingSeek{position_, std::move(completion), ++seekSerial_};
  if (video_) {
    repositionVideo(position_, rate_ < 0 ? PlaybackDirection::Reverse : PlaybackDirection::Forward);
  } else {
    postToSelf([serial = seekSerial_](Impl& self) {
      if (self.pendingSeek_ && self.pendingSeek_->serial == serial) self.videoPositioned();
    });
  }
}

void Player::Impl::stepByCount(int frames) {
  if (closed_) return;
  setRate(0);
  if (!videoComposition_ || frames == 0) return;
  const MediaTime step = videoComposition_->frameDuration;
  const MediaTime from = pendingSeek_ ? pendingSeek_->target : position_;
  // The last frame of the cadence starts before the end.
  int64_t lastSlot = wholeStepsIn(duration_, step);
  if (compare(MediaTime::make(lastSlot * step.value, step.timescale), duration_) >= 0) --lastSlot;
  const int64_t slot = std::min(wholeStepsIn(from, step), lastSlot);
  const int64_t target = std::clamp<int64_t>(slot + frames, 0, std::max<int64_t>(lastSlot, 0));
  seek(MediaTime::make(target * step.value, step.timescale), {});
}

MediaTime Player::Impl::currentTime() const {
  if (!clock_.isRunning()) return position_;
  return clampTime(const_cast<PlaybackClock&>(clock_).now(), MediaTime::zero(), duration_);
}

void Player::Impl::startClock() {
  const bool audible = audio_ && rate_ >= kMinAudibleRate && rate_ <= kMaxAudibleRate;
  if (audible) {
    const uint64_t generation = audio_->play(position_, rate_, audioSink_);
    clock_.startWithAudio(position_, rate_, *audio_, generation, audioSink_);
  } else {
    clock_.start(position_, rate_);
  }
  ++courseSerial_;
  scheduleTick(WallClock::duration::zero());
}

void Player::Impl::freeze() {
  const MediaTime now = currentTime();
  if (video_ && !awaitingVideo_) {
    const uint64_t courseBefore = course();
    bool stillCurrent = true;
    presentDueFrames(now, stillCurrent);
    if (closed_ || course() != courseBefore) return;
  }
  clock_.stop();
  if (audio_) audio_->stop();
  position_ = now;
  ++courseSerial_;
}

// Video.

void Player::Impl::repositionVideo(MediaTime t, PlaybackDirection direction) {
  videoDirection_ = direction;
  video_->reposition(t, direction);
  awaitingVideo_ = true;
  ++courseSerial_;
}

void Player::Impl::onVideoFrameReady() {
  if (!awaitingVideo_) {
    if (clock_.isRunning()) tick();
    return;
  }
  VideoDecodeThread::Entry entry;
  if (!video_->peek(0, entry, true)) return;
  video_->pop();
  awaitingVideo_ = false;
  // A run that starts on the picture already on show (reversing, or stepping onto the same
  // frame) does not show it twice.
  const bool alreadyShown =
      entry.frame && shownFrame_ && compare(shownFrame_->time, entry.frame->time) == 0;
  if (entry.frame && !alreadyShown) {
    const uint64_t courseBefore = course();
    show(*entry.frame);
    if (closed_ || course() != courseBefore) return;
  }
  videoPositioned(entry.frame.has_value());
}

void Player::Impl::videoPositioned(bool succeeded) {
  std::optional<PendingSeek> seek = std::move(pendingSeek_);
  pendingSeek_.reset();
  if (rate_ != 0 && !clock_.isRunning()) startClock();
  if (!seek) return;
  reportToAllObservers();
  if (!closed_ && seek->completion) seek->completion(succeeded);
}

void Player::Impl::settleVideo() {
  if (!video_ || awaitingVideo_) return;
  if (shownFrame_) {
    const bool atEnd = compare(position_, duration_) >= 0;
    const bool covered = atEnd ? compare(endOf(*shownFrame_), duration_) >= 0
                               : compare(shownFrame_->time, position_) <= 0 &&
                                     compare(position_, endOf(*shownFrame_)) < 0;
    if (covered) return;
  }
  repositionVideo(position_, videoDirection_);
}

bool Player::Impl::isDue(const VideoFrame& frame, MediaTime t) const {
  if (videoDirection_ == PlaybackDirection::Forward) return compare(frame.time, t) <= 0;
  return compare(t, endOf(frame)) < 0;
}

bool Player::Impl::isOnShow(const VideoFrame& frame) const {
  return shownFrame_ && compare(shownFrame_->time, frame.time) == 0 &&
         shownFrame_->frame == frame.frame;
}

std::optional<MediaTime> Player::Impl::presentDueFrames(MediaTime t, bool& stillCurrent) {
  const uint64_t courseBefore = course();
  const bool forward = videoDirection_ == PlaybackDirection::Forward;
  for (;;) {
    VideoDecodeThread::Entry first;
    if (!video_->peek(0, first, true)) return std::nullopt;
    if (!first.frame) return std::nullopt;
    const VideoFrame& frame = *first.frame;
    if (!isDue(frame, t)) return forward ? frame.time : endOf(frame);

    VideoDecodeThread::Entry second;
    const bool laterIsDue =
        video_->peek(1, second, false) && second.frame && isDue(*second.frame, t);
    video_->pop();
    if (isOnShow(frame)) continue;
    if (laterIsDue) {
      ++statistics_.framesDropped;
      continue;
    }
    const double lateness =
        forward ? secondsBetween(frame.time, t) : secondsBetween(t, endOf(frame));
    if (lateness > frame.duration.seconds() / 2) ++statistics_.framesLate;
    show(frame);
    if (closed_ || course() != courseBefore) {
      stillCurrent = false;
      return std::nullopt;
    }
  }
}

void Player::Impl::show(const VideoFrame& frame) {
  shownFrame_ = frame;
  ++statistics_.framesPresented;
  if (videoSink_) videoSink_->showFrame(frame);
}

void Player::Impl::setVideoSink(VideoSink* sink) {
  videoSink_ = sink;
  if (sink && shownFrame_) sink->showFrame(*shownFrame_);
}

void Player::Impl::setAudioSink(std::shared_ptr<AudioSink> sink) {
  if (!sink) sink = std::make_shared<NullAudioSink>();
  if (sink == audioSink_) return;
  sink->setVolume(volume_);
  const bool restart = clock_.isRunning();
  if (restart) freeze();
  audioSink_ = std::move(sink);
  if (restart && !closed_ && !clock_.isRunning() && !awaitingVideo_ && rate_ != 0) startClock();
}

// The clock's ticks.

void Player::Impl::scheduleTick(WallClock::duration delay) {
  delay = std::clamp<WallClock::duration>(delay, WallClock::duration::zero(), kLongestTickInterval);
  const auto due = WallClock::now() + delay;
  if (tickPending_ && tickDue_ <= due) return;
  tickPending_ = true;
  tickDue_ = due;
  const uint64_t serial = ++tickSerial_;
  postAfterToSelf(delay, [serial](Impl& self) {
    if (serial != self.tickSerial_) return;  // an earlier tick took its place
    self.tickPending_ = false;
    self.tick();
  });
}

void Player::Impl::tick() {
  if (!clock_.isRunning()) return;
  const uint64_t courseBefore = course();
  const double rate = clock_.rate();
  const MediaTime t = clock_.now();
  const bool forward = rate > 0;
  if (forward ? compare(t, duration_) >= 0 : compare(t, MediaTime::zero()) <= 0) {
    reachEnd();
    return;
  }

  std::optional<MediaTime> nextFrameDue;
  if (video_ && !awaitingVideo_) {
    bool stillCurrent = true;
    nextFrameDue = presentDueFrames(t, stillCurrent);
    if (!stillCurrent) return;
  }
  reportPeriodically(t);
  if (closed_ || course() != courseBefore) return;

  // The next thing to do: a frame, an observer's report or the end, whichever comes first.
  double untilNext = secondsBetween(t, forward ? duration_ : MediaTime::zero()) / rate;
  if (nextFrameDue) untilNext = std::min(untilNext, secondsBetween(t, *nextFrameDue) / rate);
  for (const auto& [token, observer] : observers_) {
    const double interval = observer.interval.seconds();
    const double slot = std::floor(t.seconds() / interval);
    const double boundary = forward ? (slot + 1) * interval : slot * interval;
    untilNext = std::min(untilNext, (boundary - t.seconds()) / rate);
  }
  auto delay = std::chrono::duration_cast<WallClock::duration>(
      std::chrono::duration<double>(std::max(untilNext, 0.0)));
  if (clock_.isWaitingForAudio()) delay = std::min<WallClock::duration>(delay, kAudioStartPoll);
  scheduleTick(delay);
}

void Player::Impl::reachEnd() {
  const bool forward = clock_.rate() > 0;
  const MediaTime end = forward ? duration_ : MediaTime::zero();
  if (video_ && !awaitingVideo_) {
    const uint64_t courseBefore = course();
    bool stillCurrent = true;
    presentDueFrames(end, stillCurrent);
    if (!stillCurrent || closed_ || course() != courseBefore) return;
  }
  clock_.stop();
  if (audio_) audio_->stop();
  ++courseSerial_;
  position_ = end;
  rate_ = 0;
  settleVideo();
  const uint64_t courseBefore = course();
  reportToAllObservers();
  if (closed_ || course() != courseBefore) return;
  if (endHandler_) {
    auto handler = endHandler_;
    handler();
  }
}

void Player::Impl::onFailure(const Error& error) {
  if (!error_) error_ = error;
  setRate(0);
  if (!closed_ && failureHandler_) {
    auto handler = failureHandler_;
    handler(error);
  }
}

// Observers.

Player::ObserverToken Player::Impl::addPeriodicTimeObserver(
    MediaTime interval, std::function<void(MediaTime)> observer) {
  if (!interval.isNumeric() || compare(interval, MediaTime::zero()) <= 0) {
    throw std::invalid_argument("A periodic time observer needs a positive interval");
  }
  const ObserverToken token = nextToken_++;
  observers_.emplace(token, Observer{interval, std::move(observer), INT64_MIN});
  return token;
}

int64_t Player::Impl::slotOf(MediaTime t, MediaTime interval) {
  return static_cast<int64_t>(std::floor(t.seconds() / interval.seconds()));
}

void Player::Impl::reportToAllObservers() {
  std::vector<ObserverToken> tokens;
  for (const auto& entry : observers_) tokens.push_back(entry.first);
  report(tokens, currentTime());
}

void Player::Impl::reportPeriodically(MediaTime t) {
  std::vector<ObserverToken> due;
  for (auto& [token, observer] : observers_) {
    if (slotOf(t, observer.interval) != observer.lastSlot) due.push_back(token);
  }
  report(due, t);
}

// Observers may add and remove observers, or close the player, from their callbacks.
void Player::Impl::report(const std::vector<ObserverToken>& tokens, MediaTime t) {
  for (ObserverToken token : tokens) {
    auto found = observers_.find(token);
    if (found == observers_.end()) continue;
    found->second.lastSlot = slotOf(t, found->second.interval);
    auto callback = found->second.callback;
    if (callback) callback(t);
    if (closed_) return;
  }
}

PlayerStatistics Player::Impl::statistics() const {
  PlayerStatistics statistics = statistics_;
  statistics.audioUnderruns = audioSink_->underrunCount();
  return statistics;
}

// Player.

std::unique_ptr<Player> Player::create(std::shared_ptr<const Composition> composition,
                                       MainQueue& mainQueue, Options options) {
  auto impl = std::make_shared<Impl>(std::move(composition), mainQueue, std::move(options));
  impl->startThreads();
  return std::unique_ptr<Player>(new Player(std::move(impl)));
}

Player::Player(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}

Player::~Player() {
  impl_->shutdown();
}

const std::shared_ptr<const Composition>& Player::composition() const {
  return impl_->composition();
}
const std::optional<VideoComposition>& Player::videoComposition() const {
  return impl_->videoComposition();
}
MediaTime Player::duration() const {
  return impl_->duration();
}
void Player::play() {
  impl_->setRate(1.0);
}
void Player::pause() {
  impl_->setRate(0.0);
}
double Player::rate() const {
  return impl_->rate();
}
void Player::setRate(double rate) {
  impl_->setRate(rate);
}
double Player::volume() const {
  return impl_->volume();
}
void Player::setVolume(double volume) {
  impl_->setVolume(volume);
}
void Player::seek(MediaTime t, std::function<void(bool finished)> completion) {
  impl_->seek(t, std::move(completion));
}
void Player::stepByCount(int frames) {
  impl_->stepByCount(frames);
}
MediaTime Player::currentTime() const {
  return impl_->currentTime();
}
const VideoFrame* Player::displayedFrame() const {
  return impl_->displayedFrame();
}
Player::ObserverToken Player::addPeriodicTimeObserver(MediaTime interval,
                                                      std::function<void(MediaTime)> observer) {
  return impl_->addPeriodicTimeObserver(interval, std::move(observer));
}
void Player::removeTimeObserver(ObserverToken token) {
  impl_->removeTimeObserver(token);
}
void Player::setVideoSink(VideoSink* sink) {
  impl_->setVideoSink(sink);
}
void Player::setAudioSink(std::shared_ptr<AudioSink> sink) {
  impl_->setAudioSink(std::move(sink));
}
const std::shared_ptr<AudioSink>& Player::audioSink() const {
  return impl_->audioSink();
}
void Player::setEndHandler(std::function<void()> handler) {
  impl_->setEndHandler(std::move(handler));
}
void Player::setFailureHandler(std::function<void(const Error&)> handler) {
  impl_->setFailureHandler(std::move(handler));
}
const std::optional<Error>& Player::error() const {
  return impl_->error();
}
PlayerStatistics Player::statistics() const {
  return impl_->statistics();
}

}  // namespace reelcraft
