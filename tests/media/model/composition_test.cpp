#include "media/model/composition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "media/base/error.h"
#include "media/support/reference_timeline.h"
#include "media/support/synthetic_asset.h"

namespace reelcraft {
namespace {

using reference::Rational;
using reference::Timeline;

MediaTime ticks(int64_t value) {
  return MediaTime::make(value, 600);
}
TimeRange ticksRange(int64_t start, int64_t duration) {
  return TimeRange::make(ticks(start), ticks(duration));
}
Rational r(MediaTime t) {
  return Rational::of(t);
}

// A composition edited side by side with the reference model.
struct Edited {
  std::shared_ptr<MutableComposition> composition = MutableComposition::create();
  Timeline model;
  std::mt19937_64 random{7};

  void insert(const Asset& asset, const Timeline& assetModel, TimeRange range, MediaTime at) {
    composition->insertTimeRange(range, asset, at);
    model.insert(assetModel, r(range.start), r(range.duration), r(at));
  }
  void remove(TimeRange range) {
    composition->removeTimeRange(range);
    model.remove(r(range.start), r(range.duration));
  }
  void scale(TimeRange range, MediaTime duration) {
    composition->scaleTimeRange(range, duration);
    model.scale(r(range.start), r(range.duration), r(duration));
  }
  void insertEmpty(TimeRange range) {
    composition->insertEmptyTimeRange(range);
    model.insertEmpty(r(range.start), r(range.duration));
  }
  ::testing::AssertionResult matches() {
    composition->checkInvariants();
    return reference::showsSame(*composition, model, random);
  }
};

Timeline modelOf(const synthetic::SourceAsset& asset) {
  return Timeline::ofSources(asset.sources());
}

TEST(CompositionTracks, NewCompositionIsEmptyAndTrackIdsAreChosenFromOne) {
  auto composition = MutableComposition::create();
  EXPECT_EQ(composition->duration(), MediaTime::zero());
  EXPECT_TRUE(composition->tracks().empty());
  EXPECT_TRUE(composition->naturalSize().isEmpty());

  EXPECT_EQ(composition->addMutableTrack(MediaType::Video), 1);
  EXPECT_EQ(composition->addMutableTrack(MediaType::Audio, 5), 5);
  EXPECT_EQ(composition->addMutableTrack(MediaType::Audio, 5), 2);  // 5 is taken
  composition->removeTrack(1);
  EXPECT_EQ(composition->addMutableTrack(MediaType::Subtitle), 1);
  composition->removeTrack(42);
  ASSERT_EQ(composition->tracks().size(), 3u);
  EXPECT_EQ(composition->trackWithID(5)->mediaType, MediaType::Audio);
  EXPECT_EQ(composition->trackWithID(3), nullptr);
  EXPECT_EQ(composition->duration(), MediaTime::zero());
}

TEST(CompositionTracks, NaturalSizeComesFromTheFirstVideoTrackWithMediaUnlessSet) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->addMutableTrack(MediaType::Video);
  composition->insertEmptyTimeRange(ticksRange(0, 600));
  EXPECT_TRUE(composition->naturalSize().isEmpty());  // only empty time so far
  composition->insertTimeRange(ticksRange(0, 600), *camera, ticks(600));
  EXPECT_EQ(composition->naturalSize(), (Size{1920, 1080}));
  composition->setNaturalSize(Size{720, 480});
  EXPECT_EQ(composition->naturalSize(), (Size{720, 480}));
  EXPECT_TRUE(composition->setPreferredTransform(1, AffineTransform::rotation(1)));
  EXPECT_FALSE(composition->setPreferredTransform(9, AffineTransform::identity()));
}

TEST(CompositionInsert, WholeFileGivesItsTracksFromZeroWithGapsFilledByEmptyTime) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(TimeRange::make(MediaTime::zero(), camera->duration()), *camera,
                               MediaTime::zero());
  composition->checkInvariants();
  EXPECT_EQ(composition->duration(), MediaTime::make(1801800, 30000));
  const auto& tracks = composition->tracks();
  ASSERT_EQ(tracks.size(), 3u);

