#pragma once

#include <initializer_list>
#include <utility>
#include <vector>

namespace reelcraft::testsupport {

// The frame indices from..to-1 of each run, one run after the other: what a decoded movie made
// of those pieces of a source shows.
inline std::vector<int> frameRuns(std::initializer_list<std::pair<int, int>> runs) {
  std::vector<int> indices;
  for (const auto& [from, to] : runs) {
    for (int i = from; i < to; ++i) indices.push_back(i);
  }
  return indices;
}

}  // namespace reelcraft::testsupport
