#pragma once

// Helpers for tests that decode compositions made of generated movies.

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "media/model/composition.h"
#include "media/model/file_asset.h"
#include "media/base/media_time.h"
#include "mediagen/movie_recipe.h"
#include "mediagen/movie_writer.h"
#include "mediagen/test_media.h"

namespace reelcraft::reading {

inline std::shared_ptr<const FileAsset> openVariant(const std::string& name) {
  return FileAsset::open(testmedia::testMediaPath(name));
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

inline void append(MutableComposition& composition, const Asset& asset, TimeRange range) {
  composition.insertTimeRange(range, asset, composition.duration());
}

}  // namespace reelcraft::reading
