#include "mediagen/test_media.h"

#include <unistd.h>

#include <filesystem>
#include <map>
#include <mutex>
#include <stdexcept>

#include "mediagen/movie_recipe.h"
#include "mediagen/movie_writer.h"

extern "C" {
#include <libavutil/log.h>
}

namespace reelcraft::testmedia {
namespace {

namespace fs = std::filesystem;

class MediaCache {
 public:
  MediaCache() {
    // Encoder statistics and demuxer warnings about deliberately broken files would bury
    // the test output.
    av_log_set_level(AV_LOG_FATAL);
    directory_ = fs::temp_directory_path() / ("reelcraft-test-media-" + std::to_string(getpid()));
    fs::create_directories(directory_);
  }
  ~MediaCache() {
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
  }

  std::string variant(std::string_view name) {
    const NamedVariant* variant = findVariant(name);
    if (!variant) throw std::runtime_error("no test media variant named " + std::string(name));
    return fileFor(variant->name + variant->extension,
                   [variant](const std::string& path) { writeMovie(path, variant->recipe); });
  }

  std::string broken(BrokenFileKind kind) {
    const std::string name = "broken-" + std::string(brokenFileKindName(kind)) +
                             (kind == BrokenFileKind::Text ? ".txt" : ".mov");
    return fileFor(name, [kind](const std::string& path) { writeBrokenFile(path, kind); });
  }

  std::string directory() const { return directory_.string(); }

 private:
  template <typename Write>
  std::string fileFor(const std::string& name, Write write) {
    std::lock_guard lock(mutex_);
    if (auto found = files_.find(name); found != files_.end()) return found->second;
    const std::string path = (directory_ / name).string();
    write(path);
    files_.emplace(name, path);
    return path;
  }

  fs::path directory_;
  std::mutex mutex_;
  std::map<std::string, std::string> files_;
};

MediaCache& cache() {
  static MediaCache instance;
  return instance;
}

}  // namespace

std::string testMediaPath(std::string_view variantName) {
  return cache().variant(variantName);
}

std::string brokenMediaPath(BrokenFileKind kind) {
  return cache().broken(kind);
}

std::string testMediaDirectory() {
  return cache().directory();
}

}  // namespace reelcraft::testmedia
