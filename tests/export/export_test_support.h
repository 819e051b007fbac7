#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "document/movie.h"
#include "export/movie_format_config.h"
#include "media/model/composition.h"
#include "media/model/file_asset.h"
#include "mediagen/test_media.h"

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

inline std::vector<MovieFormatConfigPtr> catalogueOf(const std::string& variant) {
  return fileFormatsForMovie(*movieOfFile(testmedia::testMediaPath(variant)));
}

// The FFmpeg names of the codecs of the file's tracks.
inline std::set<std::string> codecsIn(const std::string& path) {
  const auto asset = FileAsset::open(path);
  std::set<std::string> codecs;
  for (const auto& track : asset->sourceTracks()) codecs.insert(track->codecName);
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
  // Whether a completion came within a minute.
  bool waitForCompletion() {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, std::chrono::seconds(60),
                                    [this] { return state_->count > 0; });
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