  const AssetTrack& video = tracks[0];
  EXPECT_EQ(video.trackID, 1);
  EXPECT_EQ(video.naturalSize, (Size{1920, 1080}));
  EXPECT_EQ(video.minFrameDuration, MediaTime::make(1001, 30000));
  ASSERT_EQ(video.segments.size(), 1u);
  EXPECT_EQ(video.segments[0].source, camera->sources()[0]);
  EXPECT_EQ(video.segments[0].sourceRange, camera->sources()[0]->timeRange);
  EXPECT_EQ(video.segments[0].targetRange, camera->sources()[0]->timeRange);

  const AssetTrack& audio = tracks[1];  // 60 s of sound, then empty time to the video's end
  ASSERT_EQ(audio.segments.size(), 2u);
  EXPECT_EQ(audio.segments[0].targetRange.end(), MediaTime::make(60, 1));
  EXPECT_TRUE(audio.segments[1].isEmpty());
  EXPECT_EQ(audio.segments[1].targetRange.duration, MediaTime::make(6, 100));

  const AssetTrack& text = tracks[2];  // empty, text from 2 s to 50 s, empty
  ASSERT_EQ(text.segments.size(), 3u);
  EXPECT_TRUE(text.segments[0].isEmpty());
  EXPECT_EQ(text.segments[1].sourceRange, TimeRange::make(ticks(1200), ticks(28800)));
  EXPECT_EQ(text.segments[1].targetRange, TimeRange::make(ticks(1200), ticks(28800)));
  EXPECT_EQ(text.timeRange().end(), composition->duration());
}

TEST(CompositionInsert, SplitsTheSegmentAtTheInsertionPointAndShiftsEveryTrack) {
  auto camera = synthetic::cameraMovie();
  Edited edited;
  edited.insert(*camera, modelOf(*camera), ticksRange(0, 6000), MediaTime::zero());
  edited.insert(*camera, modelOf(*camera),
                TimeRange::make(MediaTime::make(3003, 30000), MediaTime::make(44100, 44100)),
                MediaTime::make(40, 30));
  ASSERT_TRUE(edited.matches());
  EXPECT_EQ(edited.composition->duration(), ticks(6600));
  EXPECT_EQ(edited.composition->tracks()[0].segments.size(), 3u);

  // The second recording has two audio tracks: the first goes into the camera's audio track,
  // the second into a new audio track; the video and text tracks get empty time.
  auto recording = synthetic::twoVoiceRecording();
  edited.insert(*recording, modelOf(*recording), ticksRange(300, 1200), ticks(600));
  ASSERT_TRUE(edited.matches());
  ASSERT_EQ(edited.composition->tracks().size(), 4u);
  EXPECT_EQ(edited.composition->tracks()[3].trackID, 8);
  EXPECT_EQ(edited.composition->tracks()[3].timeRange().end(), ticks(1800));
}

TEST(CompositionInsert, FromACompositionFlattensScaledSegmentsInProportion) {
  auto camera = synthetic::cameraMovie();
  Edited source;
  source.insert(*camera, modelOf(*camera), ticksRange(0, 6000), MediaTime::zero());
  source.scale(ticksRange(1200, 1800), ticks(2000));  // 3 s played over 10/3 s
  ASSERT_TRUE(source.matches());

  const auto snapshot = source.composition->copy();
  Edited target;
  target.insert(*camera, modelOf(*camera), ticksRange(0, 1200), MediaTime::zero());
  // From inside the scaled stretch to past its end.
  target.insert(*snapshot, source.model, TimeRange::make(ticks(1500), MediaTime::make(4, 1)),
                ticks(300));
  ASSERT_TRUE(target.matches());
  // Only the camera's own source tracks are referenced, not the snapshot's segments.
  const auto& sources = camera->sources();
  for (const AssetTrack& track : target.composition->tracks()) {
    for (const TrackSegment& segment : track.segments) {
      if (segment.isEmpty()) continue;
      EXPECT_NE(std::find(sources.begin(), sources.end(), segment.source), sources.end());
    }
  }
  const TrackSegment& cut = target.composition->tracks()[0].segments[1];
  EXPECT_EQ(cut.targetRange, TimeRange::make(ticks(300), ticks(1700)));
  EXPECT_EQ(cut.sourceRange, TimeRange::make(MediaTime::make(245, 100), MediaTime::make(255, 100)));
}

