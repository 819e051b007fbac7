#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "export/movie_format_config.h"
#include "export_test_support.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using Names = std::vector<std::string>;

template <typename Items>
Names namesOf(const Items& items) {
  Names names;
  for (const auto& item : items) names.push_back(item->name);
  return names;
}

TEST(FormatCatalogue, OffersTheContainersForTheMoviesKindsOfTrackInMenuOrder) {
  const Names audio = {"AC3", "AAC", "MP3", "Apple Lossless", "Linear PCM"};
  const Names video = {"H.264", "Motion JPEG"};
  const struct {
    const char* name;
    const char* type;
    Names audio, video;
  } expected[] = {
      {"QuickTime Movie", "mov", audio, video},
      {"MPEG 4", "mp4", audio, video},
      {"Audio Only: QuickTime Movie", "mov", audio, {}},
      {"Audio Only: MPEG 4", "mp4", audio, {}},
      {"Audio Only: CoreAudio", "caf", {"Apple Lossless"}, {}},
      {"Audio Only: AIFF", "aiff", {"Linear PCM"}, {}},
      {"Audio Only: WAVE", "wav", {"Linear PCM"}, {}},
      {"Audio Only: MP3", "mp3", {"MP3"}, {}},
      {"Audio Only: AC3", "ac3", {"AC3"}, {}},
      {"Video Only: QuickTime Movie", "mov", {}, video},
      {"Video Only: MPEG 4", "mp4", {}, video},
  };
  const auto formats = catalogueOf("h264-aac-mov");
  ASSERT_EQ(formats.size(), std::size(expected));
  for (size_t i = 0; i < formats.size(); ++i) {
    SCOPED_TRACE(expected[i].name);
    EXPECT_EQ(formats[i]->name, expected[i].name);
    EXPECT_EQ(formats[i]->avFileFormat, expected[i].type);
    EXPECT_EQ(namesOf(formats[i]->audioConfigs), expected[i].audio);
    EXPECT_EQ(namesOf(formats[i]->videoConfigs), expected[i].video);
  }

  // A movie with one kind of track gets the entries of that kind only, one without nothing.
  const Names all = namesOf(formats);
  EXPECT_EQ(namesOf(catalogueOf("audio-only-m4a")), Names(all.begin() + 2, all.begin() + 9));
  EXPECT_EQ(namesOf(catalogueOf("video-only-mp4")),
            (Names{"Video Only: QuickTime Movie", "Video Only: MPEG 4"}));
  auto movie = Movie::create();
  movie->composition = MutableComposition::create();
  EXPECT_TRUE(fileFormatsForMovie(*movie).empty());
}

TEST(FormatCatalogue, DefaultSizeIsTheRenderSizeWhenTheCatalogueIsBuilt) {
  const auto movie = movieOf("h264-aac-mov");
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
