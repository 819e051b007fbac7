#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "media/reader/asset_reader.h"
#include "media/reader/asset_reader_state.h"
#include "media/reader/sample_read_ahead.h"
#include "media/support/composition_reading.h"

namespace reelcraft {
namespace {

std::shared_ptr<SampleBuffer> sampleNumber(int64_t n) {
  auto sample = std::make_shared<SampleBuffer>();
  sample->presentationTime = MediaTime::make(n, 1);
  return sample;
}

void waitFor(const std::atomic<int>& counter, int value) {
  while (counter.load() < value) std::this_thread::yield();
}

TEST(AssetReaderReadAhead, HandsOutEverySampleInOrderThenTheEndOrTheFailureOnce) {
  for (const bool fails : {false, true}) {
    SCOPED_TRACE(fails ? "failing" : "ending");
    std::atomic<int> calls{0};
    SampleReadAhead ahead(
        [&]() -> std::shared_ptr<SampleBuffer> {
          const int n = calls++;
          if (n == 20 && fails) throw std::runtime_error("damaged at 20");
          return n < 20 ? sampleNumber(n) : nullptr;
        },
        3);
    for (int64_t n = 0; n < 20; ++n) {
      const auto sample = ahead.next();
      ASSERT_TRUE(sample) << n;
      EXPECT_EQ(sample->presentationTime, MediaTime::make(n, 1));
    }
    if (fails) {
      EXPECT_THROW(ahead.next(), std::runtime_error);
    }
    EXPECT_FALSE(ahead.next());
    EXPECT_FALSE(ahead.next());
    EXPECT_EQ(calls.load(), 21) << "nothing is read after the end or a failure";
  }
}

TEST(AssetReaderReadAhead, ReadsNoMoreThanItsDepthAheadOfTheTaker) {
  constexpr int kDepth = 4;
  std::atomic<int> produced{0}, taken{0}, mostAhead{0};
  SampleReadAhead ahead(
      [&]() -> std::shared_ptr<SampleBuffer> {
        mostAhead = std::max(mostAhead.load(), produced.load() - taken.load());
        if (produced.load() == 50) return nullptr;
        return sampleNumber(produced++);
      },
      kDepth);
  waitFor(produced, kDepth);  // filled up before anything is taken
  while (ahead.next()) ++taken;
  EXPECT_EQ(taken.load(), 50);
  EXPECT_LE(mostAhead.load(), kDepth);
}

TEST(AssetReaderReadAhead, StoppingWakesAWaitingTakerAndEndsTheWorker) {
  std::atomic<int> calls{0};
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  auto ahead = std::make_unique<SampleReadAhead>(
      [&]() -> std::shared_ptr<SampleBuffer> {
        if (calls++ == 1) released.wait();  // a slow sample, still being read when stopped
        return sampleNumber(calls.load());
      },
      2);
  ASSERT_TRUE(ahead->next());

  std::shared_ptr<SampleBuffer> afterStop = sampleNumber(-1);
  std::thread taker([&] { afterStop = ahead->next(); });
  waitFor(calls, 2);
  ahead->stop();
  taker.join();
  EXPECT_FALSE(afterStop) << "a taker waiting for a sample gets the end";
  EXPECT_FALSE(ahead->next());

  release.set_value();
  ahead.reset();  // waits for the worker
  EXPECT_EQ(calls.load(), 2) << "the worker reads nothing after the sample it was reading";

  EXPECT_THROW(SampleReadAhead(nullptr, 2), std::invalid_argument);
  EXPECT_THROW(SampleReadAhead([] { return sampleNumber(0); }, 0), std::invalid_argument);
}

TEST(AssetReaderReadAhead, OutputsDroppedMidReadStopTheirWorkers) {
  const auto asset = reading::openVariant("h264-aac-mp4");
  auto reader = AssetReader::create(asset);
  auto video = std::make_shared<AssetReaderVideoCompositionOutput>(
      reading::tracksOf(*asset, MediaType::Video));
  auto audio =
      std::make_shared<AssetReaderAudioMixOutput>(reading::tracksOf(*asset, MediaType::Audio));
  reader->addOutput(video);
  reader->addOutput(audio);
  ASSERT_TRUE(reader->startReading());
  ASSERT_TRUE(video->copyNextSampleBuffer());
  ASSERT_TRUE(audio->copyNextSampleBuffer());

  // Neither cancelled nor read to the end: the workers are busy or waiting for room.
  const std::weak_ptr<AssetReaderOutput> watchedVideo = video, watchedAudio = audio;
  EXPECT_EQ(reader->status(), AssetReaderStatus::Reading);
  reader.reset();
  video.reset();
  audio.reset();
  EXPECT_TRUE(watchedVideo.expired());
  EXPECT_TRUE(watchedAudio.expired());
}

TEST(AssetReaderState, RunsEachEndHandlerOnceWhenReadingEndsWhicheverWay) {
  enum class Ending { Cancel, Fail, Complete };
  for (const Ending ending : {Ending::Cancel, Ending::Fail, Ending::Complete}) {
    AssetReaderState state;
    int first = 0, second = 0;
    state.whenEnded([&] { ++first; });
    ASSERT_TRUE(state.start(2));
    state.whenEnded([&] { ++second; });
    state.outputFinished();
    EXPECT_EQ(first + second, 0) << "still reading";
    if (ending == Ending::Cancel) state.cancel();
    if (ending == Ending::Fail) state.fail(Error{});
    if (ending == Ending::Complete) {
      state.outputFinished();
      EXPECT_EQ(state.status(), AssetReaderStatus::Completed);
    }
    state.cancel();
    state.fail(Error{});
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);

    int late = 0;
    state.whenEnded([&] { ++late; });
    EXPECT_EQ(late, 1) << "a handler added after the end runs at once";
  }

  AssetReaderState nothingToRead;
  int ran = 0;
  nothingToRead.whenEnded([&] { ++ran; });
  ASSERT_TRUE(nothingToRead.start(0));
  EXPECT_EQ(nothingToRead.status(), AssetReaderStatus::Completed);
  EXPECT_EQ(ran, 1);
}

}  // namespace
}  // namespace reelcraft
