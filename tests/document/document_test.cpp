#include "document/document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "document/document_controller.h"
#include "document_test_support.h"
#include "media/base/error.h"
#include "media/model/file_asset.h"
#include "media/support/ffmpeg_made.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using ::testing::ElementsAre;
using testsupport::copyingWriter;

class FakeWindow : public DocumentWindowController {
 public:
  explicit FakeWindow(bool canPresentSheets) : canPresentSheets_(canPresentSheets) {}
  bool canPresentSheets() const override { return canPresentSheets_; }

 private:
  bool canPresentSheets_;
};

// Tests set the hooks they need; every test starts and ends with none.
class DocumentTest : public ::testing::Test {
 protected:
  DocumentTest() { documentHooks() = {}; }
  ~DocumentTest() override { documentHooks() = {}; }

  // An opened copy of the test movie whose saves write the bytes of `written`.
  std::shared_ptr<Document> openCopy(const std::string& written) {
    const auto document = Document::open(folder.copyOf("h264-aac-mov", "clip.mov"));
    document->setMovieWriter(copyingWriter(written));
    return document;
  }

  const std::string movieFile = testmedia::testMediaPath("h264-aac-mov");
  testsupport::ScratchFolder folder;
};

TEST_F(DocumentTest, NewOrOpenedDocumentHasTheMovieAndNoUndoAndClosesTheLaunchAssistant) {
  int launchAssistantClosings = 0;
  documentHooks().closeLaunchAssistant = [&] { ++launchAssistantClosings; };
  const auto untitled = Document::create();
  EXPECT_EQ(untitled->movie()->undoManager.lock(), untitled->undoManager());
  EXPECT_EQ(untitled->movie()->composition->duration(), MediaTime::make(10, 1));
  EXPECT_EQ(untitled->displayName(), "Untitled");

  const auto document = Document::open(movieFile);
  EXPECT_EQ(launchAssistantClosings, 2);
  // What it holds is checked by decoding saved movies.
  EXPECT_EQ(document->movie()->composition->tracks().size(), 2u);
  EXPECT_EQ(document->movie()->composition->duration(), FileAsset::open(movieFile)->duration());
  EXPECT_EQ(document->filePath(), movieFile);
  EXPECT_EQ(document->displayName(), "h264-aac-mov.mov");
  for (const auto& made : {untitled, document}) {
    EXPECT_FALSE(made->undoManager()->canUndo());
    EXPECT_FALSE(made->isDocumentEdited());
  }
}

TEST_F(DocumentTest, ReadingPublishesNothing) {
  const auto document = Document::create();
  int published = 0;
  document->movie()->bindableAsset->observers.push_back([&](const AssetPtr&) { ++published; });
  document->readFromFile(movieFile);
  EXPECT_EQ(published, 0);
  EXPECT_EQ(document->movie()->bindableAsset->value().get(), document->movie()->composition.get());
}

TEST_F(DocumentTest, EditedStateFollowsTheUndoManagerFromTheSavedStateAndIsToldOnce) {
  // Two seconds of H.264 and AAC, as the movie is once a second is deleted.
  const auto document = openCopy(testmedia::testMediaPath("rotated-mov"));
  const auto& undo = document->undoManager();
  std::vector<bool> heard;
  document->addEditedStateObserver([&](bool edited) { heard.push_back(edited); });
  document->movie()->remove(TimeRange::make(MediaTime::make(1, 1), MediaTime::make(1, 1)));
  EXPECT_TRUE(document->isDocumentEdited());
  undo->undo();
  EXPECT_FALSE(document->isDocumentEdited());
  undo->redo();
  EXPECT_TRUE(document->isDocumentEdited());

  document->saveAs(document->filePath());
  EXPECT_FALSE(document->isDocumentEdited());
  undo->undo();
  EXPECT_TRUE(document->isDocumentEdited());
  undo->redo();
  EXPECT_FALSE(document->isDocumentEdited());
  // Undoing to the saved state and then doing something else is a new state.
  undo->undo();
  document->movie()->rotate(true);
  EXPECT_TRUE(document->isDocumentEdited());

  document->updateChangeCount(Document::ChangeKind::Cleared);
  EXPECT_FALSE(document->isDocumentEdited());
  document->updateChangeCount(Document::ChangeKind::Done);
  EXPECT_TRUE(document->isDocumentEdited());
  // Observers hear each change once.
  EXPECT_THAT(heard, ElementsAre(true, false, true, false, true, false, true, false, true));
}

TEST_F(DocumentTest, SaveIsOfferedAndWritesOnlyWhenEdited) {
  const auto document = openCopy(movieFile);
  int writes = 0;
  document->setMovieWriter([&](const Composition& composition, const std::string& path) {
    ++writes;
    return copyingWriter(movieFile)(composition, path);
  });
  for (const char* action : {"trySaveAs:", "export:", ""}) {
    EXPECT_TRUE(document->validateMenuItem(action)) << action;
  }
  EXPECT_FALSE(document->validateMenuItem("trySave:"));
  EXPECT_FALSE(document->trySave());
  EXPECT_EQ(writes, 0);

  document->movie()->rotate(true);
  EXPECT_TRUE(document->validateMenuItem("trySave:"));
  EXPECT_TRUE(document->trySave());
  EXPECT_EQ(writes, 1);
  EXPECT_FALSE(document->isDocumentEdited());
}

