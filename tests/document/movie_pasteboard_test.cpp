#include "document/movie_pasteboard.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/timeline_selection.h"
#include "document/document.h"
#include "document/general_pasteboard.h"
#include "document/movie.h"
#include "media/base/error.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

MediaTime frames(int64_t count) {
  return MediaTime::make(count, 30);
}
TimelineSelection frameSelection(int64_t start, int64_t count) {
  return TimelineSelection{frames(start), frames(count)};
}

// The video segments of a composition as (source start frame, frame count) pairs at 30 fps.
using Pieces = std::vector<std::pair<int64_t, int64_t>>;
Pieces videoPieces(const Composition& composition) {
  Pieces pieces;
  for (const TrackSegment& segment :
       composition.tracksWithMediaType(MediaType::Video)[0]->segments) {
    if (segment.isEmpty()) continue;
    pieces.emplace_back(std::llround(segment.sourceRange.start.seconds() * 30),
                        std::llround(segment.sourceRange.duration.seconds() * 30));
  }
  return pieces;
}

class MoviePasteboardTest : public ::testing::Test {
 protected:
  Pieces targetPieces() const { return videoPieces(*target->movie()->composition); }

  const std::shared_ptr<LocalPasteboard> general = std::make_shared<LocalPasteboard>();
  MoviePasteboard pasteboard{general};
  std::shared_ptr<Document> source = Document::open(testmedia::testMediaPath("h264-aac-mov"));
  const std::shared_ptr<Document> target = Document::open(testmedia::testMediaPath("h264-aac-mov"));
};

TEST_F(MoviePasteboardTest, CopyPutsOnlyTheIdentifierUnderThePrivateType) {
  general->setString("earlier", "public.utf8-plain-text");
  ASSERT_TRUE(copyMovieSelection(source->movie(), {frameSelection(10, 20)}, pasteboard));

  ASSERT_TRUE(pasteboard.lastCopiedItem().has_value());
  EXPECT_EQ(general->stringForType("com.tarvo.pasteboard.movie"),
            pasteboard.lastCopiedItem()->identifier);
  EXPECT_EQ(general->stringForType("public.utf8-plain-text"), std::nullopt)
      << "the pasteboard is cleared first";
  const auto fragment = pasteboard.read();
  ASSERT_NE(fragment, nullptr);
  EXPECT_TRUE(fragment->range == frameSelection(10, 20).timeRange());
}

TEST_F(MoviePasteboardTest, AnythingElseOnThePasteboardMakesTheCopyStale) {
  copyMovieSelection(source->movie(), {frameSelection(0, 30)}, pasteboard);
  const std::string token = pasteboard.lastCopiedItem()->identifier;

  general->clearContents();
  general->setString("text from another program", "public.utf8-plain-text");
  EXPECT_EQ(pasteboard.read(), nullptr);
  EXPECT_FALSE(pasteMovieFragment(target->movie(), frames(0), pasteboard));
  EXPECT_FALSE(target->undoManager()->canUndo());

  general->setString(token + " ", "com.tarvo.pasteboard.movie");
  EXPECT_EQ(pasteboard.read(), nullptr) << "the token must match exactly";

  general->setString(token, "com.tarvo.pasteboard.movie");
  EXPECT_NE(pasteboard.read(), nullptr) << "the same token brings the copy back";
}

TEST_F(MoviePasteboardTest, NothingHappensWithoutSelectionCopyOrMovie) {
  EXPECT_FALSE(copyMovieSelection(source->movie(), {}, pasteboard));
  EXPECT_FALSE(pasteboard.lastCopiedItem().has_value());
  EXPECT_FALSE(pasteMovieFragment(target->movie(), frames(0), pasteboard));

  std::weak_ptr<Movie> gone;
  {
    const auto closed = Document::create();
    gone = closed->movie();
  }
  EXPECT_FALSE(copyMovieSelection(gone, {frameSelection(0, 1)}, pasteboard));
  copyMovieSelection(source->movie(), {frameSelection(0, 1)}, pasteboard);
  EXPECT_FALSE(pasteMovieFragment(gone, frames(0), pasteboard));
}

TEST_F(MoviePasteboardTest, PasteInsertsTheLastCopyFromTheLastSelectionAtThePlayhead) {
  copyMovieSelection(source->movie(), {frameSelection(0, 5)}, pasteboard);
  copyMovieSelection(source->movie(), {frameSelection(0, 5), frameSelection(40, 10)}, pasteboard);
  EXPECT_EQ(general->stringForType("com.tarvo.pasteboard.movie"),
            pasteboard.lastCopiedItem()->identifier);

  ASSERT_TRUE(pasteMovieFragment(target->movie(), frames(60), pasteboard));

  EXPECT_EQ(targetPieces(), (Pieces{{0, 60}, {40, 10}, {60, 30}}));
  EXPECT_EQ(target->undoManager()->undoActionName(), "Insert");
  EXPECT_TRUE(target->isDocumentEdited());
  EXPECT_FALSE(source->isDocumentEdited()) << "copying changes nothing";
}

TEST_F(MoviePasteboardTest, PasteTakesTheMovieAsItWasWhenCopied) {
  copyMovieSelection(source->movie(), {frameSelection(30, 15)}, pasteboard);
  // Edits to the source and closing it do not reach the copy.
  source->movie()->remove(TimeRange::make(frames(0), frames(45)));
  std::weak_ptr<Movie> sourceMovie = source->movie();
  source.reset();
  ASSERT_TRUE(sourceMovie.expired());

  ASSERT_TRUE(pasteMovieFragment(target->movie(), frames(0), pasteboard));
  EXPECT_EQ(targetPieces(), (Pieces{{30, 15}, {0, 90}}));

  target->undoManager()->undo();
  EXPECT_EQ(targetPieces(), (Pieces{{0, 90}}));
}

TEST_F(MoviePasteboardTest, FailedPasteThrowsAndLeavesAnInsertToUndo) {
  copyMovieSelection(source->movie(), {frameSelection(0, 10)}, pasteboard);
  EXPECT_THROW(pasteMovieFragment(target->movie(), frames(200), pasteboard), ErrorException);
  EXPECT_EQ(target->undoManager()->undoActionName(), "Insert");
  EXPECT_EQ(targetPieces(), (Pieces{{0, 90}}));
}

TEST(SharedMoviePasteboard, UsesTheProcessGeneralPasteboard) {
  const auto general = std::make_shared<LocalPasteboard>();
  const auto previous = generalPasteboard();
  setGeneralPasteboard(general);
  const auto document = Document::open(testmedia::testMediaPath("h264-aac-mov"));

  EXPECT_EQ(&MoviePasteboard::shared(), &MoviePasteboard::shared());
  ASSERT_TRUE(copyMovieSelection(document->movie(), {frameSelection(0, 3)}));
  EXPECT_EQ(general->stringForType("com.tarvo.pasteboard.movie"),
            MoviePasteboard::shared().lastCopiedItem()->identifier);
  EXPECT_TRUE(pasteMovieFragment(document->movie(), frames(0)));
  setGeneralPasteboard(previous);
  EXPECT_FALSE(pasteMovieFragment(document->movie(), frames(0)))
      << "another pasteboard does not hold the token";
}

}  // namespace
}  // namespace reelcraft
