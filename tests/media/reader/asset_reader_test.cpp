#include "media/reader/asset_reader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "media/base/media_error.h"
#include "media/model/stream_time.h"
#include "media/support/composition_reading.h"
#include "media/support/picture_checks.h"

namespace reelcraft {
namespace {

using reading::append;
using reading::compositionOf;
using reading::openVariant;
using reading::secondsRange;

// A reader of `asset` with an output for its sound and one for its pictures.
struct Reading {
  explicit Reading(AssetPtr asset)
      : reader(AssetReader::create(asset)),
        audio(std::make_shared<AssetReaderAudioMixOutput>(
            reading::tracksOf(*asset, MediaType::Audio))),
        video(std::make_shared<AssetReaderVideoCompositionOutput>(
            reading::tracksOf(*asset, MediaType::Video))) {
    reader->addOutput(audio);
    reader->addOutput(video);
  }
  std::shared_ptr<AssetReader> reader;
  std::shared_ptr<AssetReaderAudioMixOutput> audio;
  std::shared_ptr<AssetReaderVideoCompositionOutput> video;
};

std::vector<std::shared_ptr<SampleBuffer>> drain(AssetReaderOutput& output) {
  std::vector<std::shared_ptr<SampleBuffer>> samples;
  while (auto sample = output.copyNextSampleBuffer()) samples.push_back(std::move(sample));
  return samples;
}

// An asset keeps reading the file it was opened from even when its name is removed, so a
// source that can no longer be read is one emptied in place (as by another program).
void emptyInPlace(const Asset& asset) {
  std::filesystem::resize_file(asset.tracks().front().segments.front().source->path, 0);
}

void expectUnreadable(const std::optional<Error>& error) {
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain, kMediaErrorDomain);
  EXPECT_NE(error->code, static_cast<int>(MediaErrorCode::FileNotFound));
  EXPECT_FALSE(error->description.empty());
}

TEST(AssetReader, ReadsEveryOutputOnItsOwnThreadToTheEndAndCompletes) {
  const auto asset = openVariant("h264-aac-mov");
  auto composition = compositionOf(*asset, secondsRange(0.5, 1.0));
  append(*composition, *asset, secondsRange(2.0, 0.5));
  Reading reading(composition->copy());
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Unknown);
  EXPECT_FALSE(reading.audio->copyNextSampleBuffer()) << "nothing before reading starts";
  ASSERT_TRUE(reading.reader->startReading());
  EXPECT_FALSE(reading.reader->startReading()) << "a reader starts once";
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Reading);

  std::vector<std::shared_ptr<SampleBuffer>> sound, pictures;
  std::thread audioPump([&] { sound = drain(*reading.audio); });
  std::thread videoPump([&] { pictures = drain(*reading.video); });
  audioPump.join();
  videoPump.join();
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Completed);
  EXPECT_FALSE(reading.reader->error());
  EXPECT_FALSE(reading.audio->copyNextSampleBuffer());

  int64_t frames = 0;
  for (const auto& sample : sound) {
    ASSERT_EQ(sample->mediaType, MediaType::Audio);
    EXPECT_EQ(sample->presentationTime, MediaTime::make(frames, 48000));
    EXPECT_EQ(sample->duration, MediaTime::make(sample->audio.frameCount(), 48000));
    frames += sample->audio.frameCount();
  }
  EXPECT_EQ(frames, 72'000);
  // 45 pictures at 30 fps: source frames 15...44, then 60...74.
  ASSERT_EQ(pictures.size(), 45u);
  for (int i = 0; i < 45; ++i) {
    ASSERT_EQ(pictures[i]->mediaType, MediaType::Video);
    EXPECT_EQ(pictures[i]->presentationTime, MediaTime::make(i, 30));
    EXPECT_EQ(pictures::frameIndexOf(*pictures[i]->videoFrame), i < 30 ? 15 + i : 30 + i) << i;
  }
}

TEST(AssetReader, CompletesOnlyWhenTheLastOutputRunsDry) {
  Reading reading(openVariant("h264-aac-mp4"));
  ASSERT_TRUE(reading.reader->startReading());
  EXPECT_EQ(drain(*reading.audio).size(), 36u);  // 3 s in buffers of 4096 frames
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Reading);
  EXPECT_EQ(drain(*reading.video).size(), 90u);
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Completed);
}

