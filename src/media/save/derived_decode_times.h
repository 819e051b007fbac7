#pragma once

#include <cstdint>
#include <vector>

namespace reelcraft {

// Decode times for the video packets of one stream, derived from their presentation times in
// decode order, since containers such as Matroska store presentation times only and others
// store decode times with gaps or repeats. When no frame is shown after more than `depth`
// frames decoded later than it, the (depth + 1)-th latest presentation time read so far is a
// decode time that rises with every packet and never follows the packet's presentation. The
// first `depth` packets after a reset, which have fewer before them, are placed a frame apart
// before the first one shown, as an encoder times them.
class DerivedDecodeTimes {
 public:
  // `frameTicks` is a frame's duration in the stream's time base.
  DerivedDecodeTimes(int depth, int64_t frameTicks);

  // Starts again, for packets read from a keyframe on.
  void reset();
  // The decode time of the next packet, shown at `pts`.
  int64_t next(int64_t pts);

 private:
  int depth_ = 0;
  int64_t frameTicks_ = 1;
  std::vector<int64_t> latest_;  // the latest presentation times read, at most depth + 1, rising
  int64_t last_ = 0;             // the last decode time given
  bool started_ = false;
};

}  // namespace reelcraft
