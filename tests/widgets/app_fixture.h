#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QAction>
#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QTest>

#include "app/app_delegate.h"
#include "app/error_alert.h"
#include "app/player_view_controller.h"
#include "app/player_window_controller.h"
#include "core/time_display.h"
#include "document/document.h"
#include "media/playback/player.h"
#include "mediagen/frame_code.h"
#include "mediagen/test_media.h"
#include "qt_media/player_video_view.h"
#include "timeline_view/timeline_control.h"

namespace reelcraft {

inline constexpr int kPatienceMs = 10'000;

inline MediaTime secondsTime(double s) {
  return MediaTime::fromSeconds(s, 600);
}

// The frame number that a grab of `widget` shows.
inline std::optional<int> frameCodeShownBy(QWidget& widget) {
  const QImage grey = widget.grab().toImage().convertToFormat(QImage::Format_Grayscale8);
  const auto code =
      testmedia::readFrameCode(grey.constBits(), grey.width(), grey.height(), grey.bytesPerLine());
  return code ? std::optional<int>(code->index) : std::nullopt;
}

// A running application whose dialogs are answered by the test: the save question by
// `saveAnswer`, the Save dialog by `saveDestination`, the Open dialog by `filesToOpen`, the
// export destination by `exportDestination`; the alerts it shows, the outcomes of exports and
// whether it quit are recorded. Sound is silent.
class AppTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setErrorAlertPresenter([this](const Error& error, QWidget*) { alerts.push_back(error); });
    AppDelegate::Options options;
    options.askToSave = [this](const Document&, QWidget*,
                               std::function<void(AppDelegate::SaveAnswer)> reply) {
      ++saveQuestions;
      reply(saveAnswer);
    };
    options.chooseFilesToOpen = [this](std::function<void(QStringList)> reply) {
      reply(filesToOpen);
    };
    options.chooseSaveDestination = [this](const Document&) { return saveDestination; };
    options.audioSinkFactory = [] { return nullptr; };
    options.quitApplication = [this] { quit = true; };
    options.chooseExportDestination = [this](QWidget*) { return exportDestination; };
    options.exportFinished = [this](bool succeeded) { exportOutcomes.push_back(succeeded); };
    app = std::make_unique<AppDelegate>(options);
  }
  void TearDown() override {
    app.reset();
    setErrorAlertPresenter({});
    // Windows of closed documents are deleted from the event loop.
    QTest::qWait(1);
  }

  std::shared_ptr<Document> open(const std::string& variant) {
    const auto opened = app->openFiles({QString::fromStdString(testmedia::testMediaPath(variant))});
    EXPECT_EQ(opened.size(), 1u);
    return opened.empty() ? nullptr : opened.front();
  }
  PlayerWindowController& windowOf(const Document& document) {
    auto* controller = app->windowControllerOf(document);
    EXPECT_NE(controller, nullptr);
    return *controller;
  }
  PlayerViewController& viewOf(const Document& document) {
    return *windowOf(document).playerViewController();
  }
  // Triggers the menu item of `command` in the document's window.
  void menu(const Document& document, Command command) {
    QAction* item = windowOf(document).action(command);
    ASSERT_NE(item, nullptr) << actionName(command);
    ASSERT_TRUE(item->isEnabled()) << actionName(command);
    item->trigger();
  }
  // Waits until the document's player shows the picture at its current time.
  bool settled(const Document& document) {
    auto& view = viewOf(document);
    return QTest::qWaitFor(
        [&] {
          const Player* player = view.player();
          if (player == nullptr || player->displayedFrame() == nullptr) return false;
          const VideoFrame& shown = *player->displayedFrame();
          const MediaTime now = player->currentTime();
          return shown.time <= now && now < add(shown.time, shown.duration) &&
                 view.timeline()->currentTime() == now &&
                 view.timeLabel()->text().toStdString() == timeDisplayString(now);
        },
        kPatienceMs);
  }
  // The frame number that the document window's picture shows, read from a grab.
  std::optional<int> shownFrame(const Document& document) {
    return frameCodeShownBy(*viewOf(document).mediaPlayer());
  }
  static MediaTime durationOf(const Document& document) {
    return document.movie()->composition->duration();
  }
  std::vector<QWidget*> visiblePlayerWindows() const {
    std::vector<QWidget*> windows;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
      if (widget->isVisible() && qobject_cast<PlayerWindow*>(widget)) windows.push_back(widget);
    }
    return windows;
  }

  std::unique_ptr<AppDelegate> app;
  std::vector<Error> alerts;
  AppDelegate::SaveAnswer saveAnswer = AppDelegate::SaveAnswer::Cancel;
  int saveQuestions = 0;
  QStringList filesToOpen;
  std::optional<std::string> saveDestination;
  std::optional<std::string> exportDestination;
  std::vector<bool> exportOutcomes;
  bool quit = false;
};

}  // namespace reelcraft
