#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <random>
#include <thread>

#include "asset_writer_probe.h"
#include "media/base/media_error.h"
#include "media/support/composition_reading.h"
#include "media/support/picture_checks.h"
#include "media/writer/asset_writer.h"
#include "media/writer/writer_error.h"
#include "mediagen/media_reader.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

using namespace writer_testing;
using reading::errorOf;
namespace format_id = audio_format_id;

// Frame `index` of a movie of `width` × `height` pixels at `rate` frames a second: its frame
// code, or noise, which costs every bit given.
SampleBuffer videoSample(int index, bool noise = false, int width = 64, int height = 48,
                         int rate = 30) {
  SampleBuffer sample;
  sample.mediaType = MediaType::Video;
  sample.presentationTime = MediaTime::make(index, rate);
  sample.duration = MediaTime::make(1, rate);
  sample.videoFrame = pictures::codePicture(index, width, height);
  std::independent_bits_engine<std::minstd_rand, 8, uint32_t> random(index + 1);
  for (int plane = 0; noise && plane < 3; ++plane) {
    const AVFrame& frame = *sample.videoFrame;
    for (int y = 0; y < (plane == 0 ? height : height / 2); ++y) {
      std::generate_n(frame.data[plane] + y * frame.linesize[plane], plane == 0 ? width : width / 2,
                      std::ref(random));
    }
  }
  return sample;
}

// 1/10 s of quiet stereo sound at 48 kHz, the `index`th of a run.
SampleBuffer audioSample(int index) {
  SampleBuffer sample;
  sample.mediaType = MediaType::Audio;
  sample.audio.sampleRate = 48000;
  sample.audio.samples.assign(4800 * 2, 0.1f);
  sample.audio.time = MediaTime::make(index * 4800, 48000);
  sample.presentationTime = sample.audio.time;
  sample.duration = sample.audio.duration();
  return sample;
}

const OutputSettings kSmallH264 = h264Settings(64, 48);
const OutputSettings kAac = lossyAudioSettings(format_id::kMPEG4AAC, 48000, 128'000);
const OutputSettings kPcm16 = losslessAudioSettings(format_id::kLinearPCM, 44100, {16});
OutputSettings without(OutputSettings settings, const std::string& key) {
  settings.erase(key);
  return settings;
}
OutputSettings with(OutputSettings settings, const std::string& key, SettingValue value) {
  settings.insert_or_assign(key, std::move(value));
  return settings;
}

TEST(AssetWriterInputSettings, RefusesWhatNoEncoderCanHonourSayingWhat) {
  struct Case {
    MediaType type;
    OutputSettings settings;
    std::string mentioned;
  };
  const Case cases[] = {
      {MediaType::Video, with(kSmallH264, settings_key::kVideoCodec, "vp9"), "vp9"},
      {MediaType::Video, without(kSmallH264, settings_key::kVideoWidth), "width"},
      {MediaType::Video, h264Settings(641, 360), "even"},
      {MediaType::Video, h264Settings(0, 360), "width"},
      {MediaType::Audio, lossyAudioSettings(format_id::kAC3, 22050, 192'000), "22050"},
      {MediaType::Audio, lossyAudioSettings(format_id::kMPEG4AAC, 12345, 128'000), "12345"},
      {MediaType::Audio, lossyAudioSettings(format_id::fourCharCode("opus"), 48000, 1), "format"},
      {MediaType::Audio, losslessAudioSettings(format_id::kLinearPCM, 48000, {12}), "12"},
      {MediaType::Audio, losslessAudioSettings(format_id::kLinearPCM, 48000, {16, false, true}),
       "floating-point"},
      {MediaType::Audio, with(kAac, settings_key::kNumberOfChannels, 6), "6 channels"},
      {MediaType::Audio, without(kAac, settings_key::kSampleRate), "sample rate"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.mentioned);
    const Error error = errorOf([&] { AssetWriterInput::create(c.type, c.settings); });
    EXPECT_EQ(error.domain, kMediaErrorDomain);
    EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::UnsupportedSettings));
    EXPECT_NE(error.description.find(c.mentioned), std::string::npos) << error.description;
    EXPECT_FALSE(error.recoverySuggestion.empty());
  }
  EXPECT_THROW(AssetWriterInput::create(MediaType::Subtitle, kAac), std::invalid_argument);
}

TEST(AssetWriterCreation, RefusesUnknownFileTypesPlacesThatCannotBeWrittenAndNoTracks) {
  Error error = errorOf([] { AssetWriter::create(outputPath("x.webm"), "matroska-ish"); });
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::UnknownFileType));
  EXPECT_NE(error.description.find("matroska-ish"), std::string::npos);

  error = errorOf([] { AssetWriter::create(outputPath("no-such-folder/out.mp4"), "mp4"); });
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::FolderNotFound));
  EXPECT_NE(error.description.find("out.mp4"), std::string::npos) << error.description;

  std::ofstream(outputPath("plain-file")) << "x";
  error = errorOf([&] { AssetWriter::create(outputPath("plain-file") + "/out.mp4", "mp4"); });
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::FolderNotFound));

  error = errorOf([] { AssetWriter::create(testmedia::testMediaDirectory(), "mp4"); });
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::WritingFailed));

  const auto writer = AssetWriter::create(outputPath("empty.mov"), "mov");
  EXPECT_FALSE(writer->startWriting()) << "a writer without tracks";
  EXPECT_EQ(writer->status(), AssetWriterStatus::Failed);
  EXPECT_TRUE(writer->error());
}

