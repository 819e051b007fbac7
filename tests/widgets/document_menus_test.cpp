#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <QClipboard>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QSlider>
#include <QToolButton>

#include "app/stretch_time_dialog.h"
#include "app/value_popup.h"
#include "app_fixture.h"
#include "core/media_time_operators.h"
#include "media/model/file_asset.h"

namespace reelcraft {
namespace {

using DocumentMenusTest = AppTest;

// Every item of every menu of the window, by title.
std::vector<QAction*> allMenuItems(QMainWindow& window) {
  std::vector<QAction*> items;
  for (QAction* menu : window.menuBar()->actions()) {
    for (QAction* item : menu->menu()->actions()) {
      if (!item->isSeparator()) items.push_back(item);
    }
  }
  return items;
}

TEST_F(DocumentMenusTest, EveryMenuItemReachesTheCommandOfItsAction) {
  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(settled(*document));
  auto& window = windowOf(*document);
  std::vector<Command> performed;
  window.setCommandObserver([&](Command command) { performed.push_back(command); });

  const auto items = allMenuItems(*window.playerWindow());
  ASSERT_EQ(items.size(), menuCommands().size());
  // Commands that would end the test's window are checked elsewhere.
  const std::set<Command> leaveOut = {Command::PerformClose, Command::Terminate,
                                      Command::NewDocument, Command::OpenDocument,
                                      Command::ToggleFullScreen};
  std::set<QString> menus;
  for (size_t i = 0; i < items.size(); ++i) {
    const CommandSpec& command = menuCommands()[i];
    EXPECT_EQ(items[i]->text().startsWith(command.title) || command.command == Command::Undo ||
                  command.command == Command::Redo,
              true)
        << command.action;
    EXPECT_EQ(items[i], window.action(command.command));
    menus.insert(command.menu);
    if (command.unavailableBecause != nullptr) {
      EXPECT_FALSE(items[i]->isEnabled()) << command.action;
      EXPECT_FALSE(items[i]->toolTip().isEmpty()) << command.action;
      continue;
    }
    if (leaveOut.contains(command.command)) continue;
    // Some items need a selection or something to undo to be meaningful; all must arrive.
    viewOf(*document).timeline()->setSelections({{secondsTime(0.5), secondsTime(0.5)}});
    performed.clear();
    items[i]->setEnabled(true);
    items[i]->trigger();
    ASSERT_EQ(performed.size(), 1u) << command.action;
    EXPECT_EQ(performed[0], command.command);
    for (QWidget* popup : QApplication::topLevelWidgets()) {
      if (popup->isVisible() && popup->windowType() == Qt::Popup) popup->close();
    }
    if (auto* dialog = viewOf(*document).stretchDialog()) dialog->close();
  }
  EXPECT_EQ(menus, (std::set<QString>{"File", "Edit", "Movie", "Window"}));
  // Every shortcut belongs to one item only.
  std::set<QString> shortcuts;
  for (QAction* item : items) {
    for (const QKeySequence& key : item->shortcuts()) {
      EXPECT_TRUE(shortcuts.insert(key.toString()).second)
          << key.toString().toStdString() << " " << item->text().toStdString();
    }
  }
}

TEST_F(DocumentMenusTest, MenuEditsChangeTheMovie) {
  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(settled(*document));
  auto& view = viewOf(*document);
  view.timeline()->setSelections({{secondsTime(1), secondsTime(1)}});
  menu(*document, Command::TrimToSelection);
  EXPECT_EQ(durationOf(*document), secondsTime(1));
  EXPECT_EQ(windowOf(*document).action(Command::Undo)->text(), "Undo Trim");

  const Size before = document->movie()->composition->naturalSize();
  menu(*document, Command::RotateMovieRight);
  EXPECT_EQ(document->movie()->composition->naturalSize().width, before.height);
  EXPECT_EQ(windowOf(*document).action(Command::Undo)->text(), "Undo Rotate");
}

TEST_F(DocumentMenusTest, CutUndoAndRedoThroughTheMenusAndSaveFollowsTheEditedState) {
  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(settled(*document));
  auto& window = windowOf(*document);
  auto& view = viewOf(*document);
  const MediaTime full = durationOf(*document);
  EXPECT_FALSE(window.action(Command::TrySave)->isEnabled());
  EXPECT_FALSE(window.action(Command::Undo)->isEnabled());
  EXPECT_EQ(window.action(Command::Undo)->text(), "Undo");

  view.timeline()->setSelections({{secondsTime(0.5), secondsTime(1)}});
  menu(*document, Command::Cut);
  EXPECT_EQ(durationOf(*document), full - secondsTime(1));
  EXPECT_TRUE(view.timeline()->selections().empty());
  EXPECT_EQ(window.action(Command::Undo)->text(), "Undo Delete");
  EXPECT_TRUE(window.action(Command::TrySave)->isEnabled());
  EXPECT_TRUE(window.window()->isWindowModified());
  // The new player shows the cut movie.
  ASSERT_TRUE(settled(*document));
  EXPECT_EQ(view.player()->duration(), durationOf(*document));

  menu(*document, Command::Undo);
  EXPECT_EQ(durationOf(*document), full);
  EXPECT_EQ(window.action(Command::Redo)->text(), "Redo Delete");
  EXPECT_FALSE(window.action(Command::TrySave)->isEnabled());
  EXPECT_FALSE(window.window()->isWindowModified());

  menu(*document, Command::Redo);
  EXPECT_EQ(durationOf(*document), full - secondsTime(1));
  EXPECT_TRUE(window.action(Command::TrySave)->isEnabled());

  // Save As writes a QuickTime movie of the edited length; the document is then unedited.
  const auto destination = std::filesystem::path(testmedia::testMediaDirectory()) / "cut.mov";
  saveDestination = destination.string();
  menu(*document, Command::TrySaveAs);
  EXPECT_TRUE(alerts.empty());
  EXPECT_FALSE(window.action(Command::TrySave)->isEnabled());
  EXPECT_TRUE(window.window()->windowTitle().startsWith("cut.mov"));
  const auto saved = FileAsset::open(destination.string());
  EXPECT_NEAR(saved->duration().seconds(), durationOf(*document).seconds(), 0.05);
}

TEST_F(DocumentMenusTest, AFailedSaveShowsTheAlertAndKeepsTheDocumentEdited) {
  const auto document = open("h264-aac-mp4");
  viewOf(*document).timeline()->setSelections({{secondsTime(0.5), secondsTime(1)}});
  menu(*document, Command::Delete);
  saveDestination = "/nonexistent-folder/out.mov";
  menu(*document, Command::TrySaveAs);
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_FALSE(alerts[0].description.empty());
  EXPECT_FALSE(alerts[0].recoverySuggestion.empty());
  EXPECT_TRUE(windowOf(*document).action(Command::TrySave)->isEnabled());
}

TEST_F(DocumentMenusTest, CopyInOneWindowPastesInAnotherAlsoAfterTheSourceCloses) {
  const auto source = open("h264-aac-mp4");
  const auto target = open("h264-aac-mov");
  ASSERT_TRUE(settled(*source));
  ASSERT_TRUE(settled(*target));
  const MediaTime targetLength = durationOf(*target);

  viewOf(*source).timeline()->setSelections({{secondsTime(1), secondsTime(0.5)}});
  menu(*source, Command::Copy);
  EXPECT_TRUE(QGuiApplication::clipboard()->mimeData()->hasFormat("com.tarvo.pasteboard.movie"));

  viewOf(*target).currentTimeBindable()->setValueAndNotify(secondsTime(1));
  menu(*target, Command::Paste);
  EXPECT_EQ(durationOf(*target), targetLength + secondsTime(0.5));
  EXPECT_EQ(windowOf(*target).action(Command::Undo)->text(), "Undo Insert");
  // The pasted frames are the source's frames 30 to 44, shown from the target's playhead.
  ASSERT_TRUE(settled(*target));
  EXPECT_EQ(shownFrame(*target), 30);

  app->closeDocument(*source);
  EXPECT_EQ(app->documentController().documents().size(), 1u);
  menu(*target, Command::Paste);
  EXPECT_EQ(durationOf(*target), targetLength + secondsTime(1));

  // Anything copied since makes paste do nothing.
  QGuiApplication::clipboard()->setText("something else");
  menu(*target, Command::Paste);
  EXPECT_EQ(durationOf(*target), targetLength + secondsTime(1));
  EXPECT_TRUE(alerts.empty());
}

TEST_F(DocumentMenusTest, TimeStretchAppliesTheTypedDurationOrFactor) {
  const auto document = open("h264-aac-mp4");
  auto& view = viewOf(*document);
  const MediaTime full = durationOf(*document);
  view.timeline()->setSelections({{secondsTime(1), secondsTime(1)}});
  menu(*document, Command::TimeStretchSelection);
  StretchTimeDialog* dialog = view.stretchDialog();
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->durationField()->text(), "00:00:01.00");

