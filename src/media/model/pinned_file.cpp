#include "media/model/pinned_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "media/base/media_error.h"

namespace reelcraft {

std::shared_ptr<const PinnedFile> PinnedFile::open(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    switch (errno) {
      case ENOENT:
      case ENOTDIR:
        throwMediaError(MediaErrorCode::FileNotFound, path);
      case EACCES:
      case EPERM:
        throwMediaError(MediaErrorCode::PermissionDenied, path);
      case ENOMEM:
        throw std::bad_alloc();
      default:
        throwMediaError(MediaErrorCode::Damaged, path);
    }
  }
  return std::shared_ptr<const PinnedFile>(new PinnedFile(path, descriptor));
}

PinnedFile::PinnedFile(std::string path, int descriptor)
    : path_(std::move(path)), descriptor_(descriptor) {
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor_);
  readPath_ = ::access(link.c_str(), R_OK) == 0 ? link : path_;
}

PinnedFile::~PinnedFile() {
  ::close(descriptor_);
}

}  // namespace reelcraft
