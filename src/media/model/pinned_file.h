#pragma once

#include <memory>
#include <string>

namespace reelcraft {

// A file held open as it was when opened. Readers reach its contents through readPath() even
// after its name has been removed or replaced by another file, as a save over the movie a
// document shows does: the document's edits and undo steps go on reading the samples they were
// made from, never the newer file at the same name.
class PinnedFile {
 public:
  // Throws ErrorException with a media error (media_error.h) when the file cannot be opened.
  static std::shared_ptr<const PinnedFile> open(const std::string& path);
  ~PinnedFile();
  PinnedFile(const PinnedFile&) = delete;
  PinnedFile& operator=(const PinnedFile&) = delete;

  // The name the file was opened by, for messages.
  const std::string& path() const { return path_; }
  // A name that opens the held file itself (its link in /proc/self/fd), or path() on a system
  // without such links.
  const std::string& readPath() const { return readPath_; }

 private:
  PinnedFile(std::string path, int descriptor);

  std::string path_;
  std::string readPath_;
  int descriptor_ = -1;
};

}  // namespace reelcraft