  // Nothing for a zero duration or a factor below 1.
  dialog->durationField()->setText("00:00:00");
  QTest::keyClick(dialog->durationField(), Qt::Key_Return);
  dialog->factorField()->setText("0.5");
  QTest::keyClick(dialog->factorField(), Qt::Key_Return);
  EXPECT_EQ(durationOf(*document), full);

  dialog->durationField()->setText("00:00:03");
  QTest::keyClick(dialog->durationField(), Qt::Key_Return);
  EXPECT_EQ(durationOf(*document), full + secondsTime(2));
  EXPECT_TRUE(view.timeline()->selections().empty());
  EXPECT_EQ(windowOf(*document).action(Command::Undo)->text(), "Undo Stretch Time");
  ASSERT_TRUE(QTest::qWaitFor([&] { return view.stretchDialog() == nullptr; }, kPatienceMs));

  // A factor of 2.9 works as a divisor of 2: the 3 s just made become 1.5 s.
  view.timeline()->setSelections({{secondsTime(1), secondsTime(3)}});
  menu(*document, Command::TimeStretchSelection);
  view.stretchDialog()->factorField()->setText("2.9");
  QTest::keyClick(view.stretchDialog()->factorField(), Qt::Key_Return);
  EXPECT_EQ(durationOf(*document), full + secondsTime(0.5));
}

template <class Popup>
Popup* openPopup() {
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (auto* popup = qobject_cast<Popup*>(widget); popup && popup->isVisible()) return popup;
  }
  return nullptr;
}