TEST(AssetWriterCreation, RefusesTracksTheFileTypeCannotHoldBeforeAnythingIsWritten) {
  struct Case {
    std::string fileType;
    MediaType type;
    OutputSettings settings;
    std::string mentioned;
  };
  const Case cases[] = {
      {"wav", MediaType::Video, kSmallH264, "video"},
      {"caf", MediaType::Audio, kAac, "AAC"},
      {"mp3", MediaType::Audio, kPcm16, "linear PCM"},
      {"ac3", MediaType::Audio, kAac, "AAC"},
      {"wav", MediaType::Audio, losslessAudioSettings(format_id::kLinearPCM, 44100, {16, true}),
       "linear PCM"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fileType + " " + c.mentioned);
    const std::string path = outputPath("refused." + c.fileType);
    const auto writer = AssetWriter::create(path, c.fileType);
    const auto input = AssetWriterInput::create(c.type, c.settings);
    EXPECT_FALSE(writer->canAddInput(input));
    const Error error = errorOf([&] { writer->addInput(input); });
    EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::IncompatibleInput));
    EXPECT_NE(error.description.find(c.mentioned), std::string::npos) << error.description;
    EXPECT_TRUE(writer->inputs().empty());
    EXPECT_FALSE(std::filesystem::exists(path));
  }

  const auto wave = AssetWriter::create(outputPath("two-tracks.wav"), "wav");
  wave->addInput(AssetWriterInput::create(MediaType::Audio, kPcm16));
  const auto second = AssetWriterInput::create(MediaType::Audio, kPcm16);
  EXPECT_FALSE(wave->canAddInput(second));
  EXPECT_THROW(wave->addInput(second), ErrorException);
}

