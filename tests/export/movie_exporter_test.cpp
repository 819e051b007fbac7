#include "export/movie_exporter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <set>
#include <thread>

#include "export/export_identifiers.h"
#include "export_test_support.h"
#include "media/writer/output_settings.h"

namespace reelcraft {
namespace {

// Sound that plays for ten buffers, then cannot be read any further.
class FailingAudioOutput final : public AssetReaderOutput {
 public:
  explicit FailingAudioOutput(std::vector<AssetTrack> tracks)
      : AssetReaderOutput(std::move(tracks)) {}
  MediaType mediaType() const override { return MediaType::Audio; }

 protected:
  void prepare(const AssetPtr&) override {}
  std::shared_ptr<SampleBuffer> readNext() override {
    if (buffers_ == 10) throw ErrorException(Error{"TestDomain", 7, "the disk went away", ""});
    auto sample = std::make_shared<SampleBuffer>();
    sample->mediaType = MediaType::Audio;
    sample->audio.sampleRate = 48000;
    sample->audio.samples.assign(2 * 4800, 0.25f);
    sample->audio.time = MediaTime::make(buffers_++ * 4800, 48000);
    sample->presentationTime = sample->audio.time;
    sample->duration = sample->audio.duration();
    return sample;
  }

 private:
  int buffers_ = 0;
};

// The real video output, and failing sound in place of the real one.
class ReaderWithFailingAudio final : public AssetReaderProvider {
 public:
  using AssetReaderProvider::AssetReaderProvider;
  void build() override {
    audioOutput = std::make_shared<FailingAudioOutput>(
        std::vector<AssetTrack>{*asset->tracksWithMediaType(MediaType::Audio).at(0)});
    videoOutput = std::make_shared<AssetReaderVideoCompositionOutput>(
        std::vector<AssetTrack>{*asset->tracksWithMediaType(MediaType::Video).at(0)});
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

// Exports of the 3 s, 30 fps test movie with 48 kHz sound into a QuickTime movie with 160 × 120
// H.264 pictures and AAC sound.
class MovieExporterTest : public ::testing::Test {
 protected:
  std::shared_ptr<MovieExporter> exporterTo(
      const std::string& name, decltype(&MovieExporter::create) create = &MovieExporter::create) {
    path = testmedia::testMediaDirectory() + "/" + name;
    auto format = std::make_shared<MovieFileFormat>();
    format->type = file_type::kQuickTimeMovie;
    format->videoFormat->size = Size{160, 120};
    return create(movieOf("h264-aac-mov"), path, format);
  }

  std::string path;
  CompletionCounter completion;
};

TEST_F(MovieExporterTest, TwoStreamsFinishTheWriterOnceBothRunDry) {
  const auto exporter = exporterTo("two-streams.mov");
  std::atomic<int> progressCalls{0};
  std::atomic<bool> progressAfterCompletion{false};
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
  EXPECT_EQ(codecsIn(path), (std::set<std::string>{"aac", "h264"}));
}

TEST_F(MovieExporterTest, UnwritableDestinationFailsToStart) {
  const auto exporter = exporterTo("no-such-folder/out.mov");
  EXPECT_THROW(exporter->start(completion.handler()), ErrorException);
  ASSERT_NE(exporter->assetReader, nullptr);
  EXPECT_EQ(exporter->assetReader->status(), AssetReaderStatus::Unknown);
  EXPECT_EQ(exporter->assetWriter, nullptr);
  EXPECT_EQ(exporter->availableStreamCount, 0u);
}

TEST_F(MovieExporterTest, ReaderFailureMidwayIsReportedAndStillCompletes) {
  const auto exporter = exporterTo("reader-fails.mov", &ExporterWithFailingAudio::create);
  std::atomic<int> audioProgress{0};
  exporter->onProgress = [&](MediaTime time) {
    if (time.timescale == 48000) ++audioProgress;
  };
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

TEST_F(MovieExporterTest, CancelWhileWritingLeavesNoFile) {
  const auto exporter = exporterTo("cancelled.mov");
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
