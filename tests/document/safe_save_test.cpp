#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "document/document.h"
#include "document/document_error.h"
#include "document_test_support.h"
#include "media/base/error.h"
#include "media/support/composition_reading.h"
#include "media/model/file_asset.h"
#include "media/support/frame_runs.h"
#include "mediagen/media_reader.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testsupport::copyingWriter;
using testsupport::fileBytes;
using testsupport::frameRuns;
using testsupport::ScratchFolder;

MediaTime seconds(int64_t s) {
  return MediaTime::make(s, 1);
}

// The error of saving `document` to `path`; a test failure when the save succeeds.
Error saveError(Document& document, const std::string& path) {
  return reading::errorOf([&] { document.saveAs(path); });
}

// An opened copy of the 3 s, 30 fps test movie with its last second deleted, and a stand-in
// writer that writes the two-second trimmed file so that the writer's work is known.
class SafeSaveTest : public ::testing::Test {
 protected:
  SafeSaveTest() {
    document = Document::open(original);
    document->movie()->remove(TimeRange::make(seconds(2), seconds(1)));
  }

  void expectOriginalUntouched() {
    EXPECT_EQ(fileBytes(original), originalBytes);
    EXPECT_TRUE(document->isDocumentEdited());
    EXPECT_THAT(folder.entries(), ElementsAre("clip.mov")) << "no temporary file is left";
  }

  ScratchFolder folder;
  const std::string original = folder.copyOf("h264-aac-mov", "clip.mov");
  const std::string originalBytes = fileBytes(original);
  std::shared_ptr<Document> document;
};

ino_t inodeOf(const std::string& path) {
  struct stat info {};
  ::stat(path.c_str(), &info);
  return info.st_ino;
}

TEST_F(SafeSaveTest, ReplacesTheFileWithWhatTheWriterWroteAndNotesReencodedTracks) {
  // Two seconds of H.264 and AAC, as the edited movie is.
  const std::string written = testmedia::testMediaPath("rotated-mov");
  document->setMovieWriter([&](const Composition& composition, const std::string& path) {
    copyingWriter(written)(composition, path);
    return PassthroughWriteReport{{"audio track 2 from 1 s to 2 s (stretched)"}};
  });
  std::ostringstream notes;
  document->setNoteStream(notes);
  ::chmod(original.c_str(), 0640);
  const ino_t inodeBefore = inodeOf(original);

  document->saveAs(original);
  EXPECT_EQ(notes.str(),
            "Re-encoded while saving “clip.mov”: audio track 2 from 1 s to 2 s (stretched)\n");

  EXPECT_EQ(fileBytes(original), fileBytes(written));
  EXPECT_NE(inodeOf(original), inodeBefore) << "a new file takes the old name";
  struct stat info {};
  ::stat(original.c_str(), &info);
  EXPECT_EQ(info.st_mode & 0777, 0640u) << "the replaced file's permissions are kept";
  EXPECT_FALSE(document->isDocumentEdited());
  EXPECT_THAT(folder.entries(), ElementsAre("clip.mov"));
}

TEST_F(SafeSaveTest, ASymbolicLinkStaysALinkToTheSavedFile) {
  const std::string link = folder.file("link.mov");
  std::filesystem::create_symlink(original, link);
  document->setMovieWriter(copyingWriter(testmedia::testMediaPath("rotated-mov")));

  document->saveAs(link);

  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(fileBytes(original), fileBytes(testmedia::testMediaPath("rotated-mov")));
}

// What the stand-in writer leaves is not the edited movie: the save fails naming the
// destination and the original stays.
TEST_F(SafeSaveTest, WrittenFileThatIsNotTheMovieLeavesTheOriginal) {
  struct Case {
    const char* written;
    Document::MovieWriter writer;
    const char* reason;
  };
  const Case cases[] = {
      {"text",
       [](const Composition&, const std::string& path) {
         std::ofstream(path, std::ios::binary) << "not a movie at all";
         return PassthroughWriteReport{};
       },
       "cannot be read back"},
      {"nothing",
       [](const Composition&, const std::string& path) {
         std::filesystem::remove(path);
         return PassthroughWriteReport{};
       },
       ""},
      // Video only, where the movie has sound too.
      {"video only", copyingWriter(testmedia::testMediaPath("video-only-mp4")), "audio track"},
      // Three seconds, where the movie lasts two.
      {"too long", copyingWriter(testmedia::testMediaPath("h264-aac-mp4")), "instead of 2.000 s"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.written);
    document->setMovieWriter(c.writer);
    const Error error = saveError(*document, original);
    EXPECT_EQ(error.domain, kDocumentErrorDomain);
    EXPECT_EQ(error.code, static_cast<int>(DocumentErrorCode::WriteFailed));
    EXPECT_THAT(error.description, HasSubstr("“clip.mov”"));
    EXPECT_THAT(error.description, HasSubstr(c.reason));
    EXPECT_FALSE(error.recoverySuggestion.empty());
    expectOriginalUntouched();
  }
}

TEST_F(SafeSaveTest, WritersOwnFailureIsReportedAboutTheDestination) {
  std::string temporaryPath;
  document->setMovieWriter([&](const Composition&,
                               const std::string& path) -> PassthroughWriteReport {
    temporaryPath = path;
    std::filesystem::remove(path);
    throw ErrorException(Error{
        "Writer", 7,
        "The file “" + std::filesystem::path(path).filename().string() + "” could not be written.",
        "Try a disk with more space."});
  });
  const Error error = saveError(*document, original);
  EXPECT_THAT(error.description, HasSubstr("The file “clip.mov” could not be written"));
  EXPECT_EQ(error.recoverySuggestion, "Try a disk with more space.");
  EXPECT_EQ(std::filesystem::path(temporaryPath).parent_path(),
            std::filesystem::path(original).parent_path())
      << "written next to the destination, so that the rename stays on one file system";
  ASSERT_TRUE(document->lastWriteFailure().has_value());
  expectOriginalUntouched();
}

