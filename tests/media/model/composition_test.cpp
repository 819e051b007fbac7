#include "media/model/composition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "media/base/error.h"
#include "media/support/composition_reading.h"
#include "media/support/reference_timeline.h"
#include "media/support/synthetic_asset.h"

namespace reelcraft {
namespace {

using reference::Timeline;

MediaTime ticks(int64_t value) {
  return MediaTime::make(value, 600);
}
TimeRange ticksRange(int64_t start, int64_t duration) {
  return TimeRange::make(ticks(start), ticks(duration));
}
// A composition edited side by side with the reference model, and checked against it.
struct Edited : reference::Edited {
  std::mt19937_64 random{7};

  ::testing::AssertionResult matches(long double tolerance = 0) {
    composition->checkInvariants();
    return reference::showsSame(*composition, model, random, tolerance);
  }
};

TEST(CompositionTracks, IdsAreChosenFromOneAndTheNaturalSizeFromTheFirstVideoWithMedia) {
  auto composition = MutableComposition::create();
  EXPECT_TRUE(composition->tracks().empty());
  EXPECT_EQ(composition->addMutableTrack(MediaType::Video), 1);
  EXPECT_EQ(composition->addMutableTrack(MediaType::Audio, 5), 5);
  EXPECT_EQ(composition->addMutableTrack(MediaType::Audio, 5), 2);  // 5 is taken
  composition->removeTrack(2);
  composition->removeTrack(42);
  EXPECT_EQ(composition->addMutableTrack(MediaType::Subtitle), 2);
  ASSERT_EQ(composition->tracks().size(), 3u);
  EXPECT_EQ(composition->trackWithID(5)->mediaType, MediaType::Audio);
  EXPECT_EQ(composition->trackWithID(3), nullptr);
  EXPECT_EQ(composition->duration(), MediaTime::zero());

  composition->insertEmptyTimeRange(ticksRange(0, 600));
  EXPECT_TRUE(composition->naturalSize().isEmpty());  // only empty time so far
  composition->insertTimeRange(ticksRange(0, 600), *synthetic::cameraMovie(), ticks(600));
  EXPECT_EQ(composition->naturalSize(), (Size{1920, 1080}));
  EXPECT_TRUE(composition->setPreferredTransform(1, AffineTransform::rotation(1)));
  EXPECT_FALSE(composition->setPreferredTransform(9, AffineTransform::identity()));
}

TEST(CompositionInsert, WholeFileGivesItsTracksFromZeroWithGapsFilledByEmptyTime) {
  auto camera = synthetic::cameraMovie();
  Edited edited;
  edited.insert(*camera, TimeRange::make(MediaTime::zero(), camera->duration()), MediaTime::zero());
  ASSERT_TRUE(edited.matches());
  const auto& tracks = edited.composition->tracks();
  // The video whole; 60 s of sound, then empty time to the video's end; empty time, the text
  // from 2 s to 50 s, empty time.
  EXPECT_EQ(tracks[0].segments.size(), 1u);
  ASSERT_EQ(tracks[1].segments.size(), 2u);
  EXPECT_TRUE(tracks[1].segments[1].isEmpty());
  ASSERT_EQ(tracks[2].segments.size(), 3u);
  EXPECT_TRUE(tracks[2].segments[0].isEmpty() && tracks[2].segments[2].isEmpty());

  // Of a recording's two audio tracks the first goes into the camera's audio track and the
  // second into a new one; the other tracks get empty time.
  auto recording = synthetic::twoVoiceRecording();
  edited.insert(*recording, ticksRange(300, 1200), ticks(600));
  ASSERT_TRUE(edited.matches());
}

TEST(CompositionInsert, FromACompositionFlattensScaledSegmentsInProportion) {
  auto camera = synthetic::cameraMovie();
  Edited source;
  source.insert(*camera, ticksRange(0, 6000), MediaTime::zero());
  source.scale(ticksRange(1200, 1800), ticks(2000));  // 3 s played over 10/3 s
  ASSERT_TRUE(source.matches());

  Edited target;
  target.insert(*camera, ticksRange(0, 1200), MediaTime::zero());
  // From inside the scaled stretch to past its end.
  target.insert(*source.composition->copy(), source.model,
                TimeRange::make(ticks(1500), MediaTime::make(4, 1)), ticks(300));
  ASSERT_TRUE(target.matches());
  const TrackSegment& cut = target.composition->tracks()[0].segments[1];
  EXPECT_EQ(cut.targetRange, TimeRange::make(ticks(300), ticks(1700)));
  EXPECT_EQ(cut.sourceRange, TimeRange::make(MediaTime::make(245, 100), MediaTime::make(255, 100)));
}

TEST(CompositionEdits, BadRequestsFailAndEditsOfNothingChangeNothing) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 6000), *camera, MediaTime::zero());
  const auto before = composition->copy();
  const synthetic::SourceAsset trackless({});
  const auto expectFailure = [&](TimeRange range, const Asset& asset, MediaTime at,
                                 CompositionError code) {
    SCOPED_TRACE("inserting " + range.debugString() + " at " + at.debugString());
    const Error error = reading::errorOf([&] { composition->insertTimeRange(range, asset, at); });
    EXPECT_EQ(error.domain, "ReelcraftMediaErrorDomain");
    EXPECT_EQ(error.code, static_cast<int>(code));
    EXPECT_FALSE(error.description.empty());
    EXPECT_FALSE(error.recoverySuggestion.empty());
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
  composition->removeTimeRange(TimeRange::make(MediaTime::make(10, 1), MediaTime::make(1, 1)));
  composition->removeTimeRange(ticksRange(600, 0));
  composition->removeTimeRange(ticksRange(-600, 1200));
  composition->removeTimeRange(TimeRange::invalid());
  composition->scaleTimeRange(ticksRange(600, 600), MediaTime::zero());
  composition->scaleTimeRange(ticksRange(600, 600), MediaTime::invalid());
  composition->scaleTimeRange(ticksRange(600, 0), ticks(600));
  composition->scaleTimeRange(ticksRange(60000, 600), ticks(1200));
  EXPECT_TRUE(equivalent(*composition, *before));

  // The very end of both the asset and the composition is fine.
  composition->insertTimeRange(ticksRange(36036, 0), *camera, ticks(6000));
  composition->insertTimeRange(ticksRange(35436, 600), *camera, ticks(6000));
  EXPECT_EQ(composition->duration(), ticks(6600));
}

