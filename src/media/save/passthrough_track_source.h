#pragma once

#include <cstdint>
#include <vector>

#include "media/base/media_time.h"
#include "media/ffmpeg/av_handles.h"

extern "C" {
#include <libavutil/rational.h>
}

struct AVCodecParameters;

namespace reelcraft {

// One entry of a saved track's edit list: the stretch [start, end) of the movie's timeline
// shows the track's media from `mediaTime` (in the output stream's time base) on, or nothing
// when mediaTime is -1.
struct PassthroughEdit {
  MediaTime start;
  MediaTime end;
  int64_t mediaTime = -1;
};

// A sample written as a one-byte stand-in for an earlier sample of its track with the same
// bytes: the track's sample table points it at that sample's bytes instead (0-based indices, in
// the order the track's packets were written).
struct PassthroughSharedSample {
  int64_t sample = 0;
  int64_t sameAs = 0;  // less than `sample`
};

// Where the packets of one saved track come from, with the edit list that places them.
class PassthroughTrackSource {
 public:
  virtual ~PassthroughTrackSource() = default;
  virtual const AVCodecParameters& codecParameters() const = 0;
  // The time base the output stream should ask for.
  virtual AVRational preferredTimeBase() const = 0;
  // The time base the muxer chose; called before next().
  virtual void setOutputTimeBase(AVRational timeBase) = 0;
  // The next packet to write, with timestamps in the output time base, or false at the end.
  // Throws ErrorException when the media cannot be read.
  virtual bool next(PacketPtr& packet) = 0;
  // The edit list, complete once next() has returned false.
  virtual const std::vector<PassthroughEdit>& edits() const = 0;
  // The stand-ins among the packets, complete once next() has returned false.
  virtual const std::vector<PassthroughSharedSample>& sharedSamples() const {
    static const std::vector<PassthroughSharedSample> none;
    return none;
  }
};

}  // namespace reelcraft