TEST_F(DocumentMenusTest, TheVolumeAndRatePopupsSetThePlayer) {
  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(settled(*document));
  auto& view = viewOf(*document);

  view.volumeBindable()->setValueAndNotify(0.25);
  menu(*document, Command::ShowVolumeControls);
  auto* volume = openPopup<VolumePopup>();
  ASSERT_NE(volume, nullptr);
  EXPECT_EQ(volume->slider()->value(), 25);
  volume->slider()->setValue(80);
  EXPECT_DOUBLE_EQ(view.volumeBindable()->value(), 0.8);
  EXPECT_FLOAT_EQ(static_cast<float>(view.player()->volume()), 0.8f);
  volume->close();

  menu(*document, Command::ShowPlaybackRateControls);
  auto* rate = openPopup<PlaybackRatePopup>();
  ASSERT_NE(rate, nullptr);
  EXPECT_EQ(rate->slider()->value(), 100);  // the rate starts at 1
  // 1.5² = 2.25, down to a tenth: 2.2; the slider then sits at 100 × √2.2.
  rate->slider()->setValue(150);
  EXPECT_DOUBLE_EQ(view.playbackRateBindable()->value(), 2.2);
  EXPECT_NEAR(view.player()->rate(), 2.2, 1e-6);
  EXPECT_EQ(rate->slider()->value(), 148);
  EXPECT_TRUE(view.playPauseButton()->isChecked());
  rate->slider()->setValue(-32);  // s² = 0.1024 backwards: rounded down to -0.2
  EXPECT_DOUBLE_EQ(view.playbackRateBindable()->value(), -0.2);
  rate->slider()->setValue(0);
  EXPECT_DOUBLE_EQ(view.player()->rate(), 0.0);
  EXPECT_FALSE(view.playPauseButton()->isChecked());
  rate->close();
}

}  // namespace
}  // namespace reelcraft
