#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "document/document_test_support.h"
#include "export/movie_format_config.h"
#include "media/model/file_asset.h"
#include "mediagen/test_media.h"

namespace reelcraft {

using testsupport::movieOf;

inline std::vector<MovieFormatConfigPtr> catalogueOf(const std::string& variant) {
  return fileFormatsForMovie(*movieOf(variant));
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
      if (state->count++ == 0) state->first.set_value();
    };
  }
  // Whether a completion came within a minute.
  bool waitForCompletion() {
    return firstDone_.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  }
  int count() const { return state_->count; }

 private:
  struct State {
    std::atomic<int> count{0};
    std::promise<void> first;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
  std::shared_future<void> firstDone_ = state_->first.get_future().share();
};

}  // namespace reelcraft
