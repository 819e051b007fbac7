#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "asset_writer_probe.h"
#include "media/writer/asset_writer.h"
#include "media/base/media_error.h"
#include "media/writer/writer_error.h"
#include "mediagen/media_reader.h"
#include "mediagen/test_media.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

using namespace writer_testing;
namespace format_id = audio_format_id;

std::string outputPath(const std::string& name) {
  return testmedia::testMediaDirectory() + "/" + name;
}

// Frame `index` of a 30 fps movie: a flat grey picture of 64 × 48 pixels.
SampleBuffer videoSample(int index) {
  std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
  frame->width = 64;
  frame->height = 48;
  frame->format = AV_PIX_FMT_YUV420P;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? 48 : 24;
    for (int row = 0; row < rows; ++row) {
      std::fill_n(frame->data[plane] + row * frame->linesize[plane], frame->linesize[plane],
                  static_cast<uint8_t>(plane == 0 ? 16 + index : 128));
    }
  }
  SampleBuffer sample;
  sample.mediaType = MediaType::Video;
  sample.presentationTime = MediaTime::make(index, 30);
  sample.duration = MediaTime::make(1, 30);
  sample.videoFrame = frame;
  return sample;
}

// Frame `index` of a 25 fps movie of 320 × 240 pixels of noise, which costs every bit given.
SampleBuffer noiseSample(int index) {
  SampleBuffer sample = videoSample(0);
  std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
  frame->width = 320;
  frame->height = 240;
  frame->format = AV_PIX_FMT_YUV420P;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
  uint32_t state = 12345u + index;
  for (int plane = 0; plane < 3; ++plane) {
    for (int row = 0; row < (plane == 0 ? 240 : 120); ++row) {
      for (int x = 0; x < (plane == 0 ? 320 : 160); ++x) {
        state = state * 1664525u + 1013904223u;
        frame->data[plane][row * frame->linesize[plane] + x] = static_cast<uint8_t>(state >> 24);
      }
    }
  }
  sample.presentationTime = MediaTime::make(index, 25);
  sample.duration = MediaTime::make(1, 25);
  sample.videoFrame = frame;
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

OutputSettings smallH264() {
  return h264Settings(64, 48);
}
OutputSettings aac() {
  return lossyAudioSettings(format_id::kMPEG4AAC, 48000, 128'000);
}

Error errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const ErrorException& e) {
    return e.error();
  }
  ADD_FAILURE() << "no ErrorException";
  return {};
}

void expectUnsupportedSettings(MediaType type, const OutputSettings& settings,
                               const std::string& mentioned) {
  const Error error = errorOf([&] { AssetWriterInput::create(type, settings); });
  EXPECT_EQ(error.domain, kMediaErrorDomain);
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::UnsupportedSettings));
  EXPECT_NE(error.description.find(mentioned), std::string::npos) << error.description;
  EXPECT_FALSE(error.recoverySuggestion.empty());
}

TEST(AssetWriterInputSettings, RefusesWhatNoEncoderCanHonourSayingWhat) {
  OutputSettings vp9 = smallH264();
  vp9.insert_or_assign(settings_key::kVideoCodec, "vp9");
  expectUnsupportedSettings(MediaType::Video, vp9, "vp9");
  OutputSettings noWidth = smallH264();
  noWidth.erase(settings_key::kVideoWidth);
  expectUnsupportedSettings(MediaType::Video, noWidth, "width");
  expectUnsupportedSettings(MediaType::Video, h264Settings(641, 360), "even");
  expectUnsupportedSettings(MediaType::Video, h264Settings(0, 360), "width");

  expectUnsupportedSettings(MediaType::Audio, lossyAudioSettings(format_id::kAC3, 22050, 192'000),
                            "22050");
  expectUnsupportedSettings(MediaType::Audio,
                            lossyAudioSettings(format_id::kMPEG4AAC, 12345, 128'000), "12345");
  expectUnsupportedSettings(MediaType::Audio,
                            lossyAudioSettings(audio_format_id::fourCharCode("opus"), 48000, 1),
                            "format");
  expectUnsupportedSettings(MediaType::Audio,
                            losslessAudioSettings(format_id::kLinearPCM, 48000, {12}), "12");
  expectUnsupportedSettings(MediaType::Audio,
                            losslessAudioSettings(format_id::kLinearPCM, 48000, {16, false, true}),
                            "floating-point");
  OutputSettings surround = aac();
  surround.insert_or_assign(settings_key::kNumberOfChannels, 6);
  expectUnsupportedSettings(MediaType::Audio, surround, "6 channels");
  OutputSettings noRate = aac();
  noRate.erase(settings_key::kSampleRate);
  expectUnsupportedSettings(MediaType::Audio, noRate, "sample rate");

  EXPECT_THROW(AssetWriterInput::create(MediaType::Subtitle, aac()), std::invalid_argument);
}

TEST(AssetWriterInputSettings, KeepsTheSettingsItWasMadeWith) {
  const auto input = AssetWriterInput::create(MediaType::Video, jpegSettings(64, 48, 1.7));
  EXPECT_EQ(input->mediaType(), MediaType::Video);
  EXPECT_EQ(input->outputSettings(), jpegSettings(64, 48, 1.7));
  EXPECT_FALSE(input->isReadyForMoreMediaData());
}

TEST(AssetWriterCreation, RefusesUnknownFileTypesAndPlacesThatCannotBeWritten) {
  Error error = errorOf([] { AssetWriter::create(outputPath("x.webm"), "matroska-ish"); });
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::UnknownFileType));
  EXPECT_NE(error.description.find("matroska-ish"), std::string::npos);

  error = errorOf([] { AssetWriter::create(outputPath("no-such-folder/out.mp4"), "mp4"); });
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::FolderNotFound));
  EXPECT_NE(error.description.find("out.mp4"), std::string::npos) << error.description;

  const std::string plainFile = outputPath("plain-file");
  std::ofstream(plainFile) << "x";
  error = errorOf([&] { AssetWriter::create(plainFile + "/out.mp4", "mp4"); });
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::FolderNotFound));

  error = errorOf([] { AssetWriter::create(testmedia::testMediaDirectory(), "mp4"); });
  EXPECT_EQ(error.code, static_cast<int>(WriterErrorCode::WritingFailed));
}

