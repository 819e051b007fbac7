#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "export/movie_format_config.h"
#include "export_test_support.h"
#include "media/writer/output_settings.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using testmedia::testMediaPath;

std::vector<std::string> namesOf(const std::vector<MovieFormatConfigPtr>& formats) {
  std::vector<std::string> names;
  for (const auto& format : formats) names.push_back(format->name);
  return names;
}

template <typename Configs>
std::vector<std::string> codecNames(const Configs& configs) {
  std::vector<std::string> names;
  for (const auto& config : configs) names.push_back(config->name);
  return names;
}

const std::vector<std::string> kStandardAudio = {"AC3", "AAC", "MP3", "Apple Lossless",
                                                 "Linear PCM"};
const std::vector<std::string> kVideo = {"H.264", "Motion JPEG"};

TEST(FormatCatalogue, MovieWithSoundAndPictureGetsElevenEntriesInMenuOrder) {
  const auto formats = fileFormatsForMovie(*movieOfFile(testMediaPath("h264-aac-mov")));
  EXPECT_EQ(namesOf(formats),
            (std::vector<std::string>{
                "QuickTime Movie", "MPEG 4", "Audio Only: QuickTime Movie", "Audio Only: MPEG 4",
                "Audio Only: CoreAudio", "Audio Only: AIFF", "Audio Only: WAVE", "Audio Only: MP3",
                "Audio Only: AC3", "Video Only: QuickTime Movie", "Video Only: MPEG 4"}));
  const std::vector<std::string> types = {"mov", "mp4", "mov", "mp4", "caf", "aiff",
                                          "wav", "mp3", "ac3", "mov", "mp4"};
  const std::vector<std::vector<std::string>> audio = {kStandardAudio,
                                                       kStandardAudio,
                                                       kStandardAudio,
                                                       kStandardAudio,
                                                       {"Apple Lossless"},
                                                       {"Linear PCM"},
                                                       {"Linear PCM"},
                                                       {"MP3"},
                                                       {"AC3"},
                                                       {},
                                                       {}};
  const std::vector<std::vector<std::string>> video = {kVideo, kVideo, {}, {},     {},    {},
                                                       {},     {},     {}, kVideo, kVideo};
  ASSERT_EQ(formats.size(), 11u);
  for (size_t i = 0; i < formats.size(); ++i) {
    SCOPED_TRACE(formats[i]->name);
    EXPECT_EQ(formats[i]->avFileFormat, types[i]);
    EXPECT_EQ(codecNames(formats[i]->audioConfigs), audio[i]);
    EXPECT_EQ(codecNames(formats[i]->videoConfigs), video[i]);
  }
}

TEST(FormatCatalogue, SoundOnlyAndPictureOnlyMoviesGetTheirOwnKindOnly) {
  const auto audioOnly = fileFormatsForMovie(*movieOfFile(testMediaPath("audio-only-m4a")));
  EXPECT_EQ(namesOf(audioOnly),
            (std::vector<std::string>{"Audio Only: QuickTime Movie", "Audio Only: MPEG 4",
                                      "Audio Only: CoreAudio", "Audio Only: AIFF",
                                      "Audio Only: WAVE", "Audio Only: MP3", "Audio Only: AC3"}));
  for (const auto& format : audioOnly) EXPECT_TRUE(format->videoConfigs.empty());

  const auto videoOnly = fileFormatsForMovie(*movieOfFile(testMediaPath("video-only-mp4")));
  EXPECT_EQ(namesOf(videoOnly),
            (std::vector<std::string>{"Video Only: QuickTime Movie", "Video Only: MPEG 4"}));
  for (const auto& format : videoOnly) {
    EXPECT_TRUE(format->audioConfigs.empty());
    EXPECT_EQ(codecNames(format->videoConfigs), kVideo);
  }
}

TEST(FormatCatalogue, MovieWithoutTracksGetsNothing) {
  auto movie = Movie::create();
  movie->composition = MutableComposition::create();
  EXPECT_TRUE(fileFormatsForMovie(*movie).empty());
}

TEST(FormatCatalogue, CodecsCarryTheirIdentifiersAndFamilies) {
  const auto audio = standardAudioConfigs();
  ASSERT_EQ(audio.size(), 5u);
  const std::vector<uint32_t> codes = {0x61632D33, 0x61616320, 0x2E6D7033, 0x616C6163, 0x6C70636D};
  const std::vector<bool> lossy = {true, true, true, false, false};
  for (size_t i = 0; i < audio.size(); ++i) {
    SCOPED_TRACE(audio[i]->name);
    EXPECT_EQ(audio[i]->formatId, codes[i]);
    EXPECT_EQ(isLossy(*audio[i]), lossy[i]);
    EXPECT_TRUE(audio[i]->availableSettingKeys.empty());
  }
  // Each list is made anew.
  EXPECT_NE(standardAudioConfigs().front(), standardAudioConfigs().front());

  const auto movie = movieOfFile(testMediaPath("h264-aac-mov"));
  EXPECT_EQ(VideoFormatConfig_H264(*movie).codec, "h264");
  EXPECT_EQ(VideoFormatConfig_Jpeg(*movie).codec, "mjpeg");
  const VideoFormatConfig plain;
  EXPECT_EQ(plain.name, "Unnamed Video Format Config");
  EXPECT_EQ(plain.codec, "h264");
  EXPECT_EQ(AudioFormatConfig().name, "Unnamed Audio Format");
}

TEST(FormatCatalogue, DefaultSizeIsTheRenderSizeWhenTheCatalogueIsBuilt) {
  const auto movie = movieOfFile(testMediaPath("h264-aac-mov"));
  const auto formats = fileFormatsForMovie(*movie);
  for (const auto& codec : formats.front()->videoConfigs) {
    EXPECT_EQ(codec->defaultSize, (Size{320, 240}));
  }
  movie->rotate(true);
  EXPECT_EQ(fileFormatsForMovie(*movie).back()->videoConfigs.back()->defaultSize, (Size{240, 320}));
  // Entries already made keep the size they were made with.
  EXPECT_EQ(formats.front()->videoConfigs.front()->defaultSize, (Size{320, 240}));
}

}  // namespace
}  // namespace reelcraft
