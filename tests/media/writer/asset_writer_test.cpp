#include "media/writer/asset_writer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <future>
#include <thread>

#include "asset_writer_probe.h"
#include "media/reader/asset_reader.h"
#include "media/model/file_asset.h"
#include "mediagen/media_reader.h"
#include "mediagen/position_signal.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using namespace writer_testing;
namespace format_id = audio_format_id;

std::string outputPath(const std::string& name) {
  return testmedia::testMediaDirectory() + "/" + name;
}

struct Conversion {
  std::optional<OutputSettings> video;
  std::optional<OutputSettings> audio;
};

// Reads `variant` and writes it through an AssetWriter as the exporter does: each stream is
// pumped on its own queue, one sample per call, and the writer is finished when both have run
// dry. Returns the writer once its completion handler has run.
std::shared_ptr<AssetWriter> convert(const std::string& variant, const std::string& path,
                                     const std::string& fileType, const Conversion& conversion) {
  const auto asset = FileAsset::open(testmedia::testMediaPath(variant));
  const auto reader = AssetReader::create(asset);
  const auto writer = AssetWriter::create(path, fileType);

  std::vector<std::pair<std::shared_ptr<AssetReaderOutput>, std::shared_ptr<AssetWriterInput>>>
      streams;
  auto tracksOf = [&](MediaType type) {
    std::vector<AssetTrack> tracks;
    for (const AssetTrack* track : asset->tracksWithMediaType(type)) tracks.push_back(*track);
    return tracks;
  };
  if (conversion.audio) {
    auto output = std::make_shared<AssetReaderAudioMixOutput>(tracksOf(MediaType::Audio));
    streams.emplace_back(output, AssetWriterInput::create(MediaType::Audio, *conversion.audio));
  }
  if (conversion.video) {
    auto output = std::make_shared<AssetReaderVideoCompositionOutput>(tracksOf(MediaType::Video));
    output->setVideoComposition(VideoComposition::withPropertiesOfAsset(*asset));
    streams.emplace_back(output, AssetWriterInput::create(MediaType::Video, *conversion.video));
  }
  for (auto& [output, input] : streams) {
    reader->addOutput(output);
    writer->addInput(input);
  }
  EXPECT_TRUE(reader->startReading());
  EXPECT_TRUE(writer->startWriting());
  writer->startSessionAtSourceTime(MediaTime::zero());

  auto done = std::make_shared<std::promise<void>>();
  auto remaining = std::make_shared<std::atomic<int>>(static_cast<int>(streams.size()));
  for (auto& [output, input] : streams) {
    auto queue = std::make_shared<SerialQueue>("serialization queue test");
    input->requestMediaDataWhenReadyOnQueue(
        queue, [output = output, input = input, writer, done, remaining] {
          if (auto sample = output->copyNextSampleBuffer()) {
            EXPECT_TRUE(input->appendSampleBuffer(*sample));
            return;
          }
          input->markAsFinished();
          if (--*remaining == 0)
            writer->finishWritingWithCompletionHandler([done] { done->set_value(); });
        });
  }
  // A guard against a hang, not a measure of speed.
  EXPECT_EQ(done->get_future().wait_for(std::chrono::minutes(2)), std::future_status::ready);
  return writer;
}

void expectCompleted(const AssetWriter& writer) {
  EXPECT_EQ(writer.status(), AssetWriterStatus::Completed)
      << (writer.error() ? writer.error()->description : "");
  EXPECT_TRUE(std::filesystem::exists(writer.outputPath()));
}

// Frame indices read back from the file: in order, one for each source frame, with at most a
// few unreadable codes (lossy coding).
void expectFramesInOrder(const std::string& path, int frameCount) {
  const std::vector<int> indices = testmedia::readFrameIndices(path);
  ASSERT_EQ(static_cast<int>(indices.size()), frameCount);
  int unreadable = 0;
  for (int i = 0; i < frameCount; ++i) {
    if (indices[i] == -1) {
      ++unreadable;
    } else {
      EXPECT_EQ(indices[i], i) << "frame " << i;
    }
  }
  EXPECT_LE(unreadable, frameCount / 10);
}

const ProbedStream* streamOfType(const ProbedFile& file, AVMediaType type) {
  for (const auto& stream : file.streams) {
    if (stream.type == type) return &stream;
  }
  return nullptr;
}

