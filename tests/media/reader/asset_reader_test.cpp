#include "media/reader/asset_reader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <vector>

#include "media/support/composition_reading.h"
#include "media/base/media_error.h"
#include "media/model/stream_time.h"
#include "mediagen/frame_code.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

using reading::append;
using reading::compositionOf;
using reading::openVariant;
using reading::secondsRange;

std::shared_ptr<AssetReaderAudioMixOutput> audioOutputFor(const Asset& asset) {
  std::vector<AssetTrack> tracks;
  for (const AssetTrack* track : asset.tracksWithMediaType(MediaType::Audio)) {
    tracks.push_back(*track);
  }
  return std::make_shared<AssetReaderAudioMixOutput>(tracks);
}

std::shared_ptr<AssetReaderVideoCompositionOutput> videoOutputFor(const Asset& asset) {
  std::vector<AssetTrack> tracks;
  for (const AssetTrack* track : asset.tracksWithMediaType(MediaType::Video)) {
    tracks.push_back(*track);
  }
  auto output = std::make_shared<AssetReaderVideoCompositionOutput>(tracks);
  output->setVideoComposition(VideoComposition::withPropertiesOfAsset(asset));
  return output;
}

std::vector<std::shared_ptr<SampleBuffer>> drain(AssetReaderOutput& output) {
  std::vector<std::shared_ptr<SampleBuffer>> samples;
  while (auto sample = output.copyNextSampleBuffer()) samples.push_back(std::move(sample));
  return samples;
}

// A copy of a generated movie that a test may delete.
std::string disposableCopy(const std::string& variant, const std::string& name) {
  const std::string path = testmedia::testMediaDirectory() + "/" + name;
  std::filesystem::copy_file(testmedia::testMediaPath(variant), path,
                             std::filesystem::copy_options::overwrite_existing);
  return path;
}

// An asset keeps reading the file it was opened from even when its name is removed, so a
// source that can no longer be read is one emptied in place (as by another program).
void emptyInPlace(const std::string& path) {
  std::filesystem::resize_file(path, 0);
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
  const std::shared_ptr<const Composition> movie = composition->copy();

  const auto reader = AssetReader::create(movie);
  const auto audio = audioOutputFor(*movie);
  const auto video = videoOutputFor(*movie);
  ASSERT_TRUE(reader->canAddOutput(audio));
  reader->addOutput(audio);
  ASSERT_TRUE(reader->canAddOutput(video));
  reader->addOutput(video);
  EXPECT_EQ(reader->status(), AssetReaderStatus::Unknown);
  EXPECT_FALSE(audio->copyNextSampleBuffer()) << "nothing before reading starts";
  ASSERT_TRUE(reader->startReading());
  EXPECT_EQ(reader->status(), AssetReaderStatus::Reading);

  std::vector<std::shared_ptr<SampleBuffer>> sound, pictures;
  std::thread audioPump([&] { sound = drain(*audio); });
  std::thread videoPump([&] { pictures = drain(*video); });
  audioPump.join();
  videoPump.join();
  EXPECT_EQ(reader->status(), AssetReaderStatus::Completed);
  EXPECT_FALSE(reader->error());
  EXPECT_FALSE(audio->copyNextSampleBuffer());

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
  for (size_t i = 0; i < pictures.size(); ++i) {
    ASSERT_EQ(pictures[i]->mediaType, MediaType::Video);
    EXPECT_EQ(pictures[i]->presentationTime, MediaTime::make(static_cast<int64_t>(i), 30));
    const auto code = testmedia::readFrameCode(*pictures[i]->videoFrame);
    ASSERT_TRUE(code) << i;
    EXPECT_EQ(code->index, i < 30 ? 15 + static_cast<int>(i) : 30 + static_cast<int>(i)) << i;
  }
}

TEST(AssetReader, CompletesOnlyWhenTheLastOutputRunsDry) {
  const auto asset = openVariant("h264-aac-mp4");
  const auto reader = AssetReader::create(asset);
  const auto audio = audioOutputFor(*asset);
  const auto video = videoOutputFor(*asset);
  reader->addOutput(audio);
  reader->addOutput(video);
  ASSERT_TRUE(reader->startReading());
  EXPECT_FALSE(reader->startReading()) << "a reader starts once";
  EXPECT_EQ(drain(*audio).size(), 36u);  // 3 s in buffers of 4096 frames
  EXPECT_EQ(reader->status(), AssetReaderStatus::Reading);
  EXPECT_EQ(drain(*video).size(), 90u);
  EXPECT_EQ(reader->status(), AssetReaderStatus::Completed);
}

TEST(AssetReader, CancellingFromAnotherThreadStopsEveryOutput) {
  const auto asset = openVariant("h264-aac-mov");
  const auto reader = AssetReader::create(asset);
  const auto audio = audioOutputFor(*asset);
  const auto video = videoOutputFor(*asset);
  reader->addOutput(audio);
  reader->addOutput(video);
  ASSERT_TRUE(reader->startReading());

  std::atomic<int> delivered{0};
  auto pump = [&](AssetReaderOutput& output) {
    int count = 0;
    while (output.copyNextSampleBuffer()) {
      ++count;
      ++delivered;
    }
    return count;
  };
  int audioCount = 0, videoCount = 0;
  std::thread audioPump([&] { audioCount = pump(*audio); });
  std::thread videoPump([&] { videoCount = pump(*video); });
  std::thread canceller([&] {
    while (delivered < 4) std::this_thread::yield();
    reader->cancelReading();
  });
  canceller.join();
  audioPump.join();
  videoPump.join();

  EXPECT_EQ(reader->status(), AssetReaderStatus::Cancelled);
  EXPECT_FALSE(reader->error());
  EXPECT_LT(audioCount + videoCount, 36 + 90);
  EXPECT_FALSE(audio->copyNextSampleBuffer());
  EXPECT_FALSE(video->copyNextSampleBuffer());
  reader->cancelReading();
  EXPECT_EQ(reader->status(), AssetReaderStatus::Cancelled);
}

