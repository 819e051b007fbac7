#include "media/writer/asset_writer.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "asset_writer_probe.h"
#include "media/reader/asset_reader.h"
#include "media/support/composition_reading.h"
#include "media/support/sound_checks.h"
#include "mediagen/media_reader.h"

namespace reelcraft {
namespace {

using namespace writer_testing;
namespace format_id = audio_format_id;

// Reads the sound or the pictures of `variant` and writes them to `path` through an
// AssetWriter, one sample after the other (pumping on queues is tested with the inputs). Checks
// that the writer completes, and returns what FFmpeg finds in the file.
std::vector<ProbedStream> convert(const std::string& variant, const std::string& path,
                                  const std::string& fileType, MediaType type,
                                  const OutputSettings& settings) {
  const auto asset = reading::openVariant(variant);
  const auto reader = AssetReader::create(asset);
  const auto tracks = reading::tracksOf(*asset, type);
  std::shared_ptr<AssetReaderOutput> output;
  if (type == MediaType::Audio) {
    output = std::make_shared<AssetReaderAudioMixOutput>(tracks);
  } else {
    output = std::make_shared<AssetReaderVideoCompositionOutput>(tracks);
  }
  const auto writer = AssetWriter::create(path, fileType);
  const auto input = AssetWriterInput::create(type, settings);
  reader->addOutput(output);
  writer->addInput(input);
  EXPECT_TRUE(reader->startReading());
  EXPECT_TRUE(writer->startWriting());
  writer->startSessionAtSourceTime(MediaTime::zero());
  while (const auto sample = output->copyNextSampleBuffer()) {
    EXPECT_TRUE(input->appendSampleBuffer(*sample));
  }
  input->markAsFinished();
  finishAndWait(*writer);
  EXPECT_EQ(writer->status(), AssetWriterStatus::Completed)
      << (writer->error() ? writer->error()->description : "");
  return probeFile(path);
}

// Frame indices read back from the file: in order, one for each source frame, with at most a
// few unreadable codes (lossy coding), each at its source frame's time.
void expectFramesInOrder(const std::string& path, int frameCount, double frameSeconds) {
  const auto frames = testmedia::readVideoFrames(path);
  ASSERT_EQ(static_cast<int>(frames.size()), frameCount);
  int unreadable = 0;
  for (int i = 0; i < frameCount; ++i) {
    EXPECT_NEAR(frames[i].seconds, i * frameSeconds, 1e-3) << "frame " << i;
    if (frames[i].frameIndex() == -1) {
      ++unreadable;
    } else {
      EXPECT_EQ(frames[i].frameIndex(), i) << "frame " << i;
    }
  }
  EXPECT_LE(unreadable, frameCount / 10);
}

// The sound of a 3 s source at `sampleRate`, two channels, lasting 3 s to within one codec
// frame, with the source's signal where it belongs.
void expectSoundOfThreeSeconds(const std::string& path, int sampleRate, int codecFrame,
                               int priming = 0) {
  const testmedia::DecodedAudio audio = testmedia::readAudio(path);
  ASSERT_EQ(audio.channels.size(), 2u);
  EXPECT_EQ(audio.sourceSampleRate, sampleRate);
  EXPECT_NEAR(static_cast<double>(audio.sampleCount()) / audio.sampleRate, 3.0,
              static_cast<double>(codecFrame) / sampleRate);
  // Counted from the first decoded sample, which is the source's first.
  const auto located =
      sound::sourceSecondsOf(audio.channels[0].data() + static_cast<size_t>(1.5 * audio.sampleRate),
                             4096, audio.sampleRate, 1.5);
  ASSERT_TRUE(located);
  EXPECT_NEAR(*located, 1.5 - static_cast<double>(priming) / sampleRate, 0.002);
}

OutputSettings mjpeg(double quality) {
  return videoSettings("mjpeg", 320, 240, {{settings_key::kVideoQuality, quality}});
}

TEST(AssetWriterOutput, MotionJpegKeepsFrameTimesOfAnNtscSourceAndItsQualityDecidesTheSize) {
  const std::string ntsc = outputPath("writer-mjpeg.mov");
  const auto streams = convert("ntsc-h264-aac-mov", ntsc, "mov", MediaType::Video, mjpeg(0.9));
  ASSERT_EQ(streams.size(), 1u);
  EXPECT_EQ(streams[0].codec, "mjpeg");
  expectFramesInOrder(ntsc, 60, 1001.0 / 30000);

  const std::string low = outputPath("writer-mjpeg-low.mov");
  const std::string high = outputPath("writer-mjpeg-high.mov");
  convert("video-only-mp4", low, "mov", MediaType::Video, mjpeg(0.1));
  convert("video-only-mp4", high, "mov", MediaType::Video, mjpeg(1.0));
  EXPECT_LT(std::filesystem::file_size(low), std::filesystem::file_size(high) * 0.8);
}

struct SoundCase {
  std::string name;  // ends in the file type

