#pragma once

#include <memory>
#include <string>
#include <vector>

#include "export/format_configs.h"

namespace reelcraft {

class Movie;

// One container format and the codecs that may go into it. An empty codec list means that
// files of this entry hold no track of that kind.
class MovieFormatConfig : public NamedItem {
 public:
  const std::string& itemName() const override { return name; }

  std::string name;
  std::vector<AudioFormatConfigPtr> audioConfigs;
  std::vector<VideoFormatConfigPtr> videoConfigs;
  std::string avFileFormat;  // file_type::...
};

// QuickTime movie; named "Audio Only: ..." or "Video Only: ..." when it takes one kind only.
class MovieFormatConfig_QuickTimeMovie : public MovieFormatConfig {
 public:
  MovieFormatConfig_QuickTimeMovie(const Movie& movie, bool withVideo, bool withAudio);
};

// MPEG-4; named like the QuickTime entry.
class MovieFormatConfig_Mpeg4 : public MovieFormatConfig {
 public:
  MovieFormatConfig_Mpeg4(const Movie& movie, bool withVideo, bool withAudio);
};

class MovieFormatConfig_CoreAudio : public MovieFormatConfig {
 public:
  MovieFormatConfig_CoreAudio();
};
class MovieFormatConfig_Aiff : public MovieFormatConfig {
 public:
  MovieFormatConfig_Aiff();
};
class MovieFormatConfig_Wave : public MovieFormatConfig {
 public:
  MovieFormatConfig_Wave();
};
class MovieFormatConfig_Mp3 : public MovieFormatConfig {
 public:
  MovieFormatConfig_Mp3();
};
class MovieFormatConfig_Ac3 : public MovieFormatConfig {
 public:
  MovieFormatConfig_Ac3();
};

using MovieFormatConfigPtr = std::shared_ptr<const MovieFormatConfig>;

// AC3, AAC, MP3, Apple Lossless, Linear PCM: the audio codecs of QuickTime and MPEG-4, newly
// made, in the order the menus show them.
std::vector<AudioFormatConfigPtr> standardAudioConfigs();

// The containers offered for `movie`, from the kinds of track its composition has: with audio
// and video, "QuickTime Movie" and "MPEG 4"; with audio, the seven "Audio Only: " entries; with
// video, the two "Video Only: " entries; in that order. Empty for a movie without tracks.
std::vector<MovieFormatConfigPtr> fileFormatsForMovie(const Movie& movie);

}  // namespace reelcraft