TEST(AssetReader, CancellingFromAnotherThreadStopsEveryOutput) {
  Reading reading(openVariant("h264-aac-mov"));
  ASSERT_TRUE(reading.reader->startReading());
  std::atomic<int> delivered{0};
  auto pump = [&](AssetReaderOutput& output) {
    while (output.copyNextSampleBuffer()) ++delivered;
  };
  std::thread audioPump([&] { pump(*reading.audio); });
  std::thread videoPump([&] { pump(*reading.video); });
  std::thread canceller([&] {
    while (delivered < 4) std::this_thread::yield();
    reading.reader->cancelReading();
  });
  canceller.join();
  audioPump.join();
  videoPump.join();

  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Cancelled);
  EXPECT_FALSE(reading.reader->error());
  EXPECT_LT(delivered.load(), 36 + 90);
  EXPECT_FALSE(reading.audio->copyNextSampleBuffer());
  EXPECT_FALSE(reading.video->copyNextSampleBuffer());
  reading.reader->cancelReading();
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Cancelled);

  // Cancelled before the start, a reader never reads.
  Reading early(openVariant("h264-aac-mov"));
  early.reader->cancelReading();
  EXPECT_FALSE(early.reader->startReading());
  EXPECT_EQ(early.reader->status(), AssetReaderStatus::Cancelled);
}

TEST(AssetReaderFailure, ASourceEmptiedBeforeTheReaderIsMadeOrStartsIsRefused) {
  const auto gone = FileAsset::open(reading::disposableCopy("h264-aac-mov", "gone-before.mov"));
  emptyInPlace(*gone);
  expectUnreadable(reading::errorOf([&] { AssetReader::create(gone); }));

  const auto asset = FileAsset::open(reading::disposableCopy("h264-aac-mov", "gone-at-start.mov"));
  Reading reading(asset);
  emptyInPlace(*asset);
  EXPECT_FALSE(reading.reader->startReading());
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Failed);
  expectUnreadable(reading.reader->error());
  EXPECT_FALSE(reading.audio->copyNextSampleBuffer());
}

TEST(AssetReaderFailure, ASourceEmptiedWhileReadingFailsTheReaderWithItsError) {
  const auto second =
      FileAsset::open(reading::disposableCopy("h264-aac-mp4", "gone-while-reading.mp4"));
  auto composition = compositionOf(*openVariant("h264-aac-mov"), secondsRange(0, 1));
  append(*composition, *second, secondsRange(0, 1));
  Reading reading(composition->copy());
  ASSERT_TRUE(reading.reader->startReading());
  ASSERT_TRUE(reading.audio->copyNextSampleBuffer());
  ASSERT_TRUE(reading.video->copyNextSampleBuffer());
  emptyInPlace(*second);

  // Sound and pictures from the first file still come; the second file's do not.
  const auto sound = drain(*reading.audio);
  EXPECT_FALSE(sound.empty());
  EXPECT_LT(sound.size(), 23u);
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Failed);
  expectUnreadable(reading.reader->error());
  EXPECT_FALSE(reading.video->copyNextSampleBuffer());
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Failed);
}

TEST(AssetReaderOutputs, BelongToOneReaderOfTheirOwnAssetBeforeItStarts) {
  const auto asset = openVariant("h264-aac-mov");
  const auto reader = AssetReader::create(asset);
  const auto audioOf = [](const Asset& of) {
    return std::make_shared<AssetReaderAudioMixOutput>(reading::tracksOf(of, MediaType::Audio));
  };
  EXPECT_FALSE(reader->startReading()) << "a reader without outputs fails to start";
  EXPECT_EQ(reader->status(), AssetReaderStatus::Failed);
  EXPECT_TRUE(reader->error());

  const auto other = openVariant("h264-aac-mp4");
  Reading reading(asset);
  EXPECT_FALSE(reading.reader->canAddOutput(nullptr));
  EXPECT_FALSE(reading.reader->canAddOutput(audioOf(*other))) << "tracks of another asset";
  EXPECT_THROW(reading.reader->addOutput(audioOf(*other)), std::invalid_argument);
  EXPECT_FALSE(reading.reader->canAddOutput(reading.audio)) << "added twice";
  EXPECT_FALSE(AssetReader::create(asset)->canAddOutput(reading.audio))
      << "added to a second reader";
  ASSERT_TRUE(reading.reader->startReading());
  EXPECT_FALSE(reading.reader->canAddOutput(audioOf(*asset))) << "added after the start";

  EXPECT_THROW(AssetReaderAudioMixOutput(reading::tracksOf(*asset, MediaType::Video)),
               std::invalid_argument);
  EXPECT_THROW(AssetReaderAudioMixOutput({}, AudioSettings{0}), std::invalid_argument);
}

TEST(AssetReaderOutputs, AudioReadsOnlyTheTracksGivenOverTheWholeAsset) {
  // The video-only movie's picture runs 2 s; its (absent) sound is silence for as long.
  Reading reading(openVariant("video-only-mp4"));
  ASSERT_TRUE(reading.reader->startReading());
  int64_t frames = 0;
  for (const auto& sample : drain(*reading.audio)) {
    for (float value : sample->audio.samples) ASSERT_EQ(value, 0.0f);
    frames += sample->audio.frameCount();
  }
  EXPECT_EQ(frames, samplePosition(reading.reader->asset()->duration(), 48000));
  drain(*reading.video);
  EXPECT_EQ(reading.reader->status(), AssetReaderStatus::Completed);
}

}  // namespace
}  // namespace reelcraft
