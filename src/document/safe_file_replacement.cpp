#include "document/safe_file_replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "document/document_error.h"
#include "media/base/error.h"

namespace reelcraft {
namespace {

namespace fs = std::filesystem;

// The file that a save to `destination` really replaces: symbolic links are followed, so the
// link stays a link.
fs::path resolvedDestination(const std::string& destination) {
  std::error_code error;
  const fs::path absolute = fs::absolute(destination, error);
  if (error) return destination;
  if (!fs::is_symlink(absolute, error)) return absolute;
  const fs::path target = fs::weakly_canonical(absolute, error);
  return error ? absolute : target;
}

mode_t newFileMode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

void syncPath(const fs::path& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

// Removes the temporary file unless it has been renamed.
class TemporaryFileGuard {
 public:
  explicit TemporaryFileGuard(fs::path path) : path_(std::move(path)) {}
  ~TemporaryFileGuard() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  void release() { path_.clear(); }

 private:
  fs::path path_;
};

}  // namespace

void replaceFileSafely(const std::string& destination,
                       const std::function<void(const std::string& temporaryPath)>& write,
                       const std::function<void(const std::string& temporaryPath)>& check) {
  const fs::path target = resolvedDestination(destination);
  const fs::path folder = target.parent_path();

  // A hidden name next to the destination, with the destination's extension: writers and
  // tools that look at names take it for the same kind of file.
  std::string extension = fs::path(destination).extension().string();
  if (extension.empty()) extension = ".mov";
  const std::string pattern =
      (folder / ("." + target.filename().string() + ".saving-XXXXXX" + extension)).string();
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  const int fd = ::mkstemps(name.data(), static_cast<int>(extension.size()));
  if (fd < 0) {
    const int cause = errno;
    throw ErrorException(makeSaveError(DocumentErrorCode::FolderNotWritable, destination,
                                       "no file can be made in the folder “" + folder.string() +
                                           "” (" + std::strerror(cause) + ")"));
  }
  const fs::path temporary(name.data());
  TemporaryFileGuard guard(temporary);
  ::close(fd);

  write(temporary.string());
  check(temporary.string());

  // Set after writing, as a writer may replace the file rather than write into it.
  struct stat existing {};
  const mode_t mode =
      ::stat(target.c_str(), &existing) == 0 ? (existing.st_mode & 07777) : newFileMode();
  ::chmod(temporary.c_str(), mode);

  syncPath(temporary, O_RDONLY);
  if (::rename(temporary.c_str(), target.c_str()) != 0) {
    const int cause = errno;
    throw ErrorException(makeSaveError(DocumentErrorCode::ReplaceFailed, destination,
                                       "the new file could not take the old one’s place (" +
                                           std::string(std::strerror(cause)) + ")"));
  }
  guard.release();
  syncPath(folder, O_RDONLY | O_DIRECTORY);
}

}  // namespace reelcraft
