// Saving over the file a document was opened from replaces that file, while the document's
// movie and its undo steps still refer to the samples they were made from.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "document/document.h"
#include "document_test_support.h"
#include "media/base/undo_manager.h"
#include "mediagen/media_reader.h"

namespace reelcraft {
namespace {

using testsupport::ScratchFolder;

TimeRange frameRange(int64_t first, int64_t count) {
  return TimeRange::make(MediaTime::make(first, 30), MediaTime::make(count, 30));
}

std::vector<int> indicesOf(std::initializer_list<std::pair<int, int>> pieces) {
  std::vector<int> result;
  for (auto [from, to] : pieces) {
    for (int i = from; i < to; ++i) result.push_back(i);
  }
  return result;
}

TEST(SaveOverTheOpenedFile, LaterEditsAndUndoKeepTheOpenedFrames) {
  ScratchFolder folder;
  const std::string path = folder.copyOf("h264-aac-mov", "clip.mov");
  const auto document = Document::open(path);

  document->movie()->remove(frameRange(10, 27));
  ASSERT_TRUE(document->save());
  ASSERT_EQ(testmedia::readFrameIndices(path), indicesOf({{0, 10}, {37, 90}}));

  // Timeline frames 20 to 24 are source frames 47 to 51 now.
  document->movie()->remove(frameRange(20, 5));
  ASSERT_TRUE(document->save());
  EXPECT_EQ(testmedia::readFrameIndices(path), indicesOf({{0, 10}, {37, 47}, {52, 90}}));

  document->undoManager()->undo();
  document->undoManager()->undo();
  document->saveAs(folder.file("undone.mov"));
  EXPECT_EQ(testmedia::readFrameIndices(folder.file("undone.mov")), indicesOf({{0, 90}}));
}

}  // namespace
}  // namespace reelcraft