TEST(CompositionRemove, TakingOutWhatWasInsertedJoinsTheSegmentsAgain) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 24000), *camera, MediaTime::zero());
  const auto original = composition->copy();
  composition->insertTimeRange(ticksRange(0, 3000), *camera, ticks(1000));
  composition->insertEmptyTimeRange(ticksRange(1000, 10));
  composition->insertEmptyTimeRange(ticksRange(1000, 20));  // joins the first gap
  EXPECT_EQ(composition->tracks()[0].segments.size(), 4u);
  composition->removeTimeRange(ticksRange(1000, 3030));
  EXPECT_TRUE(equivalent(*composition, *original));

  // Wherever the gaps lie.
  for (int64_t second = 39; second > 0; --second) {
    composition->insertEmptyTimeRange(ticksRange(second * 600, 1));
  }
  ASSERT_EQ(composition->tracks()[0].segments.size(), 79u);
  for (int64_t second = 1; second < 40; ++second) {
    composition->removeTimeRange(ticksRange(second * 600, 1));
  }
  composition->checkInvariants();
  EXPECT_TRUE(equivalent(*composition, *original));

  // Continuing the same source at the same pace also joins.
  composition->insertTimeRange(ticksRange(24000, 600), *camera, ticks(24000));
  EXPECT_EQ(composition->tracks()[0].segments.size(), 1u);
}