TEST(AssetReader, CancellingBeforeTheStartMeansNoReading) {
  const auto asset = openVariant("h264-aac-mov");
  const auto reader = AssetReader::create(asset);
  reader->addOutput(audioOutputFor(*asset));
  reader->cancelReading();
  EXPECT_EQ(reader->status(), AssetReaderStatus::Cancelled);
  EXPECT_FALSE(reader->startReading());
  EXPECT_EQ(reader->status(), AssetReaderStatus::Cancelled);
}

TEST(AssetReaderFailure, ASourceEmptiedBeforeTheReaderIsMadeIsRefused) {
  const auto asset = FileAsset::open(disposableCopy("h264-aac-mov", "gone-before.mov"));
  emptyInPlace(asset->path());
  try {
    AssetReader::create(asset);
    FAIL() << "a reader was made for an emptied file";
  } catch (const ErrorException& failure) {
    expectUnreadable(failure.error());
  }
}

TEST(AssetReaderFailure, ASourceEmptiedBeforeStartingFailsTheStart) {
  const auto asset = FileAsset::open(disposableCopy("h264-aac-mov", "gone-at-start.mov"));
  const auto reader = AssetReader::create(asset);
  const auto audio = audioOutputFor(*asset);
  reader->addOutput(audio);
  emptyInPlace(asset->path());
  EXPECT_FALSE(reader->startReading());
  EXPECT_EQ(reader->status(), AssetReaderStatus::Failed);
  expectUnreadable(reader->error());
  EXPECT_FALSE(audio->copyNextSampleBuffer());
}

TEST(AssetReaderFailure, ASourceEmptiedWhileReadingFailsTheReaderWithItsError) {
  const auto first = openVariant("h264-aac-mov");
  const auto second = FileAsset::open(disposableCopy("h264-aac-mp4", "gone-while-reading.mp4"));
  auto composition = compositionOf(*first, secondsRange(0, 1));
  append(*composition, *second, secondsRange(0, 1));
  const std::shared_ptr<const Composition> movie = composition->copy();
  const auto reader = AssetReader::create(movie);
  const auto audio = audioOutputFor(*movie);
  const auto video = videoOutputFor(*movie);
  reader->addOutput(audio);
  reader->addOutput(video);
  ASSERT_TRUE(reader->startReading());
  ASSERT_TRUE(audio->copyNextSampleBuffer());
  ASSERT_TRUE(video->copyNextSampleBuffer());
  emptyInPlace(second->path());

  // Sound and pictures from the first file still come; the second file's do not.
  const auto sound = drain(*audio);
  EXPECT_FALSE(sound.empty());
  EXPECT_LT(sound.size(), 23u);
  EXPECT_EQ(reader->status(), AssetReaderStatus::Failed);
  expectUnreadable(reader->error());
  EXPECT_FALSE(video->copyNextSampleBuffer());
  EXPECT_EQ(reader->status(), AssetReaderStatus::Failed);
}

TEST(AssetReaderOutputs, BelongToOneReaderOfTheirOwnAssetBeforeItStarts) {
  const auto asset = openVariant("h264-aac-mov");
  const auto other = openVariant("h264-aac-mp4");
  const auto reader = AssetReader::create(asset);
  EXPECT_FALSE(reader->canAddOutput(nullptr));
  EXPECT_FALSE(reader->canAddOutput(audioOutputFor(*other))) << "tracks of another asset";
  EXPECT_THROW(reader->addOutput(audioOutputFor(*other)), std::invalid_argument);

  const auto audio = audioOutputFor(*asset);
  reader->addOutput(audio);
  EXPECT_FALSE(reader->canAddOutput(audio)) << "added twice";
  EXPECT_FALSE(AssetReader::create(asset)->canAddOutput(audio)) << "added to a second reader";
  ASSERT_TRUE(reader->startReading());
  EXPECT_FALSE(reader->canAddOutput(videoOutputFor(*asset))) << "added after the start";

  const AssetTrack& videoTrack = *asset->tracksWithMediaType(MediaType::Video)[0];
  EXPECT_THROW(AssetReaderAudioMixOutput({videoTrack}), std::invalid_argument);
  EXPECT_THROW(AssetReaderAudioMixOutput({}, AudioSettings{0}), std::invalid_argument);
}

TEST(AssetReaderOutputs, AReaderWithoutOutputsFailsToStart) {
  const auto reader = AssetReader::create(openVariant("h264-aac-mov"));
  EXPECT_FALSE(reader->startReading());
  EXPECT_EQ(reader->status(), AssetReaderStatus::Failed);
  EXPECT_TRUE(reader->error());
}

TEST(AssetReaderOutputs, AudioReadsOnlyTheTracksGivenOverTheWholeAsset) {
  // The video-only movie's picture runs 2 s; its (absent) sound is silence for as long.
  const auto asset = openVariant("video-only-mp4");
  const auto reader = AssetReader::create(asset);
  const auto audio = audioOutputFor(*asset);
  reader->addOutput(audio);
  ASSERT_TRUE(reader->startReading());
  int64_t frames = 0;
  for (const auto& sample : drain(*audio)) {
    for (float value : sample->audio.samples) ASSERT_EQ(value, 0.0f);
    frames += sample->audio.frameCount();
  }
  EXPECT_EQ(frames, samplePosition(asset->duration(), 48000));
  EXPECT_EQ(reader->status(), AssetReaderStatus::Completed);
}

}  // namespace
}  // namespace reelcraft
