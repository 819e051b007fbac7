#pragma once

// A reference model of what a composition shows, kept apart from the composition's own
// bookkeeping: each track is a function from a time on the timeline to the source instant shown
// then, built by wrapping the previous function at every edit, with exact rational numbers.
// Comparing a composition with the model at many instants checks its segment arithmetic.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iomanip>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "media/base/media_time.h"
#include "media/model/asset.h"
#include "media/model/composition.h"

namespace reelcraft::reference {

__extension__ typedef __int128 Int128;

// An exact fraction in lowest terms, denominator positive.
class Rational {
 public:
  Rational(int64_t whole = 0) : num_(whole), den_(1) {}
  Rational(Int128 num, Int128 den) : num_(den < 0 ? -num : num), den_(den < 0 ? -den : den) {
    Int128 a = num_ < 0 ? -num_ : num_, b = den_;
    while (b != 0) a = std::exchange(b, a % b);
    if (a > 1) num_ /= a, den_ /= a;
  }
  static Rational of(MediaTime t) { return Rational(t.value, t.timescale); }

  friend Rational operator+(const Rational& a, const Rational& b) {
    return Rational(a.num_ * b.den_ + b.num_ * a.den_, a.den_ * b.den_);
  }
  friend Rational operator-(const Rational& a, const Rational& b) { return a + b * Rational(-1); }
  friend Rational operator*(const Rational& a, const Rational& b) {
    return Rational(a.num_ * b.num_, a.den_ * b.den_);
  }
  friend Rational operator/(const Rational& a, const Rational& b) {
    return Rational(a.num_ * b.den_, a.den_ * b.num_);
  }
  friend bool operator==(const Rational&, const Rational&) = default;
  friend bool operator<(const Rational& a, const Rational& b) {
    return a.num_ * b.den_ < b.num_ * a.den_;
  }

  long double value() const {
    return static_cast<long double>(num_) / static_cast<long double>(den_);
  }
  std::string text() const {
    std::ostringstream out;
    out << std::setprecision(21) << value();
    return out.str();
  }

 private:
  Int128 num_;
  Int128 den_;
};

// What a track shows at one instant: a source and the instant in it, or nothing.
struct Sample {
  const SourceTrack* source = nullptr;
  Rational time;

  friend bool operator==(const Sample& a, const Sample& b) {
    return a.source == b.source && (a.source == nullptr || a.time == b.time);
  }
  std::string text() const {
    return source ? "source " + std::to_string(source->trackID) + " at " + time.text() : "nothing";
  }
};

// What a track shows over time. Shared, never changed: an edit wraps it in a new function, so
// copying a track or a whole timeline is cheap.
using Show = std::shared_ptr<const std::function<Sample(const Rational&)>>;

template <class F>
Show makeShow(F function) {
  return std::make_shared<const std::function<Sample(const Rational&)>>(std::move(function));
}

class Timeline {
 public:
  struct Track {
    int32_t trackID = 0;
    MediaType mediaType = MediaType::Other;
    Rational length;
    Show show = makeShow([](const Rational&) { return Sample{}; });

    Sample at(const Rational& t) const {
      if (t < Rational(0) || !(t < length)) return Sample{};
      return (*show)(t);
    }
  };

  // What an asset of whole source tracks (a file) shows: each source at its own times.
  static Timeline ofSources(const std::vector<std::shared_ptr<const SourceTrack>>& sources) {
    Timeline timeline;
    for (const auto& source : sources) {
      const Rational start = Rational::of(source->timeRange.start);
      const SourceTrack* raw = source.get();
      timeline.tracks.push_back(Track{source->trackID, source->mediaType,
                                      Rational::of(source->timeRange.end()),
                                      makeShow([raw, start](const Rational& t) {
                                        return t < start ? Sample{} : Sample{raw, t};
                                      })});
    }
    return timeline;
  }

  void addTrack(MediaType mediaType, int32_t trackID) {
    tracks.push_back(Track{trackID, mediaType, Rational(0)});
  }

  void removeTrack(int32_t trackID) {
    std::erase_if(tracks, [trackID](const Track& track) { return track.trackID == trackID; });
  }

  void insertEmpty(Rational at, Rational length) {
    for (Track& track : tracks) insertInto(track, at, length, Track{});
  }

  // `length` from `start` of `source`, at `at`: the k-th source track of a type into the k-th
  // track of that type, new tracks added as needed, empty time in every other track.
  void insert(Timeline source, Rational start, Rational length, Rational at) {
    std::vector<Track> parts(tracks.size());
    std::vector<int> ordinals(8, 0);
    for (const Track& sourceTrack : source.tracks) {
      int ordinal = ordinals[static_cast<int>(sourceTrack.mediaType)]++;
      const auto match = std::ranges::find_if(tracks, [&](const Track& track) {
        return track.mediaType == sourceTrack.mediaType && ordinal-- == 0;
      });
      const size_t index = match - tracks.begin();
      if (match == tracks.end()) {
        addTrack(sourceTrack.mediaType, freeID(sourceTrack.trackID));
        parts.emplace_back();
      }
      parts[index].show =
          makeShow([sourceTrack, start](const Rational& u) { return sourceTrack.at(start + u); });
    }
    for (size_t i = 0; i < tracks.size(); ++i) insertInto(tracks[i], at, length, parts[i]);
  }

  void remove(Rational start, Rational length) { scale(start, length, Rational(0)); }

