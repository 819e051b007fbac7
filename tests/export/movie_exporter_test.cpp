#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <future>
#include <set>
#include <thread>

#include "export/export_identifiers.h"
#include "export/movie_exporter.h"
#include "export_test_support.h"
#include "media/writer/output_settings.h"
#include "mediagen/media_reader.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using testmedia::testMediaDirectory;
using testmedia::testMediaPath;

std::string outputPath(const std::string& name) {
  return testMediaDirectory() + "/" + name;
}

std::shared_ptr<MovieFileFormat> smallFormat(bool withVideo, bool withAudio,
                                             const char* type = file_type::kQuickTimeMovie) {
  auto format = std::make_shared<MovieFileFormat>();
  format->type = type;
  if (withVideo) {
    auto video = std::make_shared<MovieVideoFormat_H264>();
    video->size = Size{160, 120};
    format->videoFormat = video;
  } else {
    format->videoFormat = nullptr;
  }
  if (!withAudio) format->audioFormat = nullptr;
  return format;
}

TEST(MovieExporter, OneStreamFormatPumpsOneStream) {
  const std::string path = outputPath("audio-stream-only.mov");
  auto exporter = MovieExporter::create(movieOfFile(testMediaPath("h264-aac-mov")), path,
                                        smallFormat(false, true));
  CompletionCounter completion;
  exporter->start(completion.handler());
  EXPECT_EQ(exporter->availableStreamCount, 1u);
  EXPECT_EQ(exporter->videoInput, nullptr);
  ASSERT_TRUE(completion.waitForCompletion());
  EXPECT_EQ(exporter->finishedStreamCount, 1u);
  EXPECT_EQ(exporter->assetWriter->status(), AssetWriterStatus::Completed);
  EXPECT_EQ(probedCodecs(path), std::set<std::string>{"aac"});
}

TEST(MovieExporter, TwoStreamsFinishTheWriterOnceBothRunDry) {
  const std::string path = outputPath("two-streams.mov");
  auto exporter = MovieExporter::create(movieOfFile(testMediaPath("h264-aac-mov")), path,
                                        smallFormat(true, true));
  std::atomic<int> progressCalls{0};
  std::atomic<bool> progressAfterCompletion{false};
  CompletionCounter completion;
  exporter->onProgress = [&](MediaTime) {
    ++progressCalls;
    if (completion.count() > 0) progressAfterCompletion = true;
  };
  exporter->start(completion.handler());
  EXPECT_EQ(exporter->availableStreamCount, 2u);
  ASSERT_TRUE(completion.waitForCompletion());
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(completion.count(), 1);
  EXPECT_EQ(exporter->finishedStreamCount, 2u);
  EXPECT_FALSE(progressAfterCompletion);
  EXPECT_GT(progressCalls, 90);  // 90 pictures and the sound
  EXPECT_EQ(exporter->assetWriter->status(), AssetWriterStatus::Completed);
  EXPECT_EQ(probedCodecs(path), (std::set<std::string>{"aac", "h264"}));
}

TEST(MovieExporter, UnwritableDestinationFailsToStart) {
  auto exporter =
      MovieExporter::create(movieOfFile(testMediaPath("h264-aac-mov")),
                            outputPath("no-such-folder/out.mov"), smallFormat(true, true));
  CompletionCounter completion;
  EXPECT_THROW(exporter->start(completion.handler()), ErrorException);
  EXPECT_NE(exporter->assetReader, nullptr);
  EXPECT_EQ(exporter->assetReader->status(), AssetReaderStatus::Unknown);
  EXPECT_EQ(exporter->assetWriter, nullptr);
  EXPECT_EQ(exporter->availableStreamCount, 0u);
}

// Sound that plays for a while, then cannot be read any further.
class FailingAudioOutput final : public AssetReaderOutput {
 public:
  explicit FailingAudioOutput(std::vector<AssetTrack> tracks)
      : AssetReaderOutput(std::move(tracks)) {}
  MediaType mediaType() const override { return MediaType::Audio; }

 protected:
  void prepare(const AssetPtr&) override {}
  std::shared_ptr<SampleBuffer> readNext() override {
    if (buffers_ == 10) {
      throw ErrorException(Error{"TestDomain", 7, "the disk went away", ""});
    }
    auto sample = std::make_shared<SampleBuffer>();
    sample->mediaType = MediaType::Audio;
    sample->audio.sampleRate = 48000;
    sample->audio.samples.assign(2 * 4800, 0.25f);
    sample->audio.time = MediaTime::make(buffers_ * 4800, 48000);
    sample->presentationTime = sample->audio.time;
    sample->duration = sample->audio.duration();
    ++buffers_;
    return sample;
  }

