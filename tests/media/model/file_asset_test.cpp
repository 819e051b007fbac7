#include "media/model/file_asset.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "media/base/media_error.h"
#include "media/render/composition_video_source.h"
#include "media/support/composition_reading.h"
#include "media/support/converted_movies.h"
#include "media/support/picture_checks.h"
#include "mediagen/media_reader.h"

namespace reelcraft {
namespace {

using reading::disposableCopy;
using testmedia::BrokenFileKind;
using testmedia::brokenMediaPath;
using testmedia::testMediaDirectory;
using testmedia::testMediaPath;

MediaTime seconds(testmedia::Rational r) {
  return MediaTime::make(r.num, r.den);
}

class FileAssetOfVariant : public testing::TestWithParam<std::string> {};

TEST_P(FileAssetOfVariant, DescribesTheTracksThatWereWritten) {
  const testmedia::MovieRecipe& recipe = testmedia::findVariant(GetParam())->recipe;
  const std::string path = testMediaPath(GetParam());
  const auto asset = FileAsset::open(path);
  const size_t videoCount = recipe.videoTracks.size();
  ASSERT_EQ(asset->tracks().size(), videoCount + recipe.audioTracks.size());
  ASSERT_EQ(asset->sourceTracks().size(), asset->tracks().size());

  MediaTime longest = MediaTime::zero();
  for (size_t i = 0; i < asset->sourceTracks().size(); ++i) {
    const SourceTrack& source = *asset->sourceTracks()[i];
    SCOPED_TRACE("track " + std::to_string(i));
    EXPECT_EQ(source.streamIndex, static_cast<int>(i));
    EXPECT_EQ(source.trackID, static_cast<int>(i + 1));  // QuickTime track ids
    ASSERT_NE(source.codecParameters, nullptr);
    if (i < videoCount) {
      const testmedia::VideoTrackRecipe& video = recipe.videoTracks[i];
      EXPECT_EQ(source.mediaType, MediaType::Video);
      EXPECT_EQ(source.codecName, video.encoder == "libx264" ? "h264" : video.encoder);
      EXPECT_EQ(source.timeRange,
                TimeRange::make(seconds(video.start()), seconds(video.duration())));
      EXPECT_EQ(source.minFrameDuration, seconds({video.frameRate.den, video.frameRate.num}));
      EXPECT_EQ(source.naturalSize, (Size{double(video.width), double(video.height)}));
    } else {
      const testmedia::AudioTrackRecipe& audio = recipe.audioTracks[i - videoCount];
      EXPECT_EQ(source.mediaType, MediaType::Audio);
      EXPECT_EQ(source.codecName, audio.encoder);
      EXPECT_EQ(
          source.timeRange,
          TimeRange::make(MediaTime::zero(), MediaTime::make(audio.sampleCount, audio.sampleRate)));
      EXPECT_EQ(source.sampleRate, audio.sampleRate);
      EXPECT_EQ(source.channels, audio.channels);
    }
    longest = maximum(longest, source.timeRange.end());
    // The asset track shows the whole source at the source's own times.
    const AssetTrack& track = asset->tracks()[i];
    EXPECT_EQ(std::make_pair(track.trackID, track.mediaType),
              std::make_pair(source.trackID, source.mediaType));
    ASSERT_EQ(track.segments.size(), 1u);
    EXPECT_EQ(track.segments[0].source, asset->sourceTracks()[i]);
    EXPECT_EQ(track.segments[0].targetRange, source.timeRange);
  }
  EXPECT_EQ(asset->duration(), longest);
  EXPECT_TRUE(videoCount > 0 || asset->naturalSize() == (Size{0, 0})) << "no picture, no size";
}

std::vector<std::string> allVariantNames() {
  std::vector<std::string> names;
  for (const auto& variant : testmedia::standardVariants()) {
    if (variant.name != "sample") names.push_back(variant.name);
  }
  return names;
}

INSTANTIATE_TEST_SUITE_P(StandardVariants, FileAssetOfVariant, testing::ValuesIn(allVariantNames()),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

class FileAssetOnAClockOfItsOwn : public testing::TestWithParam<converted::SourceKind> {};

// Movie time zero is the file's first sample; the picture starts with its first frame (at
// most a frame later) and holds its last one to the end.
TEST_P(FileAssetOnAClockOfItsOwn, ShowsItsFramesFromZeroToTheEnd) {
  const auto asset = FileAsset::open(GetParam().path());
  EXPECT_NEAR(asset->duration().seconds(), GetParam().seconds, 0.002);
  MediaTime earliest = MediaTime::positiveInfinity();
  for (const AssetTrack& track : asset->tracks()) {
    earliest = minimum(earliest, track.timeRange().start);
  }
  EXPECT_EQ(earliest, MediaTime::zero());
  const MediaTime pictureStart = asset->tracksWithMediaType(MediaType::Video)[0]->timeRange().start;
  EXPECT_LT(pictureStart.seconds(), 1 / 30.0);
  const auto video =
      CompositionVideoSource::create(asset, VideoComposition::withPropertiesOfAsset(*asset));
  EXPECT_EQ(pictures::frameIndexOf(*video->frameAt(pictureStart).frame), 0);
  // Frame 75 starts a group of pictures of H.264, which a demuxer without an index may seek
  // past.
  const MediaTime keyframe = add(pictureStart, MediaTime::make(151, 60));
  EXPECT_EQ(pictures::frameIndexOf(*video->frameAt(keyframe).frame), 75);
  EXPECT_EQ(pictures::frameIndexOf(*video->frameAt(asset->duration()).frame), 89);
}

INSTANTIATE_TEST_SUITE_P(Kinds, FileAssetOnAClockOfItsOwn,
                         testing::ValuesIn(converted::clockKinds()),
                         [](const auto& info) { return info.param.name; });

// A copy of a generated movie with one codec's four-character code replaced by one that no
// decoder knows.
std::string withUnknownCodec(const std::string& variant, const std::string& fourcc) {
  std::ifstream in(testMediaPath(variant), std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  for (size_t at = bytes.find(fourcc); at != std::string::npos; at = bytes.find(fourcc, at)) {
    bytes.replace(at, 4, "zzzz");
  }
  const std::string path = testMediaDirectory() + "/unknown-codec-" + variant + ".mov";
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

void expectMediaError(const std::string& path, MediaErrorCode code) {
  SCOPED_TRACE(path);
  const Error error = reading::errorOf([&] { FileAsset::open(path); });
  EXPECT_EQ(error.domain, kMediaErrorDomain);
  EXPECT_EQ(error.code, static_cast<int>(code)) << error.description;
  const std::string name = std::filesystem::path(path).filename().string();
  EXPECT_NE(error.description.find("“" + name + "”"), std::string::npos) << error.description;
  EXPECT_FALSE(error.recoverySuggestion.empty());
}

TEST(FileAsset, BrokenFilesGiveTypedErrors) {
  expectMediaError(brokenMediaPath(BrokenFileKind::Empty), MediaErrorCode::UnrecognizedFormat);
  expectMediaError(brokenMediaPath(BrokenFileKind::RandomBytes),
                   MediaErrorCode::UnrecognizedFormat);
  expectMediaError(brokenMediaPath(BrokenFileKind::Text), MediaErrorCode::UnrecognizedFormat);
  expectMediaError(brokenMediaPath(BrokenFileKind::Truncated), MediaErrorCode::Damaged);
  expectMediaError(testMediaDirectory() + "/missing.mov", MediaErrorCode::FileNotFound);
  expectMediaError(testMediaDirectory(), MediaErrorCode::UnrecognizedFormat);
  // With no track left that can be decoded.
  expectMediaError(withUnknownCodec("video-only-mp4", "avc1"), MediaErrorCode::UnsupportedCodec);
}

TEST(FileAsset, UnreadableFileIsPermissionDenied) {
  const std::string path = disposableCopy("h264-aac-mov", "locked.mov");
  std::filesystem::permissions(path, std::filesystem::perms::none);
  // In a child process that, when run by root, becomes an ordinary user first; the exit
  // code is the error code.
  const auto openAsOrdinaryUser = [&path] {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) std::_Exit(100);
    try {
      FileAsset::open(path);
      std::_Exit(0);
    } catch (const ErrorException& exception) {
      std::_Exit(exception.error().code);
    }
  };
  EXPECT_EXIT(openAsOrdinaryUser(),
              testing::ExitedWithCode(static_cast<int>(MediaErrorCode::PermissionDenied)), "");
}

TEST(FileAsset, UndecodableTracksAreLeftOut) {
  // The video track's codec is unknown; the sound still plays.
  const auto asset = FileAsset::open(withUnknownCodec("h264-aac-mov", "avc1"));
  ASSERT_EQ(asset->tracks().size(), 1u);
  EXPECT_EQ(asset->tracks()[0].mediaType, MediaType::Audio);
  EXPECT_EQ(asset->tracks()[0].trackID, 2);
  EXPECT_EQ(asset->sourceTracks()[0]->streamIndex, 1);
  EXPECT_EQ(asset->naturalSize(), (Size{0, 0}));
  EXPECT_EQ(asset->duration(), MediaTime::make(3, 1));
}

TEST(FileAsset, NameWithAColonIsAFileName) {
  EXPECT_EQ(FileAsset::open(disposableCopy("h264-aac-mov", "http:clip.mov"))->tracks().size(), 2u);
}

}  // namespace
}  // namespace reelcraft
