#pragma once

#include <memory>
#include <string>

#include "export/movie_audio_format.h"
#include "export/movie_video_format.h"

namespace reelcraft {

// One export target: the container, the extension of its file name, and the video and audio
// formats to write (none: no track of that kind). A new one describes an MPEG-4 file with
// 100 × 100 H.264 video and AAC audio at 44100 Hz and 128000 bit/s, and an empty extension.
class MovieFileFormat {
 public:
  MovieFileFormat();

  std::shared_ptr<MovieVideoFormat> videoFormat;
  std::shared_ptr<MovieAudioFormat> audioFormat;
  std::string type;               // file_type::...
  std::string fileNameExtension;  // without the dot
};

}  // namespace reelcraft
