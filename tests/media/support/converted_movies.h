#pragma once

// Generated movies rewritten by the ffmpeg command line into containers and clocks that our
// generator does not write, as other tools make them.

#include <ostream>
#include <string>
#include <vector>

#include "media/support/ffmpeg_made.h"

namespace reelcraft::converted {

// The 3 s, 30 fps H.264 + AAC test movie (frames 0 to 89) in a container whose clock does not
// start at zero, or with sound that outlasts the picture by less than a frame.
struct SourceKind {
  std::string name;
  std::string options;
  std::string fileName;
  double seconds = 0;  // from the first sample of any stream to the last one's end
  friend void PrintTo(const SourceKind& kind, std::ostream* out) { *out << kind.name; }

  std::string path() const { return testsupport::ffmpegMade("h264-aac-mov", fileName, options); }
};

inline const std::vector<SourceKind>& clockKinds() {
  static const std::vector<SourceKind> kinds = {
      // A broadcast recording, whose clock starts an hour in; the sound starts with the AAC
      // encoder's 1024 samples of pre-roll, 21 ms before the picture.
      {"TransportStreamAnHourIn", "-c copy -output_ts_offset 3600 -f mpegts", "hour-in.ts", 3.0213},
      // MPEG-2 with B-frames in a program stream, whose clock starts at about half a second;
      // the sound outlasts the picture by 14 ms.
      {"ProgramStream", "-c:v mpeg2video -q:v 2 -g 12 -bf 2 -c:a mp2 -f mpeg", "program.mpg",
       3.024},
      // The sound padded by 11 ms: Matroska stores no duration for the picture, MPEG-4 does.
      {"MatroskaSoundPastThePicture", "-c:v copy -c:a aac -af apad=pad_dur=0.011",
       "sound-past-picture.mkv", 3.040},
      {"Mpeg4SoundPastThePicture", "-c:v copy -c:a aac -af apad=pad_dur=0.011",
       "sound-past-picture.mp4", 3.019},
  };
  return kinds;
}

}  // namespace reelcraft::converted
