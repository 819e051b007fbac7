#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace reelcraft {

// Temporary files that are removed when the registry is destroyed, in the order they were
// registered; files that are already gone are skipped. Failing to remove one is fatal: the
// process stops with a message that names the registry and the file.
class TemporaryFiles {
 public:
  // Files made by makeFile go into the system's temporary folder.
  TemporaryFiles();
  explicit TemporaryFiles(std::filesystem::path directory);
  ~TemporaryFiles();

  TemporaryFiles(const TemporaryFiles&) = delete;
  TemporaryFiles& operator=(const TemporaryFiles&) = delete;

  const std::filesystem::path& tmpDir() const { return tmpDir_; }
  const std::vector<std::filesystem::path>& tmpFiles() const { return tmpFiles_; }

  // Registers `file` for removal.
  void add(std::filesystem::path file);
  // Makes a new empty file with a unique name ending in `suffix` in tmpDir() and registers it.
  // Throws std::system_error when the file cannot be made.
  std::filesystem::path makeFile(std::string_view suffix = {});

 private:
  std::filesystem::path tmpDir_;
  std::vector<std::filesystem::path> tmpFiles_;
};

}  // namespace reelcraft
