#include <gtest/gtest.h>

#include <QMimeData>
#include <QPushButton>
#include <QUrl>

#include "app/launch_assistant.h"
#include "app/storyboard.h"
#include "app/window_controller.h"
#include "app/window_registry.h"
#include "app_fixture.h"

namespace reelcraft {
namespace {

using AppShellTest = AppTest;

WindowController* launchAssistant() {
  return registeredWindowController(kLaunchAssistantIdentifier, kLaunchAssistantStoryboard);
}
bool launchAssistantShows() {
  return launchAssistant() != nullptr && launchAssistant()->window()->isVisible();
}

int visibleLaunchAssistants() {
  int count = 0;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->isVisible() && qobject_cast<LaunchAssistantViewController*>(widget)) ++count;
  }
  return count;
}

TEST(WindowRegistryTest, UnknownIdentifiersShowNothing) {
  Storyboard::registerFactory("RegistryTest", "Not A Window",
                              [] { return std::make_unique<QObject>(); });
  showWindowController("Not A Window", "RegistryTest");
  showWindowController("Missing", "RegistryTest");
  EXPECT_EQ(registeredWindowController("Not A Window", "RegistryTest"), nullptr);
  EXPECT_EQ(registeredWindowController("Missing", "RegistryTest"), nullptr);
  closeWindowController("Never Shown", "RegistryTest");  // does nothing
}

TEST_F(AppShellTest, TheLaunchAssistantShowsOnceAndGoesWhenADocumentOpens) {
  app->applicationDidFinishLaunching({});
  ASSERT_TRUE(launchAssistantShows());
  WindowController* first = launchAssistant();
  EXPECT_FALSE(app->applicationShouldOpenUntitledFile());
  EXPECT_EQ(launchAssistant(), first);
  EXPECT_EQ(visibleLaunchAssistants(), 1);
  EXPECT_TRUE(app->documentController().documents().empty());

  const auto document = open("h264-aac-mp4");
  EXPECT_FALSE(launchAssistantShows());
  EXPECT_EQ(open("h264-aac-mp4"), document) << "opening an open file again gives its window";
  EXPECT_EQ(visiblePlayerWindows().size(), 1u);

  // Closing the last document brings the same assistant back, not an untitled document.
  app->closeDocument(*document);
  EXPECT_TRUE(app->documentController().documents().empty());
  EXPECT_TRUE(launchAssistantShows());
  EXPECT_EQ(launchAssistant(), first);
  EXPECT_TRUE(QTest::qWaitFor([&] { return visiblePlayerWindows().empty(); }, kPatienceMs));
}

TEST_F(AppShellTest, TheAssistantsButtonsCloseItAndOpenOrMakeADocument) {
  app->applicationShouldOpenUntitledFile();
  auto* assistant = static_cast<LaunchAssistantWindowController*>(launchAssistant());
  assistant->viewController()->newButton()->click();
  EXPECT_FALSE(launchAssistantShows());
  ASSERT_EQ(app->documentController().documents().size(), 1u);
  const auto untitled = app->documentController().documents()[0];
  EXPECT_EQ(untitled->displayName(), "Untitled");
  EXPECT_TRUE(windowOf(*untitled).window()->isVisible());
  app->closeDocument(*untitled);
  ASSERT_TRUE(launchAssistantShows());

  filesToOpen = {QString::fromStdString(testmedia::testMediaPath("h264-aac-mov"))};
  assistant->viewController()->openButton()->click();
  EXPECT_FALSE(launchAssistantShows());
  EXPECT_EQ(app->documentController().documents().size(), 1u);

  // Cancelling the Open dialog with no document open brings the assistant back.
  app->closeDocument(*app->documentController().documents()[0]);
  filesToOpen = {};
  assistant->viewController()->openButton()->click();
  EXPECT_TRUE(launchAssistantShows());
}

