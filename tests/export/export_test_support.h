#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "document/movie.h"
#include "media/model/composition.h"
#include "media/model/file_asset.h"

namespace reelcraft {

// A movie holding the whole of a file, as an opened document has it.
inline std::shared_ptr<Movie> movieOfFile(const std::string& path) {
  const auto asset = FileAsset::open(path);
  auto movie = Movie::create();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                               MediaTime::zero());
  movie->composition = composition;
  return movie;
}

// The codec names that ffprobe sees in `path`.
inline std::set<std::string> probedCodecs(const std::string& path) {
  const std::string command =
      "ffprobe -v error -show_entries stream=codec_name -of csv=p=0 '" + path + "' 2>/dev/null";
  std::set<std::string> codecs;
  if (std::FILE* pipe = popen(command.c_str(), "r")) {
    char line[256];
    while (std::fgets(line, sizeof line, pipe)) {
      std::string codec(line);
      while (!codec.empty() && (codec.back() == '\n' || codec.back() == ',')) codec.pop_back();
      if (!codec.empty()) codecs.insert(codec);
    }
    pclose(pipe);
  }
  return codecs;
}

// Counts the completions of an export and lets a test wait for them. The handler keeps the
// count alive, so a completion that comes after the test has ended does no harm.
class CompletionCounter {
 public:
  std::function<void()> handler() {
    return [state = state_] {
      std::lock_guard lock(state->mutex);
      ++state->count;
      state->changed.notify_all();
    };
  }
  // Whether a completion came within `timeout`.
  bool waitForCompletion(std::chrono::seconds timeout = std::chrono::seconds(60)) {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, timeout, [this] { return state_->count > 0; });
  }
  int count() const {
    std::lock_guard lock(state_->mutex);
    return state_->count;
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace reelcraft