 private:
  int buffers_ = 0;
};

class ReaderWithFailingAudio final : public AssetReaderProvider {
 public:
  using AssetReaderProvider::AssetReaderProvider;
  // The real video output, and failing sound in place of the real one.
  void build() override {
    const AssetTrack audioTrack = *asset->tracksWithMediaType(MediaType::Audio).at(0);
    const AssetTrack videoTrack = *asset->tracksWithMediaType(MediaType::Video).at(0);
    audioOutput = std::make_shared<FailingAudioOutput>(std::vector<AssetTrack>{audioTrack});
    videoOutput =
        std::make_shared<AssetReaderVideoCompositionOutput>(std::vector<AssetTrack>{videoTrack});
    assetReader = AssetReader::create(asset);
    addIfAccepted(audioOutput);
    addIfAccepted(videoOutput);
  }
};

class ExporterWithFailingAudio final : public MovieExporter {
 public:
  static std::shared_ptr<MovieExporter> create(std::shared_ptr<Movie> movie, std::string url,
                                               std::shared_ptr<const MovieFileFormat> format) {
    return std::shared_ptr<MovieExporter>(
        new ExporterWithFailingAudio(std::move(movie), std::move(url), std::move(format)));
  }

 protected:
  using MovieExporter::MovieExporter;
  std::shared_ptr<AssetReaderProvider> makeReaderProvider(AssetPtr asset) override {
    return std::make_shared<ReaderWithFailingAudio>(std::move(asset));
  }
};

TEST(MovieExporter, ReaderFailureMidwayIsReportedAndStillCompletes) {
  const std::string path = outputPath("reader-fails.mov");
  auto exporter = ExporterWithFailingAudio::create(movieOfFile(testMediaPath("h264-aac-mov")), path,
                                                   smallFormat(true, true));
  std::atomic<int> audioProgress{0};
  exporter->onProgress = [&](MediaTime time) {
    if (time.timescale == 48000) ++audioProgress;
  };
  CompletionCounter completion;
  testing::internal::CaptureStdout();
  exporter->start(completion.handler());
  const bool completed = completion.waitForCompletion();
  const std::string printed = testing::internal::GetCapturedStdout();
  ASSERT_TRUE(completed);
  EXPECT_EQ(audioProgress, 10);
  EXPECT_EQ(exporter->assetReader->status(), AssetReaderStatus::Failed);
  EXPECT_EQ(exporter->finishedStreamCount, 2u);
  EXPECT_THAT(printed, testing::HasSubstr("\n\n\nError: the disk went away\n\n"));
}

TEST(MovieExporter, CancelWhileWritingLeavesNoFile) {
  const std::string path = outputPath("cancelled.mov");
  auto exporter = MovieExporter::create(movieOfFile(testMediaPath("h264-aac-mov")), path,
                                        smallFormat(true, true));
  // The first picture past one second holds its stream until the test has cancelled, so the
  // export cannot end first. Shared, as the pumps may outlive the test's frame.
  struct Hold {
    std::promise<void> reached, cancelled;
    std::shared_future<void> cancelledFuture = cancelled.get_future().share();
    std::atomic<bool> held{false};
  };
  const auto hold = std::make_shared<Hold>();
  exporter->onProgress = [hold](MediaTime time) {
    if (time.seconds() >= 1.0 && time.timescale != 48000 && !hold->held.exchange(true)) {
      hold->reached.set_value();
      hold->cancelledFuture.wait();
    }
  };
  CompletionCounter completion;
  exporter->start(completion.handler());
  hold->reached.get_future().wait();
  EXPECT_EQ(exporter->assetWriter->status(), AssetWriterStatus::Writing);
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_TRUE(cancelExport(*exporter));
  hold->cancelled.set_value();
  EXPECT_EQ(exporter->assetWriter->status(), AssetWriterStatus::Cancelled);
  EXPECT_EQ(exporter->assetReader->status(), AssetReaderStatus::Cancelled);
  EXPECT_FALSE(std::filesystem::exists(path));
  // Cancelling again, or after the end, does nothing.
  EXPECT_FALSE(cancelExport(*exporter));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace reelcraft