TEST(CompositionInsert, OfItselfInsertsTheStateBeforeTheInsertion) {
  auto camera = synthetic::cameraMovie();
  Edited edited;
  edited.insert(*camera, modelOf(*camera), ticksRange(0, 3000), MediaTime::zero());
  edited.scale(ticksRange(600, 600), ticks(300));
  for (int round = 0; round < 3; ++round) {
    const Timeline before = edited.model;
    const MediaTime duration = edited.composition->duration();
    edited.insert(*edited.composition, before,
                  TimeRange::make(ticks(150), subtract(duration, ticks(150))), ticks(450));
    ASSERT_TRUE(edited.matches()) << "round " << round;
  }
}

TEST(CompositionInsert, RefusesBadRequestsAndLeavesTheCompositionAsItWas) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 6000), *camera, MediaTime::zero());
  const auto before = composition->copy();
  const synthetic::SourceAsset trackless({});

  const auto expectFailure = [&](TimeRange range, const Asset& asset, MediaTime at,
                                 CompositionError code) {
    try {
      composition->insertTimeRange(range, asset, at);
      ADD_FAILURE() << "inserting " << range.debugString() << " at " << at.debugString();
    } catch (const ErrorException& e) {
      EXPECT_EQ(e.error().domain, "ReelcraftMediaErrorDomain");
      EXPECT_EQ(e.error().code, static_cast<int>(code));
      EXPECT_FALSE(e.error().description.empty());
      EXPECT_FALSE(e.error().recoverySuggestion.empty());
    }
    EXPECT_TRUE(equivalent(*composition, *before));
  };
  expectFailure(TimeRange::invalid(), *camera, ticks(0), CompositionError::InvalidTimeRange);
  expectFailure(ticksRange(600, -1), *camera, ticks(0), CompositionError::InvalidTimeRange);
  expectFailure(ticksRange(-1, 600), *camera, ticks(0), CompositionError::InvalidTimeRange);
  expectFailure(TimeRange::make(ticks(0), MediaTime::positiveInfinity()), *camera, ticks(0),
                CompositionError::InvalidTimeRange);
  expectFailure(ticksRange(36000, 37), *camera, ticks(0), CompositionError::TimeRangeOutsideAsset);
  expectFailure(ticksRange(0, 600), *camera, ticks(6001), CompositionError::InvalidInsertionTime);
  expectFailure(ticksRange(0, 600), *camera, ticks(-1), CompositionError::InvalidInsertionTime);
  expectFailure(ticksRange(0, 600), *camera, MediaTime::invalid(),
                CompositionError::InvalidInsertionTime);
  expectFailure(ticksRange(0, 0), trackless, ticks(0), CompositionError::AssetHasNoTracks);

  // The very end of both the asset and the composition is fine.
  composition->insertTimeRange(ticksRange(36036, 0), *camera, ticks(6000));
  composition->insertTimeRange(ticksRange(35436, 600), *camera, ticks(6000));
  EXPECT_EQ(composition->duration(), ticks(6600));
}