// The sound of a 3 s source at `sampleRate`, two channels, lasting 3 s to within one codec
// frame, with the source's chirp where it belongs.
void expectSoundOfThreeSeconds(const std::string& path, int sampleRate, int codecFrame,
                               int priming = 0) {
  const testmedia::DecodedAudio audio = testmedia::readAudio(path);
  ASSERT_EQ(audio.channels.size(), 2u);
  EXPECT_EQ(audio.sourceSampleRate, sampleRate);
  EXPECT_NEAR(static_cast<double>(audio.sampleCount()) / audio.sampleRate, 3.0,
              static_cast<double>(codecFrame) / sampleRate);
  const size_t at = static_cast<size_t>(1.5 * audio.sampleRate);
  auto location =
      testmedia::locatePositionSignal(audio.channels[0].data() + at, 4096, audio.sampleRate, 1.5);
  ASSERT_TRUE(location);
  // Counted from the first decoded sample, which is the source's first.
  EXPECT_NEAR(
      location->seconds,
      static_cast<double>(at) / audio.sampleRate - static_cast<double>(priming) / sampleRate,
      0.002);
}

TEST(AssetWriterOutput, H264AndAacInMpeg4AtTheRequestedSizeKeepEveryFrameInOrder) {
  const std::string path = outputPath("writer-h264-aac.mp4");
  const auto writer = convert(
      "h264-aac-mp4", path, "mp4",
      {h264Settings(256, 192, 800'000), lossyAudioSettings(format_id::kMPEG4AAC, 44100, 128'000)});
  expectCompleted(*writer);

  const ProbedFile file = probeFile(path);
  ASSERT_EQ(file.streams.size(), 2u);
  const ProbedStream* video = streamOfType(file, AVMEDIA_TYPE_VIDEO);
  const ProbedStream* audio = streamOfType(file, AVMEDIA_TYPE_AUDIO);
  ASSERT_TRUE(video && audio);
  EXPECT_EQ(video->codec, "h264");
  EXPECT_EQ(video->width, 256);
  EXPECT_EQ(video->height, 192);
  EXPECT_EQ(audio->codec, "aac");
  EXPECT_EQ(audio->channels, 2);
  EXPECT_TRUE(audio->stereoLayout);
  EXPECT_EQ(audio->sampleRate, 44100);

  expectFramesInOrder(path, 90);
  const auto frames = testmedia::readVideoFrames(path);
  EXPECT_NEAR(frames.front().seconds, 0.0, 1.0 / 30);
  EXPECT_NEAR(frames.back().seconds, 89.0 / 30, 1.0 / 30);
  expectSoundOfThreeSeconds(path, 44100, 1024);
}

TEST(AssetWriterOutput, MotionJpegInQuickTimeKeepsFrameTimesOfAnNtscSource) {
  const std::string path = outputPath("writer-mjpeg.mov");
  const auto writer = convert("ntsc-h264-aac-mov", path, "mov", {jpegSettings(320, 240, 0.9), {}});
  expectCompleted(*writer);

  const ProbedFile file = probeFile(path);
  ASSERT_EQ(file.streams.size(), 1u);
  EXPECT_EQ(file.streams[0].codec, "mjpeg");
  expectFramesInOrder(path, 60);
  const auto frames = testmedia::readVideoFrames(path);
  ASSERT_EQ(frames.size(), 60u);
  EXPECT_NEAR(frames[59].seconds, 59 * 1001.0 / 30000, 1e-3);
}

TEST(AssetWriterOutput, MotionJpegQualityDecidesTheSize) {
  const std::string low = outputPath("writer-mjpeg-low.mov");
  const std::string high = outputPath("writer-mjpeg-high.mov");
  expectCompleted(*convert("video-only-mp4", low, "mov", {jpegSettings(320, 240, 0.1), {}}));
  expectCompleted(*convert("video-only-mp4", high, "mov", {jpegSettings(320, 240, 1.0), {}}));
  EXPECT_LT(std::filesystem::file_size(low), std::filesystem::file_size(high) * 0.8);
  expectFramesInOrder(high, 50);
}

