#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "document/document.h"
#include "document/movie.h"
#include "media/model/file_asset.h"
#include "mediagen/test_media.h"

namespace reelcraft::testsupport {

// A fresh folder in the test program's media directory, removed with everything in it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = testmedia::testMediaDirectory() + "/scratch-XXXXXX";
    path_ = ::mkdtemp(pattern.data());
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string file(const std::string& name) const { return (path_ / name).string(); }
  // A copy of the standard test movie `variant` named `name` in this folder.
  std::string copyOf(const std::string& variant, const std::string& name) const {
    const std::string copy = file(name);
    std::filesystem::copy_file(testmedia::testMediaPath(variant), copy,
                               std::filesystem::copy_options::overwrite_existing);
    return copy;
  }
  std::vector<std::string> entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

 private:
  std::filesystem::path path_;
};

inline std::string fileBytes(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Stands in for the movie writer: writes the bytes of `moviePath` whatever the composition.
inline Document::MovieWriter copyingWriter(std::string moviePath) {
  return [moviePath](const Composition&, const std::string& path) {
    std::filesystem::copy_file(moviePath, path, std::filesystem::copy_options::overwrite_existing);
    return PassthroughWriteReport{};
  };
}

// A movie holding the whole of the generated movie `variant`, with no undo entries yet, as an
// opened document has it.
inline std::shared_ptr<Movie> movieOf(const std::string& variant) {
  const auto movie = Movie::create();
  const auto asset = FileAsset::open(testmedia::testMediaPath(variant));
  auto& composition = *movie->composition;
  while (!composition.tracks().empty()) composition.removeTrack(composition.tracks()[0].trackID);
  composition.insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                              MediaTime::zero());
  return movie;
}

}  // namespace reelcraft::testsupport