TEST(AssetWriterStatus, GoesFromUnknownThroughWritingToCompletedAndCallsBackOnAnotherThread) {
  const std::string path = outputPath("status.mov");
  const auto writer = AssetWriter::create(path, "mov");
  const auto input = AssetWriterInput::create(MediaType::Video, kSmallH264);
  EXPECT_FALSE(input->isReadyForMoreMediaData());
  writer->addInput(input);
  EXPECT_THROW(writer->addInput(input), std::invalid_argument);
  EXPECT_EQ(writer->status(), AssetWriterStatus::Unknown);
  EXPECT_FALSE(input->appendSampleBuffer(videoSample(0)));

  ASSERT_TRUE(writer->startWriting());
  EXPECT_FALSE(writer->startWriting());
  EXPECT_EQ(writer->status(), AssetWriterStatus::Writing);
  EXPECT_THROW(writer->addInput(AssetWriterInput::create(MediaType::Audio, kAac)),
               std::invalid_argument);
  writer->startSessionAtSourceTime(MediaTime::zero());
  EXPECT_TRUE(input->isReadyForMoreMediaData());
  EXPECT_FALSE(input->appendSampleBuffer(audioSample(0)));  // wrong kind
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(input->appendSampleBuffer(videoSample(i)));
  input->markAsFinished();
  EXPECT_FALSE(input->isReadyForMoreMediaData());
  EXPECT_FALSE(input->appendSampleBuffer(videoSample(10)));

  std::promise<std::thread::id> handlerThread;
  writer->finishWritingWithCompletionHandler(
      [&] { handlerThread.set_value(std::this_thread::get_id()); });
  EXPECT_NE(handlerThread.get_future().get(), std::this_thread::get_id());
  EXPECT_EQ(writer->status(), AssetWriterStatus::Completed);
  EXPECT_FALSE(writer->error());
  EXPECT_EQ(testmedia::readVideoFrames(path).size(), 10u);

  writer->cancelWriting();  // too late: nothing changes
  EXPECT_EQ(writer->status(), AssetWriterStatus::Completed);
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(AssetWriterStatus, AnEncodingFailureFailsTheWriterWithItsErrorAndRemovesTheFile) {
  const std::string path = outputPath("failed.mov");
  const auto writer = AssetWriter::create(path, "mov");
  const auto input = AssetWriterInput::create(MediaType::Video, kSmallH264);
  writer->addInput(input);
  ASSERT_TRUE(writer->startWriting());
  SampleBuffer empty = videoSample(0);
  empty.videoFrame.reset();
  EXPECT_FALSE(input->appendSampleBuffer(empty));
  EXPECT_EQ(writer->status(), AssetWriterStatus::Failed);
  ASSERT_TRUE(writer->error());
  EXPECT_EQ(writer->error()->code, static_cast<int>(WriterErrorCode::EncodingFailed));
  EXPECT_NE(writer->error()->description.find("failed.mov"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(path));
  writer->cancelWriting();
  EXPECT_EQ(writer->status(), AssetWriterStatus::Failed);
}

TEST(AssetWriterEncoding, H264FollowsTheAverageBitRate) {
  std::vector<uintmax_t> sizes;
  for (int64_t bitRate : {100'000, 1'000'000}) {
    SCOPED_TRACE(bitRate);
    const std::string path = outputPath("bit-rate-" + std::to_string(bitRate) + ".mp4");
    const auto writer = AssetWriter::create(path, "mp4");
    const auto input = AssetWriterInput::create(
        MediaType::Video,
        videoSettings("h264", 320, 240, {{settings_key::kVideoAverageBitRate, bitRate}}));
    writer->addInput(input);
    ASSERT_TRUE(writer->startWriting());
    for (int i = 0; i < 50; ++i) {
      ASSERT_TRUE(input->appendSampleBuffer(videoSample(i, true, 320, 240, 25)));
    }
    finishAndWait(*writer);
    ASSERT_EQ(writer->status(), AssetWriterStatus::Completed);
    sizes.push_back(std::filesystem::file_size(path));
    const auto frames = testmedia::readVideoFrames(path);
    ASSERT_EQ(frames.size(), 50u);
    EXPECT_EQ(frames[0].width, 320);
    EXPECT_NEAR(frames[49].seconds, 49 / 25.0, 1e-3);
  }
  // Two seconds of noise: the encoder spends what it is given (overshooting a little on so
  // short a clip), and cannot squeeze the noise below 100 kbit/s.
  EXPECT_GT(sizes[1], sizes[0] * 4);
  EXPECT_GT(sizes[1], 1'000'000 * 2 / 8 * 0.7);
  EXPECT_LT(sizes[1], 1'000'000 * 2 / 8 * 2);
}

// Pumps 3 s of video and `audioChunks` tenths of a second of audio through requests on two
// queues and finishes the writer when both are done.
struct TwoStreamPump {
  std::shared_ptr<AssetWriter> writer;
  std::shared_ptr<AssetWriterInput> video, audio;
  std::atomic<int> nextVideo{0}, nextAudio{0};
  std::atomic<double> videoEnd{0};  // set before each video append
  std::atomic<double> largestAudioLead{-100};
  std::atomic<bool> videoDone{false};
  std::atomic<int> remaining{2};
  std::promise<void> done;

  TwoStreamPump(const std::string& path, int audioChunks) {
    writer = AssetWriter::create(path, "mov");
    video = AssetWriterInput::create(MediaType::Video, kSmallH264);
    audio = AssetWriterInput::create(MediaType::Audio, kAac);
    writer->addInput(video);
    writer->addInput(audio);
    EXPECT_TRUE(writer->startWriting());
    writer->startSessionAtSourceTime(MediaTime::zero());
    video->requestMediaDataWhenReadyOnQueue(std::make_shared<SerialQueue>("video"), [this] {
      const int index = nextVideo++;
      if (index == 90) return finish(*video);
      videoEnd = (index + 1) / 30.0;
      EXPECT_TRUE(video->appendSampleBuffer(videoSample(index)));
      if (index == 89) videoDone = true;
    });
    audio->requestMediaDataWhenReadyOnQueue(
        std::make_shared<SerialQueue>("audio"), [this, audioChunks] {
          const int index = nextAudio++;
          if (index == audioChunks) return finish(*audio);
          if (!videoDone)
            largestAudioLead = std::max(largestAudioLead.load(), index / 10.0 - videoEnd);
          EXPECT_TRUE(audio->appendSampleBuffer(audioSample(index)));
        });
  }

  void finish(AssetWriterInput& input) {
    input.markAsFinished();
    if (--remaining == 0) writer->finishWritingWithCompletionHandler([this] { done.set_value(); });
  }
};

TEST(AssetWriterPumping, TwoQueuesFeedTheInputsConcurrentlyWithoutOneRunningFarAhead) {
  for (const int audioChunks : {30, 5}) {
    SCOPED_TRACE(audioChunks);
    const std::string path = outputPath("pumped-" + std::to_string(audioChunks) + ".mov");
    TwoStreamPump pump(path, audioChunks);
    ASSERT_EQ(pump.done.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
    EXPECT_EQ(pump.writer->status(), AssetWriterStatus::Completed);
    EXPECT_EQ(testmedia::readVideoFrames(path).size(), 90u);
    const auto sound = testmedia::readAudio(path);
    EXPECT_NEAR(double(sound.sampleCount()) / sound.sampleRate, audioChunks / 10.0, 1024.0 / 48000);
    // The sound (cheap to encode) waits for the picture: it starts at most a second ahead.
    // Sound that ends early does not hold the picture back.
    EXPECT_LE(pump.largestAudioLead.load(), 1.0 + 1e-9);
  }
}

TEST(AssetWriterPumping, ABlockWithNothingToGiveEndsItsRequestAndReleasesTheOther) {
  const std::string path = outputPath("idle-sound.mov");
  const auto writer = AssetWriter::create(path, "mov");
  const auto video = AssetWriterInput::create(MediaType::Video, kSmallH264);
  const auto audio = AssetWriterInput::create(MediaType::Audio, kAac);
  writer->addInput(video);
  writer->addInput(audio);
  ASSERT_TRUE(writer->startWriting());
  std::atomic<int> idleCalls{0};
  audio->requestMediaDataWhenReadyOnQueue(std::make_shared<SerialQueue>("audio"),
                                          [&] { ++idleCalls; });
  std::promise<void> done;
  std::atomic<int> next{0};
  video->requestMediaDataWhenReadyOnQueue(std::make_shared<SerialQueue>("video"), [&] {
    const int index = next++;
    if (index < 60) {
      EXPECT_TRUE(video->appendSampleBuffer(videoSample(index)));
    }
    if (index != 60) return;
    video->markAsFinished();
    done.set_value();
  });
  ASSERT_EQ(done.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
  EXPECT_EQ(idleCalls.load(), 1);
  finishAndWait(*writer);
  EXPECT_EQ(writer->status(), AssetWriterStatus::Completed);
  EXPECT_EQ(testmedia::readVideoFrames(path).size(), 60u);
}

}  // namespace
}  // namespace reelcraft