struct SoundCase {
  std::string name;
  std::string fileType;
  OutputSettings settings;
  std::string codec;  // as FFmpeg names it
  int sampleRate;
  int codecFrame;   // samples per codec frame (the allowed error in duration)
  int priming = 0;  // encoder delay that the file type cannot record
};

class AssetWriterSound : public testing::TestWithParam<SoundCase> {};

TEST_P(AssetWriterSound, WritesTwoChannelsAtTheRequestedRateForTheWholeDuration) {
  const SoundCase& sound = GetParam();
  const std::string path = outputPath("writer-sound-" + sound.name + "." + sound.fileType);
  const auto writer = convert("h264-aac-mov", path, sound.fileType, {{}, sound.settings});
  expectCompleted(*writer);

  const ProbedFile file = probeFile(path);
  ASSERT_EQ(file.streams.size(), 1u);
  EXPECT_EQ(file.streams[0].codec, sound.codec);
  EXPECT_EQ(file.streams[0].channels, 2);
  if (file.streams[0].layoutRecorded) {
    EXPECT_TRUE(file.streams[0].stereoLayout);
  }
  EXPECT_EQ(file.streams[0].sampleRate, sound.sampleRate);
  expectSoundOfThreeSeconds(path, sound.sampleRate, sound.codecFrame, sound.priming);
}

const PcmLayout kPcm16{16, false, false, false};

INSTANTIATE_TEST_SUITE_P(
    Formats, AssetWriterSound,
    testing::Values(
        SoundCase{"aac-mov", "mov", lossyAudioSettings(format_id::kMPEG4AAC, 48000, 128'000), "aac",
                  48000, 1024},
        SoundCase{"ac3-mov", "mov", lossyAudioSettings(format_id::kAC3, 44100, 192'000), "ac3",
                  44100, 1536},
        SoundCase{"mp3-mov", "mov", lossyAudioSettings(format_id::kMPEGLayer3, 32000, 128'000),
                  "mp3", 32000, 1152},
        SoundCase{"alac-mov", "mov",
                  losslessAudioSettings(format_id::kAppleLossless, 44100, kPcm16), "alac", 44100,
                  4096},
        SoundCase{"lpcm-mov", "mov", losslessAudioSettings(format_id::kLinearPCM, 48000, kPcm16),
                  "pcm_s16le", 48000, 1},
        SoundCase{"aac-mp4", "mp4", lossyAudioSettings(format_id::kMPEG4AAC, 22050, 64'000), "aac",
                  22050, 1024},
        SoundCase{
            "alac-caf", "caf",
            losslessAudioSettings(format_id::kAppleLossless, 48000, {24, false, false, false}),
            "alac", 48000, 4096},
        SoundCase{"pcm16-aiff", "aiff",
                  losslessAudioSettings(format_id::kLinearPCM, 44100, {16, true, false, false}),
                  "pcm_s16be", 44100, 1},
        SoundCase{"float-aiff", "aiff",
                  losslessAudioSettings(format_id::kLinearPCM, 48000, {32, true, true, false}),
                  "pcm_f32be", 48000, 1},
        SoundCase{"pcm24-wav", "wav",
                  losslessAudioSettings(format_id::kLinearPCM, 96000, {24, false, false, true}),
                  "pcm_s24le", 96000, 1},
        SoundCase{"float-wav", "wav",
                  losslessAudioSettings(format_id::kLinearPCM, 44100, {32, false, true, false}),
                  "pcm_f32le", 44100, 1},
        SoundCase{"pcm8-wav", "wav",
                  losslessAudioSettings(format_id::kLinearPCM, 48000, {8, false, false, false}),
                  "pcm_u8", 48000, 1},
        SoundCase{"mp3", "mp3", lossyAudioSettings(format_id::kMPEGLayer3, 44100, 192'000), "mp3",
                  44100, 1152},
        // A raw AC-3 stream has no place for the encoder's delay of 256 samples.
        SoundCase{"ac3", "ac3", lossyAudioSettings(format_id::kAC3, 48000, 256'000), "ac3", 48000,
                  1536, 256}),
    [](const testing::TestParamInfo<SoundCase>& info) {
      std::string name = info.param.name;
      for (char& c : name) {
        if (c == '-') c = '_';
      }
      return name;
    });

}  // namespace
}  // namespace reelcraft
