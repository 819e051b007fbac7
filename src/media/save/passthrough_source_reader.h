#pragma once

#include <cstdint>
#include <memory>

#include "media/ffmpeg/av_handles.h"
#include "media/model/asset.h"
#include "media/model/input_file.h"

extern "C" {
#include <libavutil/rational.h>
}

struct AVIndexEntry;

namespace reelcraft {

// Reads the compressed packets of one source stream at a time, without decoding them, for the
// track copiers: the stream of the segment being copied, switching files as segments need.
class PassthroughSourceReader {
 public:
  // Opens `source`'s file for reading its packets. Unlike openInputFile it does not probe the
  // streams by decoding: the container's headers say all that copying needs. Throws
  // ErrorException when the file cannot be opened.
  static InputFilePtr openFile(const SourceTrack& source);

  // Reads `source` from now on, unless its stream is the one open already; returns whether
  // another stream was opened. Throws ErrorException when it cannot be opened.
  bool open(const std::shared_ptr<const SourceTrack>& source);
  // Reads `source` from `file`, which openFile() opened for it.
  void use(InputFilePtr file, const std::shared_ptr<const SourceTrack>& source);

  // The open stream's time base, which its packets' timestamps count in.
  AVRational timeBase() const { return timeBase_; }
  // The index entry of the last keyframe decoded at or before `ticks`, or null.
  const AVIndexEntry* keyframeAtOrBefore(int64_t ticks) const;

  // Reads on from the last keyframe at or before `ticks`, or from the start of the file.
  void seek(int64_t ticks);
  // Reads on from the last keyframe at or before `ticks`; false, reading on where it was, when
  // there is none.
  bool trySeek(int64_t ticks);
  // The next packet of the stream with a presentation time (decode time filled in when
  // missing), or false at the end of the file. Throws ErrorException when it cannot be read.
  bool read(PacketPtr& packet);

 private:
  InputFilePtr input_;
  std::shared_ptr<const SourceTrack> source_;
  int streamIndex_ = -1;
  AVRational timeBase_{1, 1};
  bool atEnd_ = false;  // read() has met the end of the file since the last seek()
};

}  // namespace reelcraft