TEST_F(AppShellTest, AnUnreadableFileShowsTheAlertAndOpensNoWindow) {
  const auto opened = app->openFiles(
      {QString::fromStdString(testmedia::brokenMediaPath(testmedia::BrokenFileKind::Truncated))});
  EXPECT_TRUE(opened.empty());
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_FALSE(alerts[0].description.empty());
  EXPECT_FALSE(alerts[0].recoverySuggestion.empty());
  EXPECT_TRUE(app->documentController().documents().empty());
  EXPECT_TRUE(visiblePlayerWindows().empty());

  // Among good files, only the bad one is refused.
  const auto some = app->openFiles(
      {QString::fromStdString(testmedia::brokenMediaPath(testmedia::BrokenFileKind::Text)),
       QString::fromStdString(testmedia::testMediaPath("h264-aac-mp4"))});
  EXPECT_EQ(some.size(), 1u);
  EXPECT_EQ(alerts.size(), 2u);
}

TEST_F(AppShellTest, DroppedFilesOpenAsDocuments) {
  app->applicationShouldOpenUntitledFile();
  QWidget* target = launchAssistant()->window();
  QMimeData data;
  data.setUrls(
      {QUrl::fromLocalFile(QString::fromStdString(testmedia::testMediaPath("h264-aac-mp4")))});
  QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, {});
  QApplication::sendEvent(target, &enter);
  EXPECT_TRUE(enter.isAccepted());
  QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, {});
  QApplication::sendEvent(target, &drop);
  EXPECT_EQ(app->documentController().documents().size(), 1u);

  // Text is not taken.
  QMimeData text;
  text.setText("not a file");
  QDragEnterEvent refused(QPoint(5, 5), Qt::CopyAction, &text, Qt::LeftButton, {});
  refused.setAccepted(false);
  QApplication::sendEvent(windowOf(*app->documentController().documents()[0]).window(), &refused);
  EXPECT_FALSE(refused.isAccepted());
}

TEST_F(AppShellTest, ClosingAnEditedDocumentAsksAndCancelKeepsIt) {
  const auto document = open("h264-aac-mp4");
  viewOf(*document).timeline()->setSelections({{secondsTime(0.5), secondsTime(1)}});
  menu(*document, Command::Delete);

  saveAnswer = AppDelegate::SaveAnswer::Cancel;
  windowOf(*document).window()->close();
  EXPECT_EQ(saveQuestions, 1);
  EXPECT_EQ(app->documentController().documents().size(), 1u);
  EXPECT_TRUE(windowOf(*document).window()->isVisible());

  // An untitled save with the Save dialog cancelled keeps the document too.
  saveAnswer = AppDelegate::SaveAnswer::Save;
  saveDestination.reset();
  const auto untitled = app->newDocument();
  untitled->updateChangeCount(Document::ChangeKind::Done);
  menu(*untitled, Command::PerformClose);
  EXPECT_EQ(app->documentController().documents().size(), 2u);

  saveAnswer = AppDelegate::SaveAnswer::DontSave;
  menu(*document, Command::PerformClose);
  EXPECT_EQ(app->documentController().documents().size(), 1u);
  EXPECT_EQ(saveQuestions, 3);
}

TEST_F(AppShellTest, QuittingAsksForEachEditedDocumentAndStopsAtCancel) {
  const auto edited = open("h264-aac-mp4");
  const auto unedited = open("h264-aac-mov");
  edited->updateChangeCount(Document::ChangeKind::Done);

  saveAnswer = AppDelegate::SaveAnswer::Cancel;
  app->terminate();
  EXPECT_FALSE(quit);
  EXPECT_EQ(saveQuestions, 1);
  EXPECT_EQ(app->documentController().documents().size(), 2u);

  saveAnswer = AppDelegate::SaveAnswer::DontSave;
  menu(*unedited, Command::Terminate);
  EXPECT_TRUE(quit);
  EXPECT_EQ(saveQuestions, 2);
  EXPECT_TRUE(app->documentController().documents().empty());
  EXPECT_FALSE(launchAssistantShows());
}

}  // namespace
}  // namespace reelcraft
