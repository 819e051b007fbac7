#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

#include "export/export_identifiers.h"
#include "export/movie_exporter.h"
#include "export_test_support.h"
#include "media/writer/output_settings.h"
#include "mediagen/media_reader.h"

namespace reelcraft {
namespace {

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

// 160 × 120 pictures, 44.1 kHz 16-bit sound (big-endian in AIFF).
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
  if (const auto& audio = combination.audio; audio && isLossy(*audio)) {
    format->audioFormat =
        std::make_shared<MovieAudioFormatLossy>(audio->formatId, kSampleRate, 128000);
  } else if (audio) {
    format->audioFormat = std::make_shared<MovieAudioFormatLossless>(
        audio->formatId, kSampleRate, 16, format->type == file_type::kAIFF, false, false);
  }
  return format;
}

// The codec that ffprobe names for an audio format, and the samples of one coded frame: the
// most that padding or priming may add or take.
std::pair<std::string, int> expectedAudio(uint32_t formatId, const std::string& fileType) {
  static const std::map<uint32_t, std::pair<std::string, int>> coded = {
      {audio_format_id::kAC3, {"ac3", 1536}},
      {audio_format_id::kMPEG4AAC, {"aac", 1024}},
      {audio_format_id::kMPEGLayer3, {"mp3", 1152}},
      {audio_format_id::kAppleLossless, {"alac", 4096}}};
  if (const auto found = coded.find(formatId); found != coded.end()) return found->second;
  return {fileType == file_type::kAIFF ? "pcm_s16be" : "pcm_s16le", 1};
}

// Frames 15 to 44 of the source, as 160 × 120 pictures ending at one second.
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
    EXPECT_GT(frame.frameIndex(), previous) << "at " << frame.seconds;
    previous = frame.frameIndex();
  }
  EXPECT_GE(readable, 28);
  EXPECT_EQ(frames.front().frameIndex(), 15);
  EXPECT_EQ(frames.back().frameIndex(), 44);
  EXPECT_NEAR(frames.back().seconds + kFrameSeconds, 1.0, kFrameSeconds + 1e-6);
}

// MPEG-4 cannot hold linear PCM (FFmpeg's muxer refuses it); it does hold Apple Lossless.
bool refusedByContainer(const Combination& combination) {
  return combination.container->avFileFormat == file_type::kMPEG4 && combination.audio &&
         combination.audio->formatId == audio_format_id::kLinearPCM;
}

TEST(ExportCombinations, EveryCatalogueCombinationWritesWhatItPromises) {
  // The one second from 0.5 s of the 3-second test movie: frames 15 to 44.
  const auto movie = movieOf("h264-aac-mov");
  movie->trim(TimeRange::make(MediaTime::make(1, 2), MediaTime::make(1, 1)));
  const auto combinations = everyCombination(fileFormatsForMovie(*movie));
  ASSERT_EQ(combinations.size(), 39u);
  int index = 0;
  for (const Combination& combination : combinations) {
    SCOPED_TRACE(combination.label());
    const auto format = formatFor(combination);
    const std::string path = testmedia::testMediaDirectory() + "/combination-" +
                             std::to_string(index++) + "." + format->fileNameExtension;
    auto exporter = MovieExporter::create(movie, path, format);
    CompletionCounter completion;
    try {
      exporter->start(completion.handler());
      EXPECT_FALSE(refusedByContainer(combination)) << "took a track the container cannot hold";
    } catch (const ErrorException& error) {
      EXPECT_TRUE(refusedByContainer(combination)) << error.error().description;
      EXPECT_FALSE(error.error().description.empty());
      EXPECT_FALSE(std::filesystem::exists(path));
      continue;
    }
    ASSERT_TRUE(completion.waitForCompletion());
    ASSERT_EQ(exporter->assetWriter->status(), AssetWriterStatus::Completed)
        << (exporter->assetWriter->error() ? exporter->assetWriter->error()->description : "");

    std::set<std::string> expectedCodecs;
    if (combination.video) {
      expectedCodecs.insert(combination.video->codec);
      checkVideo(path);
    }
    if (combination.audio) {
      const auto [codec, frameSamples] = expectedAudio(combination.audio->formatId, format->type);
      expectedCodecs.insert(codec);
      const testmedia::DecodedAudio audio = testmedia::readAudio(path);
      EXPECT_EQ(audio.channels.size(), 2u);
      EXPECT_EQ(audio.sourceSampleRate, kSampleRate);
      EXPECT_NEAR(static_cast<double>(audio.sampleCount()) / audio.sampleRate, 1.0,
                  static_cast<double>(frameSamples) / kSampleRate + 1e-6);
    }
    EXPECT_EQ(codecsIn(path), expectedCodecs);
    std::filesystem::remove(path);
  }
}

}  // namespace
}  // namespace reelcraft
