#pragma once

// Helpers for tests that read compositions made of generated movies.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <numbers>
#include <string>
#include <vector>

#include "media/base/error.h"
#include "media/base/media_time.h"
#include "media/model/composition.h"
#include "media/model/file_asset.h"
#include "mediagen/movie_recipe.h"
#include "mediagen/movie_writer.h"
#include "mediagen/test_media.h"

namespace reelcraft::reading {

inline std::shared_ptr<const FileAsset> openVariant(const std::string& name) {
  return FileAsset::open(testmedia::testMediaPath(name));
}

// A copy of a generated movie, named `name`, that a test may change or remove.
inline std::string disposableCopy(const std::string& variant, const std::string& name) {
  const std::string path = testmedia::testMediaDirectory() + "/" + name;
  std::filesystem::copy_file(testmedia::testMediaPath(variant), path,
                             std::filesystem::copy_options::overwrite_existing);
  return path;
}

// A movie written from `recipe` into the test program's media directory, once per name.
inline std::string writtenMovie(const std::string& fileName, const testmedia::MovieRecipe& recipe) {
  static std::mutex mutex;
  static std::map<std::string, std::string> written;
  std::lock_guard lock(mutex);
  if (auto found = written.find(fileName); found != written.end()) return found->second;
  const std::string path = testmedia::testMediaDirectory() + "/" + fileName;
  testmedia::writeMovie(path, recipe);
  written.emplace(fileName, path);
  return path;
}

// A sound-only movie of position signal.
inline std::string signalSoundMovie(int sampleRate, int channels, double seconds,
                                    const std::string& encoder = "aac") {
  testmedia::AudioTrackRecipe audio;
  audio.encoder = encoder;
  audio.sampleRate = sampleRate;
  audio.channels = channels;
  audio.sampleCount = static_cast<int64_t>(seconds * sampleRate);
  audio.bitRate = 64'000 * channels;
  testmedia::MovieRecipe recipe;
  recipe.audioTracks = {audio};
  return writtenMovie("signal-" + std::to_string(sampleRate) + "-" + std::to_string(channels) +
                          "-" + encoder + ".mov",
                      recipe);
}

// `count` frames at `rate` frames per second.
inline MediaTime frames(int64_t count, testmedia::Rational rate = {30, 1}) {
  return MediaTime::make(count * rate.den, rate.num);
}

inline TimeRange frameRange(int64_t first, int64_t count, testmedia::Rational rate = {30, 1}) {
  return TimeRange::make(frames(first, rate), frames(count, rate));
}

inline TimeRange secondsRange(double start, double duration) {
  return TimeRange::make(MediaTime::fromSeconds(start, 48000),
                         MediaTime::fromSeconds(duration, 48000));
}

inline std::shared_ptr<MutableComposition> compositionOf(const Asset& asset, TimeRange range) {
  auto composition = MutableComposition::create();
  composition->insertTimeRange(range, asset, MediaTime::zero());
  return composition;
}

inline std::shared_ptr<MutableComposition> wholeOf(const Asset& asset) {
  return compositionOf(asset, TimeRange::make(MediaTime::zero(), asset.duration()));
}

inline void append(MutableComposition& composition, const Asset& asset, TimeRange range) {
  composition.insertTimeRange(range, asset, composition.duration());
}

inline std::vector<AssetTrack> tracksOf(const Asset& asset, MediaType type) {
  std::vector<AssetTrack> tracks;
  for (const AssetTrack* track : asset.tracksWithMediaType(type)) tracks.push_back(*track);
  return tracks;
}

// Turns a composition as the movie's rotate edit does: the natural size swaps and every video
// track's transform takes a quarter turn on top of the one it has, clockwise for a right turn.
inline void rotate(MutableComposition& composition, bool left) {
  const Size size = composition.naturalSize();
  composition.setNaturalSize(Size{size.height, size.width});
  for (const AssetTrack& track : std::vector<AssetTrack>(composition.tracks())) {
    if (track.mediaType != MediaType::Video) continue;
    composition.setPreferredTransform(
        track.trackID, track.preferredTransform.rotated((left ? -1 : 1) * std::numbers::pi / 2));
  }
}

// The error that `action` throws; a test failure when it throws none.
template <class Action>
Error errorOf(Action&& action) {
  try {
    action();
  } catch (const ErrorException& e) {
    return e.error();
  }
  ADD_FAILURE() << "no ErrorException";
  return {};
}

}  // namespace reelcraft::reading