  OutputSettings settings;
  std::string codec;  // as FFmpeg names it
  int codecFrame;     // samples per codec frame (the allowed error in duration)
  int priming = 0;    // encoder delay that the file type cannot record
  friend void PrintTo(const SoundCase& c, std::ostream* out) { *out << c.name; }
};

class AssetWriterSound : public testing::TestWithParam<SoundCase> {};

TEST_P(AssetWriterSound, WritesTwoChannelsAtTheRequestedRateForTheWholeDuration) {
  const SoundCase& sound = GetParam();
  const std::string fileType = sound.name.substr(sound.name.rfind('_') + 1);
  const std::string path = outputPath("writer-sound-" + sound.name + "." + fileType);
  const auto streams = convert("h264-aac-mov", path, fileType, MediaType::Audio, sound.settings);
  ASSERT_EQ(streams.size(), 1u);
  EXPECT_EQ(streams[0].codec, sound.codec);
  EXPECT_EQ(streams[0].channels, 2);
  EXPECT_TRUE(streams[0].stereoLayout || !streams[0].layoutRecorded);
  const int sampleRate =
      static_cast<int>(std::get<int64_t>(sound.settings.at(settings_key::kSampleRate).value));
  EXPECT_EQ(streams[0].sampleRate, sampleRate);
  expectSoundOfThreeSeconds(path, sampleRate, sound.codecFrame, sound.priming);
}

constexpr auto lossy = lossyAudioSettings;
constexpr auto lossless = losslessAudioSettings;

INSTANTIATE_TEST_SUITE_P(
    Formats, AssetWriterSound,
    testing::Values(
        SoundCase{"aac_mov", lossy(format_id::kMPEG4AAC, 48000, 128'000), "aac", 1024},
        SoundCase{"mp3_mov", lossy(format_id::kMPEGLayer3, 32000, 128'000), "mp3", 1152},
        SoundCase{"lpcm_mov", lossless(format_id::kLinearPCM, 48000, {16}), "pcm_s16le", 1},
        SoundCase{"aac_mp4", lossy(format_id::kMPEG4AAC, 22050, 64'000), "aac", 1024},
        SoundCase{"alac_caf", lossless(format_id::kAppleLossless, 48000, {24}), "alac", 4096},
        SoundCase{"pcm16_aiff", lossless(format_id::kLinearPCM, 44100, {16, true}), "pcm_s16be", 1},
        SoundCase{"float_aiff", lossless(format_id::kLinearPCM, 48000, {32, true, true}),
                  "pcm_f32be", 1},
        SoundCase{"pcm24_wav", lossless(format_id::kLinearPCM, 96000, {24, false, false, true}),
                  "pcm_s24le", 1},
        SoundCase{"float_wav", lossless(format_id::kLinearPCM, 44100, {32, false, true}),
                  "pcm_f32le", 1},
        SoundCase{"pcm8_wav", lossless(format_id::kLinearPCM, 48000, {8}), "pcm_u8", 1},
        SoundCase{"mp3", lossy(format_id::kMPEGLayer3, 44100, 192'000), "mp3", 1152},
        // A raw AC-3 stream has no place for the encoder's delay of 256 samples.
        SoundCase{"ac3", lossy(format_id::kAC3, 48000, 256'000), "ac3", 1536, 256}),
    [](const testing::TestParamInfo<SoundCase>& info) { return info.param.name; });

}  // namespace
}  // namespace reelcraft
