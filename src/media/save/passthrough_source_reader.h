#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "media/ffmpeg/av_handles.h"
#include "media/model/asset.h"
#include "media/model/input_file.h"
#include "media/save/derived_decode_times.h"

extern "C" {
#include <libavutil/rational.h>
}

struct AVIndexEntry;

namespace reelcraft {

// How far a video stream reorders its frames between decoding and presentation, as its first
// packets show.
struct FrameReordering {
  int depth = 0;            // the most frames decoded before one and shown after it
  int64_t frameTicks = 1;   // a frame's duration, in the stream's time base
  int64_t longestWait = 0;  // the longest time from decoding a frame to showing it, in ticks
};

// Reads the compressed packets of one source stream at a time, without decoding them, for the
// track copiers: the stream of the segment being copied, switching files as segments need.
class PassthroughSourceReader {
 public:
  // Opens `source`'s file for reading its packets. Unlike openInputFile it does not probe the
  // streams by decoding: the container's headers say all that copying needs. Throws
  // ErrorException when the file cannot be opened.
  static InputFilePtr openFile(const SourceTrack& source);

  // Reads `source` from now on, unless its stream is the one open already; returns whether
  // another stream was opened, which is read after a seek(). Throws ErrorException when it
  // cannot be opened.
  bool open(const std::shared_ptr<const SourceTrack>& source);
  // Reads `source` from `file`, which openFile() opened for it, after a seek().
  void use(InputFilePtr file, const std::shared_ptr<const SourceTrack>& source);
  // How the video stream of `source` in `file` reorders its frames, measured once per stream
  // by reading its first packets from wherever `file` stands.
  const FrameReordering& reorderingOf(AVFormatContext& file, const SourceTrack& source);

  // The open stream's time base, which its packets' timestamps count in.
  AVRational timeBase() const { return timeBase_; }
  // The index entry of the last keyframe decoded at or before `ticks`, or null.
  const AVIndexEntry* keyframeAtOrBefore(int64_t ticks) const;

  // Reads on from a keyframe shown at or before `ticks` (the last one, where the demuxer finds
  // it), or from the start of the file.
  void seek(int64_t ticks);
  // Reads on from the keyframe the demuxer finds for `ticks`, the last one at or before it in
  // the terms of its index; false, reading on where it was, when there is none.
  bool trySeek(int64_t ticks);
  // The next packet of the stream with a presentation time, or false at the end of the file.
  // Its decode time is the presentation time for sound, and derived from the reordering for
  // video (DerivedDecodeTimes), whatever the container stores. Throws ErrorException when it
  // cannot be read.
  bool read(PacketPtr& packet);

 private:
  InputFilePtr input_;
  std::shared_ptr<const SourceTrack> source_;
  int streamIndex_ = -1;
  AVRational timeBase_{1, 1};
  bool atEnd_ = false;  // read() has met the end of the file since the last seek()
  PacketPtr held_;      // read by seek(), next for read()
  std::optional<DerivedDecodeTimes> decodeTimes_;                       // for a video stream
  std::map<std::pair<std::string, int>, FrameReordering> reorderings_;  // by file and stream
};

}  // namespace reelcraft
