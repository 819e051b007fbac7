#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>

#include "export/export_identifiers.h"
#include "export/movie_exporter.h"
#include "export/movie_format_config.h"
#include "export_test_support.h"
#include "media/writer/output_settings.h"
#include "mediagen/media_reader.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using testmedia::testMediaDirectory;
using testmedia::testMediaPath;

constexpr int kSampleRate = 44100;
constexpr double kFrameSeconds = 1.0 / 30;

struct Combination {
  MovieFormatConfigPtr container;
  VideoFormatConfigPtr video;  // null: none
  AudioFormatConfigPtr audio;  // null: none
  std::string label() const {
    return container->name + " / " + (video ? video->name : "-") + " / " +
           (audio ? audio->name : "-");
  }
};

// The one second from 0.5 s of the 3-second test movie: frames 15 to 44.
std::shared_ptr<Movie> editedMovie() {
  auto movie = movieOfFile(testMediaPath("h264-aac-mov"));
  movie->trim(TimeRange::make(MediaTime::make(1, 2), MediaTime::make(1, 1)));
  return movie;
}

std::vector<Combination> everyCombination(const std::vector<MovieFormatConfigPtr>& formats) {
  std::vector<Combination> combinations;
  for (const auto& container : formats) {
    std::vector<VideoFormatConfigPtr> videos = container->videoConfigs;
    std::vector<AudioFormatConfigPtr> audios = container->audioConfigs;
    if (videos.empty()) videos.push_back(nullptr);
    if (audios.empty()) audios.push_back(nullptr);
    for (const auto& video : videos) {
      for (const auto& audio : audios) combinations.push_back({container, video, audio});
    }
  }
  return combinations;
}

std::shared_ptr<MovieFileFormat> formatFor(const Combination& combination) {
  auto format = std::make_shared<MovieFileFormat>();
  format->type = combination.container->avFileFormat;
  format->fileNameExtension = fileNameExtensionForFileType(format->type);
  format->videoFormat = nullptr;
  format->audioFormat = nullptr;
  if (combination.video) {
    std::shared_ptr<MovieVideoFormat> video;
    if (combination.video->codec == video_codec::kH264) {
      auto h264 = std::make_shared<MovieVideoFormat_H264>();
      h264->bitrate = 400'000;
      video = h264;
    } else {
      auto jpeg = std::make_shared<MovieVideoFormat_Jpeg>();
      jpeg->quality = 0.8;
      video = jpeg;
    }
    video->codec = combination.video->codec;
    video->size = Size{160, 120};
    format->videoFormat = video;
  }
  if (combination.audio) {
    const uint32_t id = combination.audio->formatId;
    if (isLossy(*combination.audio)) {
      format->audioFormat = std::make_shared<MovieAudioFormatLossy>(id, kSampleRate, 128000);
    } else {
      const bool bigEndian = format->type == file_type::kAIFF;
      format->audioFormat =
          std::make_shared<MovieAudioFormatLossless>(id, kSampleRate, 16, bigEndian, false, false);
    }
  }
  return format;
}

std::string expectedAudioCodec(uint32_t formatId, bool bigEndian) {
  switch (formatId) {
    case audio_format_id::kAC3:
      return "ac3";
    case audio_format_id::kMPEG4AAC:
      return "aac";
    case audio_format_id::kMPEGLayer3:
      return "mp3";
    case audio_format_id::kAppleLossless:
      return "alac";
    default:
      return bigEndian ? "pcm_s16be" : "pcm_s16le";
  }
}

// Samples in one coded frame, the most that padding or priming may add or take.
double codecFrameSeconds(uint32_t formatId) {
  switch (formatId) {
    case audio_format_id::kAC3:
      return 1536.0 / kSampleRate;
    case audio_format_id::kMPEG4AAC:
      return 1024.0 / kSampleRate;
    case audio_format_id::kMPEGLayer3:
      return 1152.0 / kSampleRate;
    case audio_format_id::kAppleLossless:
      return 4096.0 / kSampleRate;
    default:
      return 1.0 / kSampleRate;
  }
}

