// Reading movies whose compressed data is damaged in places: the reader conceals what it can
// and goes on, as players do.

#include <gtest/gtest.h>

#include <fstream>

#include "media/reader/asset_reader.h"
#include "media/support/composition_reading.h"
#include "media/support/picture_checks.h"
#include "media/support/stored_packets.h"

namespace reelcraft {
namespace {

// A copy of the test movie with the packets of `type` at the given places (in storage order)
// damaged: the middle of each (keeping its first bytes, so the container and the NAL length
// fields stay intact) is overwritten with a pattern that is no valid coded data.
std::string damagedCopy(const std::string& name, AVMediaType type, std::vector<size_t> places) {
  const std::string path = reading::disposableCopy("h264-aac-mov", "damaged-" + name);
  std::vector<std::pair<int64_t, int>> packets;
  stored::forEachPacket(
      path, type, [&](const AVPacket& packet) { packets.emplace_back(packet.pos, packet.size); });
  EXPECT_GT(packets.size(), 80u);
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  for (size_t place : places) {
    const auto [position, size] = packets.at(place);
    file.seekp(position + 8);
    for (int i = 8; i < size - 2; ++i) file.put(static_cast<char>((i * 77) ^ 0x5a));
  }
  EXPECT_TRUE(file.good());
  return path;
}

// Reads `output` of a reader of the movie at `path` to the end; the reader must complete.
template <class Output>
std::vector<std::shared_ptr<SampleBuffer>> readToTheEnd(const std::string& path, MediaType type) {
  const auto asset = FileAsset::open(path);
  auto reader = AssetReader::create(asset);
  auto output = std::make_shared<Output>(reading::tracksOf(*asset, type));
  reader->addOutput(output);
  EXPECT_TRUE(reader->startReading());
  std::vector<std::shared_ptr<SampleBuffer>> samples;
  while (auto sample = output->copyNextSampleBuffer()) samples.push_back(sample);
  EXPECT_EQ(reader->status(), AssetReaderStatus::Completed)
      << (reader->error() ? reader->error()->description : "");
  return samples;
}

TEST(DamagedMedia, DamagedPicturesAreConcealedAndReadingGoesOn) {
  // Two packets in the second GOP (frames 25-49), stored in decoding order.
  const auto samples = readToTheEnd<AssetReaderVideoCompositionOutput>(
      damagedCopy("video.mov", AVMEDIA_TYPE_VIDEO, {30, 31}), MediaType::Video);
  ASSERT_EQ(samples.size(), 90u);
  // Everything before the damaged GOP and after it is intact; within it pictures may be
  // concealed (a damaged picture may repeat the one it refers to), but none goes backwards.
  int previous = 24;
  for (int i = 0; i < 90; ++i) {
    const int index = pictures::frameIndexOf(*samples[i]->videoFrame);
    if (i < 25 || i >= 50) {
      EXPECT_EQ(index, i);
    } else if (index >= 0) {
      EXPECT_GE(index, previous);
      previous = index;
    }
  }
}

TEST(DamagedMedia, DamagedSoundIsReadToTheEnd) {
  int64_t frames = 0;
  for (const auto& sample : readToTheEnd<AssetReaderAudioMixOutput>(
           damagedCopy("audio.mov", AVMEDIA_TYPE_AUDIO, {40, 41, 42}), MediaType::Audio)) {
    frames += sample->audio.frameCount();
  }
  EXPECT_EQ(frames, 3 * 48000) << "damaged packets keep their place in time";
}

}  // namespace
}  // namespace reelcraft