  void scale(Rational start, Rational length, Rational newLength) {
    for (Track& track : tracks) {
      if (!(start < track.length)) continue;
      const Rational inner = std::min(track.length, start + length) - start;
      const Rational scaledInner = inner * newLength / length;
      Track before = track;
      track.show = makeShow([=](const Rational& t) {
        if (t < start) return before.at(t);
        if (t < start + scaledInner) return before.at(start + (t - start) * length / newLength);
        return before.at(t - scaledInner + inner);
      });
      track.length = track.length - inner + scaledInner;
    }
  }

  std::vector<Track> tracks;

 private:
  static void insertInto(Track& track, Rational at, Rational length, Track inserted) {
    Track before = track;
    track.show = makeShow([before, inserted, at, length](const Rational& t) {
      if (t < at) return before.at(t);
      if (t < at + length) return (*inserted.show)(t - at);
      return before.at(t - length);
    });
    track.length = std::max(track.length, at) + length;
  }

  int32_t freeID(int32_t preferred) const {
    const auto taken = [this](int32_t id) {
      return std::ranges::any_of(tracks, [id](const Track& track) { return track.trackID == id; });
    };
    int32_t id = preferred > 0 && !taken(preferred) ? preferred : 1;
    while (taken(id)) ++id;
    return id;
  }
};

// What `track` of a composition shows at `t`, read from its segments.
inline Sample sampleOf(const AssetTrack& track, const Rational& t) {
  for (const TrackSegment& segment : track.segments) {
    const Rational start = Rational::of(segment.targetRange.start);
    const Rational end = Rational::of(segment.targetRange.end());
    if (t < start || !(t < end)) continue;
    if (segment.isEmpty()) return Sample{};
    const Rational offset = (t - start) * Rational::of(segment.sourceRange.duration) /
                            Rational::of(segment.targetRange.duration);
    return Sample{segment.source.get(), Rational::of(segment.sourceRange.start) + offset};
  }
  return Sample{};
}

// Whether `composition` has the model's tracks, of the model's lengths, and shows the same
// source instants at the start, middle and last moment of each segment and at random instants.
// With a `tolerance` in seconds, for compositions whose times had to be rounded, only the
// middles of the segments and the random instants are compared, to within the tolerance.
inline ::testing::AssertionResult showsSame(const Composition& composition, const Timeline& model,
                                            std::mt19937_64& random, long double tolerance = 0) {
  const auto& tracks = composition.tracks();
  if (tracks.size() != model.tracks.size()) {
    return ::testing::AssertionFailure()
           << tracks.size() << " tracks instead of " << model.tracks.size();
  }
  for (size_t i = 0; i < tracks.size(); ++i) {
    const AssetTrack& track = tracks[i];
    const Timeline::Track& expected = model.tracks[i];
    if (track.trackID != expected.trackID || track.mediaType != expected.mediaType) {
      return ::testing::AssertionFailure()
             << "track " << i << " is id " << track.trackID << " instead of " << expected.trackID;
    }
    const Rational length = Rational::of(track.timeRange().end());
    if (tolerance == 0 && !(length == expected.length)) {
      return ::testing::AssertionFailure() << "track " << track.trackID << " is " << length.text()
                                           << " s long instead of " << expected.length.text();
    }
    std::vector<Rational> instants;
    for (const TrackSegment& segment : track.segments) {
      const Rational start = Rational::of(segment.targetRange.start);
      const Rational end = Rational::of(segment.targetRange.end());
      instants.push_back((start + end) / Rational(2));
      if (tolerance > 0) continue;
      instants.push_back(start);
      instants.push_back(end - (end - start) / Rational(1000003));
    }
    for (int k = 0; k < 30 && Rational(0) < length; ++k) {
      instants.push_back(length * Rational(Int128(random() % 999983), Int128(999983)));
    }
    for (const Rational& t : instants) {
      const Sample actual = sampleOf(track, t);
      const Sample wanted = expected.at(t);
      const bool near =
          actual.source == wanted.source &&
          (!actual.source || std::abs(actual.time.value() - wanted.time.value()) <= tolerance);
      if (tolerance > 0 ? !near : !(actual == wanted)) {
        return ::testing::AssertionFailure()
               << "track " << track.trackID << " at " << t.text() << " shows " << actual.text()
               << " instead of " << wanted.text();
      }
    }
  }
  return ::testing::AssertionSuccess();
}

// A composition edited side by side with its model.
struct Edited {
  std::shared_ptr<MutableComposition> composition = MutableComposition::create();
  Timeline model;

  void insert(const Asset& asset, const Timeline& assetModel, TimeRange range, MediaTime at) {
    composition->insertTimeRange(range, asset, at);
    model.insert(assetModel, Rational::of(range.start), Rational::of(range.duration),
                 Rational::of(at));
  }
  // From an asset of whole source tracks, such as a file.
  template <class SourceAsset>
  void insert(const SourceAsset& asset, TimeRange range, MediaTime at) {
    insert(asset, Timeline::ofSources(asset.sourceTracks()), range, at);
  }
  void remove(TimeRange range) {
    composition->removeTimeRange(range);
    model.remove(Rational::of(range.start), Rational::of(range.duration));
  }
  void scale(TimeRange range, MediaTime duration) {
    composition->scaleTimeRange(range, duration);
    model.scale(Rational::of(range.start), Rational::of(range.duration), Rational::of(duration));
  }
  void insertEmpty(TimeRange range) {
    composition->insertEmptyTimeRange(range);
    model.insertEmpty(Rational::of(range.start), Rational::of(range.duration));
  }
};

}  // namespace reelcraft::reference
