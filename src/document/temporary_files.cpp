#include "document/temporary_files.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

namespace reelcraft {

TemporaryFiles::TemporaryFiles() : TemporaryFiles(std::filesystem::temp_directory_path()) {}

TemporaryFiles::TemporaryFiles(std::filesystem::path directory) : tmpDir_(std::move(directory)) {}

TemporaryFiles::~TemporaryFiles() {
  for (const std::filesystem::path& file : tmpFiles_) {
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(file, error))) continue;
    if (std::filesystem::remove(file, error) || !error) continue;
    std::fprintf(stderr, "TemporaryFiles: cannot remove %s: %s\n", file.c_str(),
                 error.message().c_str());
    std::abort();
  }
}

void TemporaryFiles::add(std::filesystem::path file) {
  tmpFiles_.push_back(std::move(file));
}

std::filesystem::path TemporaryFiles::makeFile(std::string_view suffix) {
  std::string pattern = (tmpDir_ / "reelcraft-XXXXXX").string();
  pattern += suffix;
  const int fd = ::mkstemps(pattern.data(), static_cast<int>(suffix.size()));
  if (fd < 0) {
    throw std::system_error(errno, std::generic_category(),
                            "cannot make a temporary file in " + tmpDir_.string());
  }
  ::close(fd);
  add(pattern);
  return pattern;
}

}  // namespace reelcraft