TEST_F(DocumentTest, SavingAnUntitledDocumentOrSavingAsAsksForADestinationAndAdoptsIt) {
  const auto document = Document::create();
  document->setMovieWriter(copyingWriter(movieFile));
  document->movie()->insert(
      {FileAsset::open(movieFile), TimeRange::make(MediaTime::zero(), MediaTime::make(3, 1))},
      MediaTime::zero());
  document->movie()->remove(TimeRange::make(MediaTime::make(3, 1), MediaTime::make(10, 1)));
  EXPECT_FALSE(document->save()) << "no save panel: nothing is saved";
  std::optional<std::string> answer;
  documentHooks().chooseSaveDestination = [&](const Document&) { return answer; };
  EXPECT_FALSE(document->trySave());
  EXPECT_FALSE(document->trySaveAs());
  EXPECT_TRUE(document->isDocumentEdited());

  answer = folder.file("new.mov");
  EXPECT_TRUE(document->trySave());
  EXPECT_EQ(document->displayName(), "new.mov");
  answer = folder.file("copy.mov");
  EXPECT_TRUE(document->trySaveAs());
  EXPECT_EQ(document->filePath(), *answer);
  EXPECT_TRUE(std::filesystem::exists(*answer));
}

// A file that a save cannot write is never written over: Save asks where the movie goes.
TEST_F(DocumentTest, SavingADocumentOpenedFromAnotherKindOfFileAsks) {
  const std::string matroska = testsupport::ffmpegMade("h264-aac-mov", "opened.mkv", "-c copy");
  const auto document = Document::open(matroska);
  document->movie()->rotate(true);
  std::string proposed;
  documentHooks().chooseSaveDestination = [&](const Document& asked) {
    proposed = asked.proposedSaveName();
    return std::optional<std::string>();
  };
  EXPECT_FALSE(document->trySave());
  EXPECT_EQ(proposed, matroska.substr(0, matroska.size() - 4) + ".mov");  // H.264 + AAC
}

TEST_F(DocumentTest, FailedMenuSaveIsPresentedAndKeepsTheDocumentEdited) {
  const auto document = openCopy(movieFile);
  document->setMovieWriter([](const Composition&, const std::string&) -> PassthroughWriteReport {
    throw ErrorException(Error{"Test", 1, "The disk is full.", "Free some space."});
  });
  std::vector<Error> presented;
  documentHooks().presentError = [&](const Error& error, const Document&) {
    presented.push_back(error);
  };
  document->movie()->rotate(true);
  EXPECT_FALSE(document->trySave());
  ASSERT_EQ(presented.size(), 1u);
  EXPECT_THAT(presented[0].description, ::testing::HasSubstr("clip.mov"));
  EXPECT_THAT(presented[0].description, ::testing::HasSubstr("The disk is full"));
  EXPECT_EQ(presented[0].recoverySuggestion, "Free some space.");
  EXPECT_TRUE(document->isDocumentEdited());
}

TEST_F(DocumentTest, ExportNeedsAWindowThatCanHoldASheet) {
  const auto document = Document::open(movieFile);
  std::vector<const DocumentWindowController*> exports;
  documentHooks().startBasicExport = [&](const std::shared_ptr<Movie>& movie,
                                         DocumentWindowController& window) {
    EXPECT_EQ(movie, document->movie());
    exports.push_back(&window);
  };
  document->exportMovie();
  EXPECT_TRUE(exports.empty()) << "no window, no export";
  const auto hidden = Document::open(movieFile);
  documentHooks().makeWindowController = [](Document&) {
    return std::make_shared<FakeWindow>(false);
  };
  hidden->makeWindowControllers();
  hidden->exportMovie();
  EXPECT_TRUE(exports.empty()) << "a hidden window cannot hold the sheet";

  auto window = std::make_shared<FakeWindow>(true);
  int windowsMade = 0;
  documentHooks().makeWindowController = [&](Document&) {
    ++windowsMade;
    return window;
  };
  document->makeWindowControllers();
  document->makeWindowControllers();
  EXPECT_EQ(windowsMade, 1);
  document->exportMovie();
  document->tryExport();
  document->advancedExport();
  EXPECT_THAT(exports, ElementsAre(window.get(), window.get()));
}

TEST_F(DocumentTest, ControllerKnowsTheOpenDocumentsAndTheCurrentOne) {
  DocumentController controller;
  EXPECT_EQ(controller.currentDocument(), nullptr);
  const auto first = controller.openDocument(movieFile);
  const auto second = controller.newDocument();
  const auto third = controller.openDocument(testmedia::testMediaPath("video-only-mp4"));
  EXPECT_THAT(controller.documents(), ElementsAre(first, second, third));
  EXPECT_EQ(controller.currentDocument(), third);

  EXPECT_EQ(controller.openDocument(movieFile), first) << "an open file is not opened twice";
  EXPECT_EQ(controller.currentDocument(), first);
  EXPECT_THROW(controller.openDocument(folder.file("missing.mov")), ErrorException);
  EXPECT_THAT(controller.documents(), ElementsAre(first, second, third));
  EXPECT_EQ(controller.currentDocument(), first);

  controller.setCurrentDocument(*second);
  controller.closeDocument(*second);
  EXPECT_EQ(controller.currentDocument(), first) << "the most recently current one";
  controller.closeDocument(*first);
  EXPECT_EQ(controller.currentDocument(), third);
  controller.closeDocument(*third);
  EXPECT_EQ(controller.currentDocument(), nullptr);
  EXPECT_TRUE(controller.documents().empty());
}

}  // namespace
}  // namespace reelcraft
