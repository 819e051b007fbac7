#include "media/model/file_asset.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "media/support/composition_reading.h"
#include "media/render/composition_video_source.h"
#include "media/base/media_error.h"
#include "media/save/passthrough_movie_writer.h"
#include "media/model/video_composition.h"
#include "mediagen/broken_files.h"
#include "mediagen/media_reader.h"
#include "mediagen/movie_recipe.h"
#include "mediagen/test_media.h"
#include "media/support/picture_checks.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace reelcraft {
namespace {

using testmedia::BrokenFileKind;
using testmedia::brokenMediaPath;
using testmedia::testMediaDirectory;
using testmedia::testMediaPath;

MediaTime seconds(testmedia::Rational r) {
  return MediaTime::make(r.num, r.den);
}

const char* expectedCodec(const std::string& encoder) {
  if (encoder == "libx264") return "h264";
  return encoder.c_str();
}

class FileAssetOfVariant : public testing::TestWithParam<std::string> {};

TEST_P(FileAssetOfVariant, DescribesTheTracksThatWereWritten) {
  const testmedia::NamedVariant& variant = *testmedia::findVariant(GetParam());
  const std::string path = testMediaPath(GetParam());
  const auto asset = FileAsset::open(path);
  const auto& videoRecipes = variant.recipe.videoTracks;
  const auto& audioRecipes = variant.recipe.audioTracks;

  EXPECT_EQ(asset->path(), path);
  ASSERT_EQ(asset->tracks().size(), videoRecipes.size() + audioRecipes.size());
  ASSERT_EQ(asset->sourceTracks().size(), asset->tracks().size());
  EXPECT_EQ(asset->tracksWithMediaType(MediaType::Video).size(), videoRecipes.size());
  EXPECT_EQ(asset->tracksWithMediaType(MediaType::Audio).size(), audioRecipes.size());

  MediaTime longest = MediaTime::zero();
  for (size_t i = 0; i < asset->sourceTracks().size(); ++i) {
    const SourceTrack& source = *asset->sourceTracks()[i];
    const AssetTrack& track = asset->tracks()[i];
    SCOPED_TRACE("track " + std::to_string(i));
    EXPECT_EQ(source.path, path);
    EXPECT_EQ(source.streamIndex, static_cast<int>(i));
    EXPECT_EQ(source.trackID, static_cast<int>(i + 1));  // QuickTime track ids
    ASSERT_NE(source.codecParameters, nullptr);
    EXPECT_STREQ(avcodec_get_name(source.codecParameters->codec_id), source.codecName.c_str());

    if (i < videoRecipes.size()) {
      const testmedia::VideoTrackRecipe& recipe = videoRecipes[i];
      EXPECT_EQ(source.mediaType, MediaType::Video);
      EXPECT_EQ(source.codecName, expectedCodec(recipe.encoder));
      EXPECT_EQ(source.timeRange.start, seconds(recipe.start()));
      EXPECT_EQ(source.timeRange.duration, seconds(recipe.duration()));
      EXPECT_EQ(source.minFrameDuration, seconds({recipe.frameRate.den, recipe.frameRate.num}));
      EXPECT_EQ(source.naturalSize, (Size{double(recipe.width), double(recipe.height)}));
      EXPECT_EQ(source.sampleRate, 0);
      longest = maximum(longest, add(seconds(recipe.start()), seconds(recipe.duration())));
    } else {
      const testmedia::AudioTrackRecipe& recipe = audioRecipes[i - videoRecipes.size()];
      EXPECT_EQ(source.mediaType, MediaType::Audio);
      EXPECT_EQ(source.codecName, recipe.encoder);
      EXPECT_EQ(source.timeRange.start, MediaTime::zero());
      EXPECT_EQ(source.timeRange.duration, MediaTime::make(recipe.sampleCount, recipe.sampleRate));
      EXPECT_EQ(source.sampleRate, recipe.sampleRate);
      EXPECT_EQ(source.channels, recipe.channels);
      EXPECT_FALSE(source.minFrameDuration.isValid());
      longest = maximum(longest, MediaTime::make(recipe.sampleCount, recipe.sampleRate));
    }

    // The asset track shows the whole source at the source's own times.
    EXPECT_EQ(track.trackID, source.trackID);
    EXPECT_EQ(track.mediaType, source.mediaType);
    ASSERT_EQ(track.segments.size(), 1u);
    EXPECT_EQ(track.segments[0].source, asset->sourceTracks()[i]);
    EXPECT_EQ(track.timeRange(), source.timeRange);
  }
  EXPECT_EQ(asset->duration(), longest);
  if (videoRecipes.empty()) {
    EXPECT_EQ(asset->naturalSize(), (Size{0, 0}));
  }
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

TEST(FileAsset, FrameDurationMatchesTheDecodedFrames) {
  for (const std::string& name : allVariantNames()) {
    if (testmedia::findVariant(name)->recipe.videoTracks.empty()) continue;
    SCOPED_TRACE(name);
    const auto asset = FileAsset::open(testMediaPath(name));
    const auto frames = testmedia::readVideoFrames(asset->path());
    ASSERT_GE(frames.size(), 2u);
    const SourceTrack& video = *asset->sourceTracks()[0];
    for (size_t i = 1; i < frames.size(); ++i) {
      const auto& timeBase = frames[i].timeBase;
      const MediaTime step =
          MediaTime::make((frames[i].pts - frames[i - 1].pts) * timeBase.num, timeBase.den);
      EXPECT_EQ(step, video.minFrameDuration) << "between frames " << i - 1 << " and " << i;
    }
    // The last frame lasts one frame duration up to the track's end.
    const auto& last = frames.back();
    EXPECT_EQ(add(MediaTime::make(last.pts * last.timeBase.num, last.timeBase.den),
                  video.minFrameDuration),
              video.timeRange.end());
  }
}

TEST(FileAsset, RotatedTrackTurnsClockwiseIntoPlace) {
  const auto asset = FileAsset::open(testMediaPath("rotated-mov"));
  const SourceTrack& video = *asset->sourceTracks()[0];
  EXPECT_EQ(video.naturalSize, (Size{320, 240}));
  EXPECT_EQ(video.preferredTransform, (AffineTransform{0, 1, -1, 0, 240, 0}));
  EXPECT_EQ(asset->tracks()[0].preferredTransform, video.preferredTransform);
  EXPECT_EQ(asset->naturalSize(), (Size{240, 320}));

  // The picture's top-left corner lands top-right on screen (y grows downwards), and the
  // turned picture fills the displayed box exactly.
  const Point topLeft = video.preferredTransform.apply({0, 0});
  EXPECT_DOUBLE_EQ(topLeft.x, 240);
  EXPECT_DOUBLE_EQ(topLeft.y, 0);
  const Point bottomRight = video.preferredTransform.apply({320, 240});
  EXPECT_DOUBLE_EQ(bottomRight.x, 0);
  EXPECT_DOUBLE_EQ(bottomRight.y, 320);

  const auto upright = FileAsset::open(testMediaPath("h264-aac-mov"));
  EXPECT_TRUE(upright->sourceTracks()[0]->preferredTransform.isIdentity());
  EXPECT_EQ(upright->naturalSize(), (Size{320, 240}));
}

// A save over a movie's file replaces the file at that name; an asset opened before goes on
// reading the samples it was opened from, and an asset opened after reads the new file.
std::vector<int> frameIndicesOf(const Asset& asset, TimeRange range) {
  const auto source = CompositionVideoSource::create(
      reading::compositionOf(asset, range), VideoComposition::withPropertiesOfAsset(asset), {});
  std::vector<int> indices;
  while (const auto frame = source->nextFrame()) {
    indices.push_back(pictures::frameIndexOf(*frame->frame));
  }
  return indices;
}

TEST(FileAsset, KeepsReadingTheFileItWasOpenedFrom) {
  const std::string path = testMediaDirectory() + "/replaced-by-a-save.mov";
  std::filesystem::copy_file(testMediaPath("h264-aac-mov"), path,
                             std::filesystem::copy_options::overwrite_existing);
  const auto before = FileAsset::open(path);

  // The newer file starts at frame 30 of the old one.
  const std::string newer = path + ".new";
  writePassthroughMovie(*reading::compositionOf(*before, reading::frameRange(30, 60)), newer);
  std::filesystem::rename(newer, path);
  const auto after = FileAsset::open(path);

  EXPECT_EQ(before->sourceTracks()[0]->path, path) << "messages name the file as it was opened";
  EXPECT_EQ(frameIndicesOf(*before, reading::frameRange(40, 3)), (std::vector<int>{40, 41, 42}));
  EXPECT_EQ(frameIndicesOf(*after, reading::frameRange(40, 3)), (std::vector<int>{70, 71, 72}));
}

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
  try {
    FileAsset::open(path);
    ADD_FAILURE() << path << " opened";
  } catch (const ErrorException& exception) {
    const Error& error = exception.error();
    EXPECT_EQ(error.domain, kMediaErrorDomain);
    EXPECT_EQ(error.code, static_cast<int>(code)) << error.description;
    const std::string name = std::filesystem::path(path).filename().string();
    EXPECT_NE(error.description.find("“" + name + "”"), std::string::npos) << error.description;
    EXPECT_FALSE(error.recoverySuggestion.empty());
  }
}

TEST(FileAsset, BrokenFilesGiveTypedErrors) {
  expectMediaError(brokenMediaPath(BrokenFileKind::Empty), MediaErrorCode::UnrecognizedFormat);
  expectMediaError(brokenMediaPath(BrokenFileKind::RandomBytes),
                   MediaErrorCode::UnrecognizedFormat);
  expectMediaError(brokenMediaPath(BrokenFileKind::Text), MediaErrorCode::UnrecognizedFormat);
  expectMediaError(brokenMediaPath(BrokenFileKind::Truncated), MediaErrorCode::Damaged);
  expectMediaError(testMediaDirectory() + "/missing.mov", MediaErrorCode::FileNotFound);
  expectMediaError(testMediaDirectory(), MediaErrorCode::UnrecognizedFormat);
}

TEST(FileAsset, UnreadableFileIsPermissionDenied) {
  const std::string path = testMediaDirectory() + "/locked.mov";
  std::filesystem::copy_file(testMediaPath("h264-aac-mov"), path,
                             std::filesystem::copy_options::overwrite_existing);
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

  // With nothing left to play the file cannot be opened.
  expectMediaError(withUnknownCodec("video-only-mp4", "avc1"), MediaErrorCode::UnsupportedCodec);
}

TEST(FileAsset, NameWithAColonIsAFileName) {
  const std::string path = testMediaDirectory() + "/http:clip.mov";
  std::filesystem::copy_file(testMediaPath("h264-aac-mov"), path,
                             std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ(FileAsset::open(path)->tracks().size(), 2u);
}

}  // namespace
}  // namespace reelcraft