void checkVideo(const std::string& path) {
  const auto frames = testmedia::readVideoFrames(path);
  ASSERT_NEAR(static_cast<double>(frames.size()), 30.0, 1.0);
  int readable = 0;
  int previous = -1;
  for (const auto& frame : frames) {
    EXPECT_EQ(frame.width, 160);
    EXPECT_EQ(frame.height, 120);
    if (frame.frameIndex() < 0) continue;
    ++readable;
    if (previous >= 0) EXPECT_GT(frame.frameIndex(), previous) << "at " << frame.seconds;
    previous = frame.frameIndex();
  }
  EXPECT_GE(readable, 28);
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames.front().frameIndex(), 15);
  EXPECT_EQ(frames.back().frameIndex(), 44);
  const double end = frames.back().seconds + kFrameSeconds;
  EXPECT_NEAR(end, 1.0, kFrameSeconds + 1e-6);
}

void checkAudio(const std::string& path, uint32_t formatId) {
  const testmedia::DecodedAudio audio = testmedia::readAudio(path);
  EXPECT_EQ(audio.channels.size(), 2u);
  EXPECT_EQ(audio.sourceSampleRate, kSampleRate);
  const double seconds = static_cast<double>(audio.sampleCount()) / audio.sampleRate;
  EXPECT_NEAR(seconds, 1.0, codecFrameSeconds(formatId) + 1e-6);
}

// MPEG-4 cannot hold linear PCM (FFmpeg's muxer refuses it); it does hold Apple Lossless.
bool refusedByContainer(const Combination& combination) {
  return combination.container->avFileFormat == file_type::kMPEG4 && combination.audio &&
         combination.audio->formatId == audio_format_id::kLinearPCM;
}

TEST(ExportCombinations, EveryCatalogueCombinationWritesWhatItPromises) {
  const auto movie = editedMovie();
  const auto combinations = everyCombination(fileFormatsForMovie(*movie));
  ASSERT_EQ(combinations.size(), 39u);
  int index = 0;
  for (const Combination& combination : combinations) {
    SCOPED_TRACE(combination.label());
    const auto format = formatFor(combination);
    const std::string path = testMediaDirectory() + "/combination-" + std::to_string(index++) +
                             "." + format->fileNameExtension;
    auto exporter = MovieExporter::create(movie, path, format);
    CompletionCounter completion;
    if (refusedByContainer(combination)) {
      try {
        exporter->start(completion.handler());
        ADD_FAILURE() << "the writer took a track that the container cannot hold";
      } catch (const ErrorException& error) {
        EXPECT_FALSE(error.error().description.empty());
      }
      EXPECT_FALSE(std::filesystem::exists(path));
      continue;
    }
    try {
      exporter->start(completion.handler());
    } catch (const ErrorException& error) {
      ADD_FAILURE() << error.error().description;
      continue;
    }
    ASSERT_TRUE(completion.waitForCompletion());
    ASSERT_EQ(exporter->assetWriter->status(), AssetWriterStatus::Completed)
        << (exporter->assetWriter->error() ? exporter->assetWriter->error()->description : "");

    std::set<std::string> expected;
    if (combination.video) expected.insert(combination.video->codec);
    if (combination.audio) {
      const auto* lossless =
          dynamic_cast<const MovieAudioFormatLossless*>(format->audioFormat.get());
      expected.insert(
          expectedAudioCodec(combination.audio->formatId, lossless && lossless->bigEndian));
    }
    EXPECT_EQ(probedCodecs(path), expected);
    if (combination.video) checkVideo(path);
    if (combination.audio) checkAudio(path, combination.audio->formatId);
    std::filesystem::remove(path);
  }
}

}  // namespace
}  // namespace reelcraft
