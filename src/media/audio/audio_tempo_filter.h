#pragma once

#include <vector>

#include "media/ffmpeg/av_handles.h"

struct AVFilterContext;

namespace reelcraft {

// Plays interleaved stereo float sound faster or slower without changing its pitch
// (libavfilter's atempo, chained where one instance cannot reach the factor).
class AudioTempoFilter {
 public:
  // `tempo` > 1 plays faster (shorter output), < 1 slower. Throws std::invalid_argument for
  // a factor that is not positive and finite.
  AudioTempoFilter(double tempo, int sampleRate);
  ~AudioTempoFilter();
  AudioTempoFilter(const AudioTempoFilter&) = delete;
  AudioTempoFilter& operator=(const AudioTempoFilter&) = delete;

  // Feeds `count` stereo frames and appends whatever output is ready to `output`.
  void push(const float* samples, int count, std::vector<float>& output);
  // Ends the input and appends the rest of the output.
  void finish(std::vector<float>& output);

  // The atempo factors whose product is `tempo`, each within the range where atempo keeps
  // every sample (0.5...2).
  static std::vector<double> stageFactors(double tempo);

 private:
  void drain(std::vector<float>& output);

  int sampleRate_;
  int64_t pushedFrames_ = 0;
  FilterGraphPtr graph_;
  AVFilterContext* source_ = nullptr;
  AVFilterContext* sink_ = nullptr;
  FramePtr scratch_;
  bool finished_ = false;
};

}  // namespace reelcraft
