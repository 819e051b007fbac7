#pragma once

// What the desktop benchmarks share: the application with one document window open on a movie
// (built from the same classes as the `reelcraft` program, dialogs answered by the benchmark),
// running its event loop until something has happened, and a log of the picture surface's
// paints.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <QApplication>
#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include "app/app_delegate.h"
#include "app/error_alert.h"
#include "app/player_view_controller.h"
#include "app/player_window_controller.h"
#include "document/document.h"
#include "media/audio/audio_sink.h"
#include "media/playback/player.h"
#include "media_bench_support.h"
#include "qt_media/player_video_view.h"

namespace reelcraft::bench {

// Runs the event loop until `done` answers true or `timeout` has passed; false on timeout.
// Sleeps while there is nothing to do, so that waiting takes no processor time from the
// player's threads.
inline bool runEventsUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  const SteadyClock::time_point deadline = SteadyClock::now() + timeout;
  // Wakes the loop now and then to look at the clock when no event comes.
  QTimer wakeUp;
  wakeUp.start(50);
  while (!done()) {
    if (SteadyClock::now() >= deadline) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
  }
  return true;
}

// Processes events for `duration`, as a user's pause between two actions.
inline void runEventsFor(std::chrono::milliseconds duration) {
  runEventsUntil([] { return false; }, duration);
}

// The application with the movie at `path` open in a document window of `windowSize`
// (the window's own size when empty). Alerts the application shows end the benchmark.
class DocumentWindowFixture {
 public:
  using AudioSinkFactory = std::function<std::shared_ptr<AudioSink>()>;

  DocumentWindowFixture(const std::string& path, QSize windowSize,
                        AudioSinkFactory audioSinkFactory) {
    setErrorAlertPresenter([this](const Error& error, QWidget*) { alerts_.push_back(error); });
    AppDelegate::Options options;
    options.askToSave = [](const Document&, QWidget*,
                           std::function<void(AppDelegate::SaveAnswer)> reply) {
      reply(AppDelegate::SaveAnswer::DontSave);
    };
    options.chooseFilesToOpen = [](std::function<void(QStringList)> reply) { reply({}); };
    options.chooseSaveDestination = [](const Document&) { return std::nullopt; };
    options.chooseExportDestination = [](QWidget*) { return std::nullopt; };
    options.audioSinkFactory = std::move(audioSinkFactory);
    options.quitApplication = [] {};
    app_ = std::make_unique<AppDelegate>(options);

    const auto opened = app_->openFiles({QString::fromStdString(path)});
    throwOnAlert("cannot open " + path);
    if (opened.size() != 1) throw std::runtime_error("cannot open " + path);
    document_ = opened.front();
    window_ = app_->windowControllerOf(*document_);
    if (window_ == nullptr || window_->playerWindow() == nullptr) {
      throw std::runtime_error("the movie got no window");
    }
    if (!windowSize.isEmpty()) window_->playerWindow()->resize(windowSize);
    window_->playerWindow()->show();
  }

  ~DocumentWindowFixture() {
    app_.reset();
    setErrorAlertPresenter({});
    // Closed windows are deleted from the event loop.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

  DocumentWindowFixture(const DocumentWindowFixture&) = delete;
  DocumentWindowFixture& operator=(const DocumentWindowFixture&) = delete;

  PlayerWindowController& window() const { return *window_; }
  PlayerViewController& view() const { return *window_->playerViewController(); }
  PlayerVideoView& surface() const { return *view().mediaPlayer(); }
  Player& player() const {
    if (view().player() == nullptr) throw std::runtime_error("the window has no player");
    return *view().player();
  }

  // Throws with the first alert the application has shown, if any.
  void throwOnAlert(const std::string& context) const {
    if (alerts_.empty()) return;
    const Error& alert = alerts_.front();
    throw std::runtime_error(
        context + ": " + alert.description +
        (alert.recoverySuggestion.empty() ? "" : " (" + alert.recoverySuggestion + ")"));
  }

  // Runs the event loop until the surface has painted a picture; throws after `timeout`.
  void waitForFirstPicture(std::chrono::milliseconds timeout) {
    bool painted = false;
    const QMetaObject::Connection connection =
        QObject::connect(&surface(), &PlayerVideoView::framePainted, [&] { painted = true; });
    const bool shown = runEventsUntil([&] { return painted || !alerts_.empty(); }, timeout);
    QObject::disconnect(connection);
    throwOnAlert("the movie cannot be played");
    if (!shown) throw std::runtime_error("the window showed no picture");
  }

 private:
  std::unique_ptr<AppDelegate> app_;
  std::shared_ptr<Document> document_;
  PlayerWindowController* window_ = nullptr;
  std::vector<Error> alerts_;
};

// Each paint of the picture surface that drew a picture: when it started and ended, and the
// time span of the frame it drew (not the picture, which would keep the decoder from reusing
// its buffers). Logs from creation to destruction.
class PaintLog : public QObject {
 public:
  struct Paint {
    SteadyClock::time_point start;
    SteadyClock::time_point end;
    MediaTime frameTime;
    MediaTime frameDuration;

    bool shows(MediaTime time) const {
      return frameTime <= time && time < add(frameTime, frameDuration);
    }
  };

  explicit PaintLog(PlayerVideoView& surface) : surface_(surface) {
    surface_.installEventFilter(this);
    connection_ = QObject::connect(&surface_, &PlayerVideoView::framePainted, [this] {
      if (!surface_.frame()) return;
      paints.push_back(
          {paintStart_, SteadyClock::now(), surface_.frame()->time, surface_.frame()->duration});
    });
  }
  ~PaintLog() override {
    QObject::disconnect(connection_);
    surface_.removeEventFilter(this);
  }

  std::vector<Paint> paints;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    // Filters see the paint event just before the surface handles it.
    if (watched == &surface_ && event->type() == QEvent::Paint) paintStart_ = SteadyClock::now();
    return false;
  }

 private:
  PlayerVideoView& surface_;
  QMetaObject::Connection connection_;
  SteadyClock::time_point paintStart_;
};

// "1280x720" as a size; empty for "" or "default".
inline QSize parseSize(const std::string& text) {
  if (text.empty() || text == "default") return {};
  const size_t times = text.find('x');
  if (times == std::string::npos) throw std::invalid_argument("not a size (WIDTHxHEIGHT): " + text);
  const int width = std::stoi(text.substr(0, times));
  const int height = std::stoi(text.substr(times + 1));
  if (width <= 0 || height <= 0) throw std::invalid_argument("not a size: " + text);
  return {width, height};
}

// Qt needs a display; without one (and without QT_QPA_PLATFORM) draw offscreen.
inline void chooseOffscreenWithoutDisplay() {
  if (std::getenv("QT_QPA_PLATFORM") == nullptr && std::getenv("DISPLAY") == nullptr &&
      std::getenv("WAYLAND_DISPLAY") == nullptr) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
  }
}

}  // namespace reelcraft::bench
