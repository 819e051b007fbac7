#include "document/temporary_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "document_test_support.h"

namespace reelcraft {
namespace {

namespace fs = std::filesystem;
using testsupport::ScratchFolder;

TEST(TemporaryFiles, RemovesItsFilesWhenReleasedAndSkipsVanishedOnes) {
  ScratchFolder folder;
  fs::path made;
  const fs::path added = folder.file("added.txt");
  const fs::path vanished = folder.file("vanished.txt");
  std::ofstream(added) << "scratch";
  {
    TemporaryFiles files(folder.file(""));
    made = files.makeFile(".mov");
    files.add(vanished);
    files.add(added);
    EXPECT_EQ(made.extension(), ".mov");
    EXPECT_EQ(made.parent_path(), fs::path(folder.file("")).parent_path());
    EXPECT_TRUE(fs::exists(made));
    EXPECT_EQ(files.tmpFiles(), (std::vector<fs::path>{made, vanished, added}));
  }
  EXPECT_FALSE(fs::exists(made));
  EXPECT_FALSE(fs::exists(added));
  EXPECT_TRUE(folder.entries().empty());
}

TEST(TemporaryFiles, MakingAFileInAMissingFolderThrows) {
  ScratchFolder folder;
  TemporaryFiles files(folder.file("missing"));
  EXPECT_THROW(files.makeFile(), std::system_error);
}

TEST(TemporaryFilesDeathTest, FailedRemovalStopsTheProcessNamingTheRegistry) {
  ScratchFolder folder;
  // A folder that is not empty cannot be removed as a file; the file after it stays.
  const fs::path stubborn = folder.file("stubborn");
  fs::create_directory(stubborn);
  std::ofstream(stubborn / "inside") << "x";
  const fs::path later = folder.file("later");
  std::ofstream(later) << "x";

  EXPECT_DEATH(
      {
        TemporaryFiles files(folder.file(""));
        files.add(stubborn);
        files.add(later);
      },
      "TemporaryFiles: cannot remove .*stubborn");
  EXPECT_TRUE(fs::exists(later));
}

}  // namespace
}  // namespace reelcraft