TEST(CompositionRemove, ClosesTheGapInEveryTrackAndIgnoresWhatLiesBeyondTheEnd) {
  auto camera = synthetic::cameraMovie();
  Edited edited;
  edited.insert(*camera, modelOf(*camera), ticksRange(0, 6000), MediaTime::zero());
  edited.insert(*camera, modelOf(*camera), TimeRange::make(ticks(0), MediaTime::make(5, 1)),
                ticks(3000));
  edited.remove(TimeRange::make(MediaTime::make(2, 1), MediaTime::make(4, 1)));
  ASSERT_TRUE(edited.matches());
  edited.remove(TimeRange::make(MediaTime::make(9, 1), MediaTime::make(100, 1)));
  ASSERT_TRUE(edited.matches());
  EXPECT_EQ(edited.composition->duration(), MediaTime::make(9, 1));

  const auto before = edited.composition->copy();
  edited.composition->removeTimeRange(
      TimeRange::make(MediaTime::make(9, 1), MediaTime::make(1, 1)));
  edited.composition->removeTimeRange(ticksRange(600, 0));
  edited.composition->removeTimeRange(ticksRange(-600, 1200));
  edited.composition->removeTimeRange(TimeRange::invalid());
  EXPECT_TRUE(equivalent(*edited.composition, *before));
}

TEST(CompositionRemove, TakingOutWhatWasInsertedJoinsTheSegmentsAgain) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 3000), *camera, MediaTime::zero());
  const auto original = composition->copy();
  composition->insertTimeRange(ticksRange(0, 3000), *camera, ticks(1000));
  composition->insertEmptyTimeRange(ticksRange(1000, 10));
  composition->insertEmptyTimeRange(ticksRange(1000, 20));  // joins the first gap
  EXPECT_EQ(composition->tracks()[0].segments.size(), 4u);
  composition->removeTimeRange(ticksRange(1000, 3030));
  EXPECT_TRUE(equivalent(*composition, *original));
  // Continuing the same source at the same pace also joins.
  composition->insertTimeRange(ticksRange(3000, 600), *camera, ticks(3000));
  EXPECT_EQ(composition->tracks()[0].segments.size(), 1u);
}

TEST(CompositionRemove, RemovingEveryGapJoinsTheSegmentsWhereverTheyLie) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 24000), *camera, MediaTime::zero());
  const auto original = composition->copy();
  for (int64_t second = 39; second > 0; --second) {
    composition->insertEmptyTimeRange(ticksRange(second * 600, 1));
  }
  ASSERT_EQ(composition->tracks()[0].segments.size(), 79u);
  for (int64_t second = 1; second < 40; ++second) {
    composition->removeTimeRange(ticksRange(second * 600, 1));
  }
  composition->checkInvariants();
  EXPECT_EQ(composition->tracks()[0].segments.size(), 1u);
  EXPECT_TRUE(equivalent(*composition, *original));
}