TEST_F(SafeSaveTest, FolderThatDoesNotExistFailsBeforeWriting) {
  bool wrote = false;
  document->setMovieWriter([&](const Composition&, const std::string&) {
    wrote = true;
    return PassthroughWriteReport{};
  });
  const Error error = saveError(*document, folder.file("missing/clip.mov"));
  EXPECT_EQ(error.code, static_cast<int>(DocumentErrorCode::FolderNotWritable));
  EXPECT_THAT(error.description, HasSubstr("missing"));
  EXPECT_FALSE(wrote);
  EXPECT_EQ(document->filePath(), original);
  expectOriginalUntouched();
}

TEST_F(SafeSaveTest, MovieWithoutMediaIsNotSaved) {
  const auto untitled = Document::create();
  untitled->setMovieWriter(copyingWriter(original));
  const Error error = saveError(*untitled, folder.file("empty.mov"));
  EXPECT_EQ(error.code, static_cast<int>(DocumentErrorCode::NothingToSave));
  EXPECT_THAT(folder.entries(), ElementsAre("clip.mov"));
}

// Saves with every file limited to `bytes`. Exits with 3 when the save fails with a document
// error and leaves the document edited, with another code otherwise.
[[noreturn]] void saveWithFileSizeLimit(Document& document, const std::string& path, rlim_t bytes) {
  ::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{bytes, bytes};
  ::setrlimit(RLIMIT_FSIZE, &limit);
  try {
    document.saveAs(path);
  } catch (const ErrorException& failure) {
    const bool reported = failure.error().domain == kDocumentErrorDomain;
    std::_Exit(reported && document.isDocumentEdited() ? 3 : 4);
  }
  std::_Exit(5);
}

// Saving onto a disk that is full when the file is half written: a file-size limit makes
// every write beyond 64 KiB fail. Read-only permissions cannot stand in for it, because the
// tests may run as root. The save runs in a child process, which alone has the limit.
TEST_F(SafeSaveTest, FullDiskFailsAndLeavesTheOriginal) {
  ScratchFolder target;
  const std::string destination = target.copyOf("sample", "long.mov");
  const std::string destinationBytes = fileBytes(destination);
  const auto edited = Document::open(destination);
  edited->movie()->remove(TimeRange::make(seconds(1), seconds(1)));
  ASSERT_GT(destinationBytes.size(), 128u * 1024) << "the movie must not fit within the limit";

  EXPECT_EXIT(saveWithFileSizeLimit(*edited, destination, 64 * 1024), ::testing::ExitedWithCode(3),
              "");
  EXPECT_EQ(fileBytes(destination), destinationBytes);
  EXPECT_THAT(target.entries(), ElementsAre("long.mov"));
}

// The real writer, from opening to decoding what was saved.
TEST(SavedMovie, HoldsExactlyTheEditedFramesAlsoAfterLaterEditsAndUndo) {
  ScratchFolder folder;
  const std::string path = folder.copyOf("h264-aac-mov", "clip.mov");
  const auto document = Document::open(path);
  // Cuts inside GOPs (25 frames, B-frames) on both sides.
  document->movie()->remove(TimeRange::make(MediaTime::make(10, 30), MediaTime::make(27, 30)));
  ASSERT_TRUE(document->save());
  EXPECT_EQ(testmedia::readFrameIndices(path), frameRuns({{0, 10}, {37, 90}}));
  EXPECT_FALSE(document->isDocumentEdited());

  // Saving replaced the opened file, while the movie and its undo steps still refer to the
  // samples they were made from. Timeline frames 20 to 24 are source frames 47 to 51 now.
  document->movie()->remove(TimeRange::make(MediaTime::make(20, 30), MediaTime::make(5, 30)));
  ASSERT_TRUE(document->save());
  EXPECT_EQ(testmedia::readFrameIndices(path), frameRuns({{0, 10}, {37, 47}, {52, 90}}));
  document->undoManager()->undo();
  document->undoManager()->undo();
  document->saveAs(folder.file("undone.mov"));
  EXPECT_EQ(testmedia::readFrameIndices(folder.file("undone.mov")), frameRuns({{0, 90}}));
}

// A new document's ten empty seconds with two seconds of the test movie pasted at 1.56 s: the
// saved movie keeps the empty time at both ends, in the container that its extension names.
TEST(SavedMovie, LastsAsLongAsTheDocumentInTheContainerItsExtensionNames) {
  ScratchFolder folder;
  const auto document = Document::create();
  document->movie()->composition->insertTimeRange(
      TimeRange::make(MediaTime::zero(), seconds(2)),
      *FileAsset::open(testmedia::testMediaPath("h264-aac-mov")), MediaTime::make(156, 100));
  for (const auto& [name, brand] : {std::pair{"pasted.mov", "qt  "}, {"pasted.mp4", "isom"}}) {
    document->saveAs(folder.file(name));
    EXPECT_EQ(fileBytes(folder.file(name)).substr(8, 4), brand);
    EXPECT_NEAR(Document::open(folder.file(name))->movie()->composition->duration().seconds(), 12,
                1e-3);
    const auto frames = testmedia::readVideoFrames(folder.file(name));
    ASSERT_EQ(frames.size(), 60u) << name;
    EXPECT_NEAR(frames.front().seconds, 1.56, 1e-3);
    EXPECT_EQ(frames.front().frameIndex(), 0);
  }
}

}  // namespace
}  // namespace reelcraft
