#pragma once

#include <chrono>
#include <cstdio>

namespace reelcraft {

// A one-line progress bar with the percentage and an estimate of the time left, redrawn in
// place on a terminal: "[#########-----------]  45.0%  0:00:12 left".
class ExportProgressBar {
 public:
  explicit ExportProgressBar(std::FILE* terminal);

  void show(double percent);
  // Ends the line, if anything was drawn.
  void finish();

 private:
  std::FILE* terminal_;
  std::chrono::steady_clock::time_point start_;
  bool drawn_ = false;
};

}  // namespace reelcraft