TEST(CompositionRemove, CutsAtTimesNoTimescaleHoldsKeepEveryPieceAtItsOwnSpeed) {
  // Nanosecond times (as typed or computed) and the tracks' own timescales have no common
  // 32-bit timescale, so the stored edges are rounded; no piece may come out a hair faster or
  // slower than its source, or it would be taken for a stretched one.
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(TimeRange::make(MediaTime::zero(), camera->duration()), *camera,
                               MediaTime::zero());
  std::mt19937_64 random(11);
  for (int cut = 10; cut >= 1; --cut) {
    const MediaTime start = MediaTime::make(cut * 5'000'000'000LL + 123'456'789, 1'000'000'000);
    composition->removeTimeRange(
        TimeRange::make(start, MediaTime::make(333'666'667, 1'000'000'000)));
  }
  for (int paste = 0; paste < 5; ++paste) {
    const int64_t at = static_cast<int64_t>(random() % 40'000'000'000ULL);
    composition->insertTimeRange(
        TimeRange::make(MediaTime::make(1'234'567'891 + paste, 1'000'000'000),
                        MediaTime::make(7, 3)),
        *camera, MediaTime::make(at, 1'000'000'000));
  }
  composition->checkInvariants();
  for (const AssetTrack& track : composition->tracks()) {
    for (const TrackSegment& segment : track.segments) {
      if (segment.isEmpty()) continue;
      EXPECT_EQ(segment.sourceRange.duration, segment.targetRange.duration)
          << "track " << track.trackID << " at " << segment.targetRange.start.seconds() << " s";
    }
  }
}

TEST(CompositionScale, StretchesExactlyAndShiftsWhatFollows) {
  auto camera = synthetic::cameraMovie();
  Edited edited;
  edited.insert(*camera, modelOf(*camera), ticksRange(0, 6000), MediaTime::zero());
  edited.insert(*camera, modelOf(*camera), ticksRange(0, 600), ticks(900));
  // 2 s across three segments to 2002/1000 s (a 1001/1000 slow-down).
  const MediaTime slowed = MediaTime::make(2002, 1000);
  edited.scale(ticksRange(600, 1200), slowed);
  ASSERT_TRUE(edited.matches());
  MediaTime scaledTotal = MediaTime::zero();
  for (const TrackSegment& segment : edited.composition->tracks()[0].segments) {
    const TimeRange inside = segment.targetRange.intersection(TimeRange::make(ticks(600), slowed));
    scaledTotal = add(scaledTotal, inside.duration);
    EXPECT_FALSE(segment.targetRange.start.hasBeenRounded());
  }
  EXPECT_EQ(scaledTotal, slowed);
  EXPECT_EQ(edited.composition->duration(), add(ticks(6600 - 1200), slowed));

  // A track that ends inside the range has its part scaled by the same factor.
  edited.scale(TimeRange::make(ticks(6000), MediaTime::make(30, 1)), MediaTime::make(15, 1));
  ASSERT_TRUE(edited.matches());

  const auto before = edited.composition->copy();
  edited.composition->scaleTimeRange(ticksRange(600, 600), MediaTime::zero());
  edited.composition->scaleTimeRange(ticksRange(600, 600), MediaTime::invalid());
  edited.composition->scaleTimeRange(ticksRange(600, 0), ticks(600));
  edited.composition->scaleTimeRange(ticksRange(60000, 600), ticks(1200));
  EXPECT_TRUE(equivalent(*edited.composition, *before));
}

TEST(CompositionScale, KeepsSegmentsContiguousWhenFactorsCannotBeHeldExactly) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 36000), *camera, MediaTime::zero());
  composition->insertEmptyTimeRange(TimeRange::make(ticks(0), MediaTime::make(1, 2147483647)));
  std::mt19937_64 random(3);
  for (int i = 0; i < 200; ++i) {
    const MediaTime duration = composition->duration();
    const int64_t limit = static_cast<int64_t>(duration.seconds() * 997) - 2;
    const int64_t start = static_cast<int64_t>(random() % limit);
    const int64_t length = 1 + static_cast<int64_t>(random() % (limit - start));
    composition->scaleTimeRange(
        TimeRange::make(MediaTime::make(start, 997), MediaTime::make(length, 997)),
        MediaTime::make(length + 1 + random() % 50, 1009));
    composition->insertTimeRange(ticksRange(7, 1200), *camera,
                                 MediaTime::make(start * 3 / 2, 1499));
    // Continuing the source of a segment right after it joins the two, with sums that may not
    // be exact at such positions.
    const auto& segments = composition->tracks()[0].segments;
    const TrackSegment& segment = segments[random() % segments.size()];
    if (!segment.isEmpty() && segment.sourceRange.end() < MediaTime::make(59, 1)) {
      composition->insertTimeRange(TimeRange::make(segment.sourceRange.end(), ticks(7)), *camera,
                                   segment.targetRange.end());
    }
    ASSERT_NO_THROW(composition->checkInvariants()) << "step " << i;
  }
}

TEST(CompositionScale, RoundsToFarBelowAMicrosecondWhenExactTimesDoNotFit) {
  auto camera = synthetic::cameraMovie();
  Edited edited;
  edited.insert(*camera, modelOf(*camera), ticksRange(0, 12000), MediaTime::zero());
  edited.insert(*camera, modelOf(*camera), ticksRange(18000, 600), MediaTime::make(37037, 30000));
  // 11 s to 7000001/1000003 s: the segment edges inside have no exact 32-bit timescale.
  edited.scale(TimeRange::make(MediaTime::zero(), MediaTime::make(11, 1)),
               MediaTime::make(7000001, 1000003));
  // Cuts scaled segments whose lengths were rounded, at plain times.
  edited.insert(*camera, modelOf(*camera), ticksRange(30000, 600), MediaTime::make(1, 30));
  edited.insert(*camera, modelOf(*camera), ticksRange(30000, 600), MediaTime::make(3, 1));
  edited.remove(TimeRange::make(MediaTime::make(5, 1), MediaTime::make(1, 7)));
  edited.composition->checkInvariants();

  // Exact times cannot be kept here ...
  ASSERT_FALSE(reference::showsSame(*edited.composition, edited.model, edited.random));
  // ... but rounding stays far below a microsecond.
  EXPECT_TRUE(reference::showsNearly(*edited.composition, edited.model, edited.random, 1e-8L));
}

TEST(CompositionCopy, IsASnapshotThatLaterEditsDoNotChange) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 6000), *camera, MediaTime::zero());
  const auto snapshot = composition->copy();
  EXPECT_TRUE(snapshot->tracks()[0].segments.sharesStorageWith(composition->tracks()[0].segments));

  composition->removeTimeRange(ticksRange(0, 600));
  composition->setPreferredTransform(1, AffineTransform::rotation(1));
  composition->setNaturalSize(Size{1, 2});
  EXPECT_FALSE(equivalent(*composition, *snapshot));
  EXPECT_EQ(snapshot->duration(), ticks(6000));
  EXPECT_TRUE(snapshot->tracks()[0].preferredTransform.isIdentity());

  const auto restored = snapshot->mutableCopy();
  EXPECT_TRUE(equivalent(*restored, *snapshot));
  restored->insertEmptyTimeRange(ticksRange(0, 600));
  EXPECT_EQ(snapshot->duration(), ticks(6000));
}