TEST(AssetWriterCreation, RefusesTracksTheFileTypeCannotHoldBeforeAnythingIsWritten) {
  struct Case {
    std::string fileType;
    MediaType type;
    OutputSettings settings;
    std::string mentioned;
  };
  const std::vector<Case> cases = {
      {"wav", MediaType::Video, smallH264(), "video"},
      {"caf", MediaType::Audio, aac(), "AAC"},
      {"mp3", MediaType::Audio, losslessAudioSettings(format_id::kLinearPCM, 44100, {16}),
       "linear PCM"},
      {"ac3", MediaType::Audio, aac(), "AAC"},
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
  wave->addInput(AssetWriterInput::create(
      MediaType::Audio, losslessAudioSettings(format_id::kLinearPCM, 44100, {16})));
  const auto second = AssetWriterInput::create(
      MediaType::Audio, losslessAudioSettings(format_id::kLinearPCM, 44100, {16}));
  EXPECT_FALSE(wave->canAddInput(second));
  EXPECT_THROW(wave->addInput(second), ErrorException);
}

TEST(AssetWriterStatus, GoesFromUnknownThroughWritingToCompletedAndCallsBackOnAnotherThread) {
  const std::string path = outputPath("status.mov");
  const auto writer = AssetWriter::create(path, "mov");
  const auto input = AssetWriterInput::create(MediaType::Video, smallH264());
  writer->addInput(input);
  EXPECT_THROW(writer->addInput(input), std::invalid_argument);
  EXPECT_EQ(writer->status(), AssetWriterStatus::Unknown);
  EXPECT_FALSE(input->appendSampleBuffer(videoSample(0)));

  ASSERT_TRUE(writer->startWriting());
  EXPECT_FALSE(writer->startWriting());
  EXPECT_EQ(writer->status(), AssetWriterStatus::Writing);
  EXPECT_THROW(writer->addInput(AssetWriterInput::create(MediaType::Audio, aac())),
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

TEST(AssetWriterStatus, CancellingWhileWritingRemovesThePartialFile) {
  const std::string path = outputPath("cancelled.mp4");
  const auto writer = AssetWriter::create(path, "mp4");
  const auto video = AssetWriterInput::create(MediaType::Video, smallH264());
  const auto audio = AssetWriterInput::create(MediaType::Audio, aac());
  writer->addInput(video);
  writer->addInput(audio);
  ASSERT_TRUE(writer->startWriting());
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(video->appendSampleBuffer(videoSample(i)));
    EXPECT_TRUE(audio->appendSampleBuffer(audioSample(i)));
  }
  EXPECT_TRUE(std::filesystem::exists(path));
  writer->cancelWriting();
  EXPECT_EQ(writer->status(), AssetWriterStatus::Cancelled);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_FALSE(video->appendSampleBuffer(videoSample(5)));

  std::promise<void> called;
  writer->finishWritingWithCompletionHandler([&] { called.set_value(); });
  called.get_future().get();
  EXPECT_EQ(writer->status(), AssetWriterStatus::Cancelled);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(AssetWriterStatus, AnEncodingFailureFailsTheWriterWithItsErrorAndRemovesTheFile) {
  const std::string path = outputPath("failed.mov");
  const auto writer = AssetWriter::create(path, "mov");
  const auto input = AssetWriterInput::create(MediaType::Video, smallH264());
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

TEST(AssetWriterStatus, AWriterWithoutTracksFailsToStart) {
  const auto writer = AssetWriter::create(outputPath("empty.mov"), "mov");
  EXPECT_FALSE(writer->startWriting());
  EXPECT_EQ(writer->status(), AssetWriterStatus::Failed);
  EXPECT_TRUE(writer->error());
}

TEST(AssetWriterEncoding, H264FollowsTheAverageBitRate) {
  std::vector<uintmax_t> sizes;
  for (int64_t bitRate : {100'000, 1'000'000}) {
    SCOPED_TRACE(bitRate);
    const std::string path = outputPath("bit-rate-" + std::to_string(bitRate) + ".mp4");
    const auto writer = AssetWriter::create(path, "mp4");
    const auto input = AssetWriterInput::create(MediaType::Video, h264Settings(320, 240, bitRate));
    writer->addInput(input);
    ASSERT_TRUE(writer->startWriting());
    for (int i = 0; i < 50; ++i) ASSERT_TRUE(input->appendSampleBuffer(noiseSample(i)));
    std::promise<void> finished;
    writer->finishWritingWithCompletionHandler([&] { finished.set_value(); });
    finished.get_future().get();
    ASSERT_EQ(writer->status(), AssetWriterStatus::Completed);
    sizes.push_back(std::filesystem::file_size(path));
    const auto frames = testmedia::readVideoFrames(path);
    ASSERT_EQ(frames.size(), 50u);
    EXPECT_EQ(frames[0].width, 320);
    EXPECT_NEAR(frames[49].seconds, 49 / 25.0, 1e-3);
  }
  // Two seconds of noise: the encoder spends what it is given (overshooting a little on so
  // short a clip), and cannot squeeze the noise below 100 kbit/s.
  ASSERT_EQ(sizes.size(), 2u);
  EXPECT_GT(sizes[1], sizes[0] * 4);
  EXPECT_GT(sizes[1], 1'000'000 * 2 / 8 * 0.7);
  EXPECT_LT(sizes[1], 1'000'000 * 2 / 8 * 2);
}

// Pumps 3 s of video and audio through requests on two queues and finishes the writer when
// both are done; `audioSeconds` cuts the sound short.
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
    video = AssetWriterInput::create(MediaType::Video, smallH264());
    audio = AssetWriterInput::create(MediaType::Audio, aac());
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
          if (!videoDone) {
            const double lead = index / 10.0 - videoEnd.load();
            if (lead > largestAudioLead) largestAudioLead = lead;
          }
          EXPECT_TRUE(audio->appendSampleBuffer(audioSample(index)));
        });
  }

  void finish(AssetWriterInput& input) {
    input.markAsFinished();
    if (--remaining == 0) writer->finishWritingWithCompletionHandler([this] { done.set_value(); });
  }
};

TEST(AssetWriterPumping, TwoQueuesFeedTheInputsConcurrentlyWithoutOneRunningFarAhead) {
  const std::string path = outputPath("pumped.mov");
  TwoStreamPump pump(path, 30);
  ASSERT_EQ(pump.done.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
  EXPECT_EQ(pump.writer->status(), AssetWriterStatus::Completed);
  // The sound (cheap to encode) waits for the picture: it starts at most a second ahead.
  EXPECT_LE(pump.largestAudioLead.load(), 1.0 + 1e-9);
  EXPECT_EQ(testmedia::readVideoFrames(path).size(), 90u);
  const auto sound = testmedia::readAudio(path);
  EXPECT_NEAR(static_cast<double>(sound.sampleCount()) / sound.sampleRate, 3.0, 1024.0 / 48000);
}

TEST(AssetWriterPumping, AnInputThatFinishesEarlyDoesNotHoldTheOtherBack) {
  const std::string path = outputPath("short-sound.mov");
  TwoStreamPump pump(path, 5);  // half a second of sound
  ASSERT_EQ(pump.done.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
  EXPECT_EQ(pump.writer->status(), AssetWriterStatus::Completed);
  EXPECT_EQ(testmedia::readVideoFrames(path).size(), 90u);
  const auto sound = testmedia::readAudio(path);
  EXPECT_NEAR(static_cast<double>(sound.sampleCount()) / sound.sampleRate, 0.5, 1024.0 / 48000);
}

TEST(AssetWriterPumping, ABlockWithNothingToGiveEndsItsRequestAndReleasesTheOther) {
  const std::string path = outputPath("idle-sound.mov");
  const auto writer = AssetWriter::create(path, "mov");
  const auto video = AssetWriterInput::create(MediaType::Video, smallH264());
  const auto audio = AssetWriterInput::create(MediaType::Audio, aac());
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
    } else if (index == 60) {
      video->markAsFinished();
      done.set_value();
    }
  });
  ASSERT_EQ(done.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
  EXPECT_EQ(idleCalls.load(), 1);
  std::promise<void> finished;
  writer->finishWritingWithCompletionHandler([&] { finished.set_value(); });
  finished.get_future().get();
  EXPECT_EQ(writer->status(), AssetWriterStatus::Completed);
  EXPECT_EQ(testmedia::readVideoFrames(path).size(), 60u);
}

}  // namespace
}  // namespace reelcraft