TEST(CompositionRemove, CutsAtTimesNoTimescaleHoldsKeepEveryPieceAtItsOwnSpeed) {
  // Nanosecond times (as typed or computed) and the tracks' own timescales have no common
  // 32-bit timescale, so the stored edges are rounded; no piece may come out a hair faster or
  // slower than its source, or it would be taken for a stretched one.
  auto camera = synthetic::cameraMovie();
  auto composition = reading::wholeOf(*camera);
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

TEST(CompositionScale, StretchesExactlyAcrossSegments) {
  auto camera = synthetic::cameraMovie();
  Edited edited;
  edited.insert(*camera, ticksRange(0, 6000), MediaTime::zero());
  edited.insert(*camera, ticksRange(0, 600), ticks(900));
  // 2 s across three segments to 2002/1000 s (a 1001/1000 slow-down).
  edited.scale(ticksRange(600, 1200), MediaTime::make(2002, 1000));
  EXPECT_TRUE(edited.matches());
  for (const TrackSegment& segment : edited.composition->tracks()[0].segments) {
    EXPECT_FALSE(segment.targetRange.start.hasBeenRounded());
  }
}

TEST(CompositionScale, KeepsSegmentsContiguousWhenFactorsCannotBeHeldExactly) {
  auto camera = synthetic::cameraMovie();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 36000), *camera, MediaTime::zero());
  composition->insertEmptyTimeRange(TimeRange::make(ticks(0), MediaTime::make(1, 2147483647)));
  std::mt19937_64 random(3);
  for (int i = 0; i < 200; ++i) {
    const int64_t limit = static_cast<int64_t>(composition->duration().seconds() * 997) - 2;
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
  edited.insert(*camera, ticksRange(0, 12000), MediaTime::zero());
  edited.insert(*camera, ticksRange(18000, 600), MediaTime::make(37037, 30000));
  // 11 s to 7000001/1000003 s: the segment edges inside have no exact 32-bit timescale.
  edited.scale(TimeRange::make(MediaTime::zero(), MediaTime::make(11, 1)),
               MediaTime::make(7000001, 1000003));
  // Cuts scaled segments whose lengths were rounded, at plain times.
  edited.insert(*camera, ticksRange(30000, 600), MediaTime::make(1, 30));
  edited.insert(*camera, ticksRange(30000, 600), MediaTime::make(3, 1));
  edited.remove(TimeRange::make(MediaTime::make(5, 1), MediaTime::make(1, 7)));
  // Exact times cannot be kept here, but rounding stays far below a microsecond.
  ASSERT_FALSE(edited.matches());
  EXPECT_TRUE(edited.matches(1e-8L));
}

TEST(CompositionCopy, IsASnapshotThatLaterEditsDoNotChange) {
  auto composition = MutableComposition::create();
  composition->insertTimeRange(ticksRange(0, 6000), *synthetic::cameraMovie(), MediaTime::zero());
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
  auto twin = synthetic::cameraMovie();  // the same times, but other source objects
  auto base = MutableComposition::create();
  base->insertTimeRange(ticksRange(0, 6000), *camera, MediaTime::zero());
  const auto differs = [&](const std::function<void(MutableComposition&)>& change) {
    auto other = base->mutableCopy();
    change(*other);
    return !equivalent(*base, *other);
  };
  const auto replacedBy = [&](const Asset& asset, MediaTime duration) {
    return [&asset, duration](MutableComposition& c) {
      c.removeTimeRange(ticksRange(0, 6000));
      c.insertTimeRange(TimeRange::make(MediaTime::zero(), duration), asset, MediaTime::zero());
    };
  };
  EXPECT_FALSE(differs([](auto&) {}));
  EXPECT_TRUE(differs([](auto& c) { c.setNaturalSize(Size{1920, 1080}); }));
  EXPECT_TRUE(differs([](auto& c) { c.setPreferredTransform(1, AffineTransform::rotation(0.5)); }));
  EXPECT_TRUE(differs([](auto& c) { c.removeTrack(3); }));
  EXPECT_TRUE(differs([](auto& c) { c.addMutableTrack(MediaType::Audio); }));
  EXPECT_TRUE(differs([](auto& c) { c.scaleTimeRange(ticksRange(0, 600), ticks(601)); }));
  EXPECT_TRUE(differs(replacedBy(*twin, ticks(6000))));
  // Equal times in other timescales are the same.
  EXPECT_FALSE(differs(replacedBy(*camera, MediaTime::make(300000, 30000))));
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
  edited.insert(*camera, ticksRange(0, 12000), MediaTime::zero());
  std::shared_ptr<const Composition> snapshot = edited.composition->copy();
  Timeline snapshotModel = edited.model;
  int scales = 0;
  for (int step = 0; step < steps; ++step) {
    const MediaTime duration = edited.composition->duration();
    const int choice = static_cast<int>(random() % 100);
    if (choice < 15) {
      edited.insert(*camera, rangeWithin(camera->duration(), 6000), gridTimeUpTo(duration));
    } else if (choice < 22) {
      edited.insert(*recording, rangeWithin(recording->duration(), 3000), gridTimeUpTo(duration));
    } else if (choice < 32) {
      edited.insert(*snapshot, snapshotModel, rangeWithin(snapshot->duration(), 3000),
                    gridTimeUpTo(duration));
    } else if (choice < 36) {
      // The composition into itself: the state before the insertion goes in.
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