TEST(CompositionEquivalence, NoticesEveryKindOfDifference) {
  auto camera = synthetic::cameraMovie();
  auto base = MutableComposition::create();
  base->insertTimeRange(ticksRange(0, 6000), *camera, MediaTime::zero());
  const auto variant = [&](auto change) {
    auto other = base->mutableCopy();
    change(*other);
    return !equivalent(*base, *other);
  };
  EXPECT_FALSE(variant([](MutableComposition&) {}));
  EXPECT_TRUE(variant([](MutableComposition& c) { c.setNaturalSize(Size{1920, 1080}); }));
  EXPECT_TRUE(variant(
      [](MutableComposition& c) { c.setPreferredTransform(1, AffineTransform::rotation(0.5)); }));
  EXPECT_TRUE(variant([](MutableComposition& c) { c.removeTrack(3); }));
  EXPECT_TRUE(variant([](MutableComposition& c) { c.addMutableTrack(MediaType::Audio); }));
  EXPECT_TRUE(
      variant([](MutableComposition& c) { c.scaleTimeRange(ticksRange(0, 600), ticks(601)); }));
  // Same times, but another (equal-looking) source object.
  auto twin = synthetic::cameraMovie();
  EXPECT_TRUE(variant([&](MutableComposition& c) {
    c.removeTimeRange(ticksRange(0, 6000));
    c.insertTimeRange(ticksRange(0, 6000), *twin, MediaTime::zero());
  }));
  // Equal times in other timescales are the same.
  EXPECT_FALSE(variant([&](MutableComposition& c) {
    c.removeTimeRange(ticksRange(0, 6000));
    c.insertTimeRange(TimeRange::make(MediaTime::zero(), MediaTime::make(300000, 30000)), *camera,
                      MediaTime::zero());
  }));
}

