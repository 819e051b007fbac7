// Reading movies whose compressed data is damaged in places: the reader conceals what it can
// and goes on, as players do.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "media/support/composition_reading.h"
#include "media/reader/asset_reader.h"
#include "mediagen/frame_code.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

// Where the compressed bytes of the stream's packets lie in the file, in storage order.
struct PacketPlace {
  int64_t position = 0;
  int size = 0;
};

std::vector<PacketPlace> packetPlaces(const std::string& path, AVMediaType type) {
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) {
    throw std::runtime_error("cannot open " + path);
  }
  avformat_find_stream_info(format, nullptr);
  const int stream = av_find_best_stream(format, type, -1, -1, nullptr, 0);
  std::vector<PacketPlace> places;
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(format, packet) >= 0) {
    if (packet->stream_index == stream) places.push_back({packet->pos, packet->size});
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&format);
  return places;
}

// Overwrites the middle of each chosen packet (keeping its first bytes, so the container and
// the NAL length fields stay intact) with a pattern that is no valid coded data.
void damagePackets(const std::string& path, const std::vector<PacketPlace>& packets) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  for (const PacketPlace& packet : packets) {
    if (packet.size < 16) continue;
    file.seekp(packet.position + 8);
    for (int i = 8; i < packet.size - 2; ++i) file.put(static_cast<char>((i * 77) ^ 0x5a));
  }
  if (!file) throw std::runtime_error("cannot damage " + path);
}

std::string damagedCopy(const std::string& name) {
  const std::string path = testmedia::testMediaDirectory() + "/damaged-" + name;
  std::filesystem::copy_file(testmedia::testMediaPath("h264-aac-mov"), path,
                             std::filesystem::copy_options::overwrite_existing);
  return path;
}

std::vector<AssetTrack> tracksOf(const Asset& asset, MediaType type) {
  std::vector<AssetTrack> tracks;
  for (const AssetTrack* track : asset.tracksWithMediaType(type)) tracks.push_back(*track);
  return tracks;
}

TEST(DamagedMedia, DamagedPicturesAreConcealedAndReadingGoesOn) {
  const std::string path = damagedCopy("video.mov");
  const auto places = packetPlaces(path, AVMEDIA_TYPE_VIDEO);
  ASSERT_EQ(places.size(), 90u);
  // Two packets in the second GOP (frames 25-49), stored in decoding order.
  damagePackets(path, {places[30], places[31]});

  const auto asset = FileAsset::open(path);
  auto reader = AssetReader::create(asset);
  auto output =
      std::make_shared<AssetReaderVideoCompositionOutput>(tracksOf(*asset, MediaType::Video));
  reader->addOutput(output);
  ASSERT_TRUE(reader->startReading());
  std::vector<int> indices;
  while (auto sample = output->copyNextSampleBuffer()) {
    const auto code = testmedia::readFrameCode(*sample->videoFrame);
    indices.push_back(code ? code->index : -1);
  }
  EXPECT_EQ(reader->status(), AssetReaderStatus::Completed)
      << (reader->error() ? reader->error()->description : "");
  ASSERT_EQ(indices.size(), 90u);
  // Everything before the damaged GOP and after it is intact; within it pictures may be
  // concealed (a damaged picture may repeat the one it refers to), but none goes backwards.
  for (int i = 0; i < 25; ++i) EXPECT_EQ(indices[i], i);
  for (int i = 50; i < 90; ++i) EXPECT_EQ(indices[i], i);
  int previous = 24;
  for (int i = 25; i < 50; ++i) {
    if (indices[i] < 0) continue;
    EXPECT_GE(indices[i], previous);
    previous = indices[i];
  }
}

TEST(DamagedMedia, DamagedSoundIsReadToTheEnd) {
  const std::string path = damagedCopy("audio.mov");
  const auto places = packetPlaces(path, AVMEDIA_TYPE_AUDIO);
  ASSERT_GT(places.size(), 100u);
  damagePackets(path, {places[40], places[41], places[42]});

  const auto asset = FileAsset::open(path);
  auto reader = AssetReader::create(asset);
  auto output = std::make_shared<AssetReaderAudioMixOutput>(tracksOf(*asset, MediaType::Audio));
  reader->addOutput(output);
  ASSERT_TRUE(reader->startReading());
  int64_t frames = 0;
  while (auto sample = output->copyNextSampleBuffer()) frames += sample->audio.frameCount();
  EXPECT_EQ(reader->status(), AssetReaderStatus::Completed);
  EXPECT_EQ(frames, 3 * 48000) << "damaged packets keep their place in time";
}

}  // namespace
}  // namespace reelcraft