// Random edits, each checked against the reference model. Positions lie on a 1/600 s grid and
// stretch factors are few and simple, so that every time stays exact.
void runRandomEdits(uint64_t seed, int steps) {
  const auto camera = synthetic::cameraMovie();
  const auto recording = synthetic::twoVoiceRecording();
  Edited edited;
  edited.random.seed(seed);
  std::mt19937_64& random = edited.random;
  const auto gridTimeUpTo = [&](MediaTime limit) {
    const auto last = static_cast<int64_t>(limit.seconds() * 600 + 1e-9);
    return ticks(static_cast<int64_t>(random() % (last + 1)));
  };
  const auto rangeWithin = [&](MediaTime limit, int64_t longest) {
    const MediaTime start = gridTimeUpTo(limit);
    const auto room = static_cast<int64_t>(subtract(limit, start).seconds() * 600 + 1e-9);
    return TimeRange::make(start,
                           ticks(static_cast<int64_t>(random() % (std::min(room, longest) + 1))));
  };
  edited.insert(*camera, modelOf(*camera), ticksRange(0, 12000), MediaTime::zero());
  std::shared_ptr<const Composition> snapshot = edited.composition->copy();
  Timeline snapshotModel = edited.model;
  int scales = 0;
  for (int step = 0; step < steps; ++step) {
    const MediaTime duration = edited.composition->duration();
    const int choice = static_cast<int>(random() % 100);
    if (choice < 15) {
      edited.insert(*camera, modelOf(*camera), rangeWithin(camera->duration(), 6000),
                    gridTimeUpTo(duration));
    } else if (choice < 22) {
      edited.insert(*recording, modelOf(*recording), rangeWithin(recording->duration(), 3000),
                    gridTimeUpTo(duration));
    } else if (choice < 32) {
      edited.insert(*snapshot, snapshotModel, rangeWithin(snapshot->duration(), 3000),
                    gridTimeUpTo(duration));
    } else if (choice < 36) {
      const Timeline before = edited.model;
      edited.insert(*edited.composition, before, rangeWithin(duration, 1200),
                    gridTimeUpTo(duration));
    } else if (choice < 62) {
      edited.remove(rangeWithin(add(duration, ticks(600)), 4800));
    } else if (choice < 70) {
      edited.insertEmpty(rangeWithin(add(duration, ticks(300)), 600));
    } else if (choice < 76 && scales < 5) {
      static constexpr int kFactors[][2] = {{2, 1}, {1, 2}, {3, 2}, {2, 3}, {3, 1}};
      const auto& factor = kFactors[random() % 5];
      const TimeRange range = rangeWithin(add(duration, ticks(300)), 3000);
      if (range.isEmpty()) continue;
      edited.scale(range, multiplyByRatio(range.duration, factor[0], factor[1]));
      ++scales;
    } else if (choice < 79) {
      edited.composition->addMutableTrack(MediaType::Audio, 4);
      edited.model.addTrack(MediaType::Audio, edited.composition->tracks().back().trackID);
    } else if (choice < 81 && edited.composition->tracks().size() > 1) {
      const int32_t id =
          edited.composition->tracks()[random() % edited.composition->tracks().size()].trackID;
      edited.composition->removeTrack(id);
      edited.model.removeTrack(id);
    } else {
      snapshot = edited.composition->copy();
      snapshotModel = edited.model;
    }
    ASSERT_TRUE(edited.matches()) << "seed " << seed << ", step " << step;
    for (const AssetTrack& track : edited.composition->tracks()) {
      for (const TrackSegment& segment : track.segments) {
        ASSERT_FALSE(segment.targetRange.duration.hasBeenRounded()) << "step " << step;
      }
    }
  }
}

TEST(CompositionRandomEdits, MatchTheReferenceModel) {
  for (uint64_t seed : {1u, 2u, 3u, 4u}) {
    SCOPED_TRACE(seed);
    runRandomEdits(seed, 150);
  }
}

}  // namespace
}  // namespace reelcraft
