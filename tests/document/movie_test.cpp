#include "document/movie.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "media/base/error.h"
#include "media/support/synthetic_asset.h"

namespace reelcraft {
namespace {

MediaTime seconds(int64_t s) {
  return MediaTime::make(s, 1);
}
TimeRange secondsRange(int64_t start, int64_t duration) {
  return TimeRange::make(seconds(start), seconds(duration));
}

// A movie with an undo manager, counting what its bindableAsset publishes.
class MovieTest : public ::testing::Test {
 protected:
  MovieTest() {
    movie->undoManager = manager;
    movie->bindableAsset->observers.push_back([this](const AssetPtr& asset) {
      ++published;
      lastPublished = asset;
    });
  }

  // Replaces the ten empty seconds with the first `length` seconds of the camera movie.
  void loadCamera(int64_t length) {
    movie->composition->removeTrack(movie->composition->tracks().back().trackID);
    movie->composition->insertTimeRange(secondsRange(0, length), *camera, MediaTime::zero());
  }

  void expectPublishedOnce(int before) {
    EXPECT_EQ(published, before + 1);
    EXPECT_EQ(lastPublished.get(), movie->composition.get());
    EXPECT_EQ(movie->bindableAsset->value().get(), movie->composition.get());
  }

  const std::shared_ptr<synthetic::SourceAsset> camera = synthetic::cameraMovie();
  const std::shared_ptr<UndoManager> manager = std::make_shared<UndoManager>();
  const std::shared_ptr<Movie> movie = Movie::create();
  int published = 0;
  AssetPtr lastPublished;
};

TEST(NewMovie, IsReleasedWhileItsUndoEntriesRemain) {
  const auto manager = std::make_shared<UndoManager>();
  std::weak_ptr<Movie> released;
  {
    const auto movie = Movie::create();
    movie->undoManager = manager;
    movie->remove(secondsRange(0, 1));
    released = movie;
  }
  EXPECT_TRUE(released.expired());
  EXPECT_TRUE(manager->canUndo());
  manager->undo();  // its target is gone: nothing happens
}

TEST_F(MovieTest, EveryEditPublishesTheSameCompositionOnceAndNamesItsUndo) {
  loadCamera(20);
  const std::shared_ptr<MutableComposition> live = movie->composition;
  struct Edit {
    const char* name;
    std::function<void()> run;
  };
  const std::vector<Edit> edits = {
      {"Insert",
       [&] {
         movie->insert(MovieFragment{camera, secondsRange(1, 2)}, seconds(3));
       }},
      {"Delete", [&] { movie->remove(secondsRange(0, 1)); }},
      {"Trim", [&] { movie->trim(secondsRange(1, 15)); }},
      {"Rotate", [&] { movie->rotate(true); }},
      {"Stretch Time", [&] { movie->scale(secondsRange(2, 4), seconds(8)); }},
  };
  for (const Edit& edit : edits) {
    SCOPED_TRACE(edit.name);
    const auto before = movie->composition->copy();
    const int count = published;
    edit.run();
    expectPublishedOnce(count);
    EXPECT_EQ(movie->composition.get(), live.get());  // edited in place
    EXPECT_FALSE(equivalent(*movie->composition, *before));
    EXPECT_EQ(manager->undoMenuItemTitle(), std::string("Undo ") + edit.name);
  }

  // Undo swaps in a new composition object, publishes it and offers the redo.
  const int count = published;
  ASSERT_TRUE(manager->undo());
  expectPublishedOnce(count);
  EXPECT_NE(movie->composition.get(), live.get());
  EXPECT_EQ(manager->redoMenuItemTitle(), "Redo Stretch Time");
  EXPECT_EQ(manager->undoMenuItemTitle(), "Undo Rotate");
}

TEST_F(MovieTest, TrimKeepsOnlyTheRange) {
  loadCamera(20);
  movie->trim(secondsRange(0, 12));  // from zero: only the tail goes
  EXPECT_EQ(movie->composition->duration(), seconds(12));
  EXPECT_EQ(movie->composition->tracks()[0].segments[0].sourceRange, secondsRange(0, 12));

  movie->trim(secondsRange(5, 7));  // to the end: only the head goes
  EXPECT_EQ(movie->composition->duration(), seconds(7));
  EXPECT_EQ(movie->composition->tracks()[0].segments[0].sourceRange, secondsRange(5, 7));

  movie->trim(TimeRange::make(MediaTime::make(1, 2), MediaTime::make(3, 2)));
  EXPECT_EQ(movie->composition->tracks()[0].segments[0].sourceRange,
            TimeRange::make(MediaTime::make(11, 2), MediaTime::make(3, 2)));
  for (const AssetTrack& track : movie->composition->tracks()) {
    EXPECT_EQ(track.timeRange(), TimeRange::make(MediaTime::zero(), MediaTime::make(3, 2)));
  }
  movie->composition->checkInvariants();
}

TEST_F(MovieTest, RotationTurnsVideoTracksAndSwapsTheNaturalSize) {
  loadCamera(5);
  const AffineTransform original = movie->composition->tracks()[0].preferredTransform;
  const auto transformOf = [&](size_t index) {
    return movie->composition->tracks()[index].preferredTransform;
  };

  movie->rotate(true);
  EXPECT_EQ(movie->composition->naturalSize(), (Size{1080, 1920}));
  // Counterclockwise on screen: the picture's right edge (x axis) ends up pointing up (-y).
  const Point right = transformOf(0).apply(Point{1, 0});
  EXPECT_NEAR(right.x, 0, 1e-12);
  EXPECT_NEAR(right.y, -1, 1e-12);
  EXPECT_TRUE(transformOf(1).isIdentity());  // audio
  EXPECT_TRUE(transformOf(2).isIdentity());  // text

  movie->rotate(false);
  EXPECT_EQ(movie->composition->naturalSize(), (Size{1920, 1080}));
  EXPECT_TRUE(transformOf(0).approximatelyEquals(original));

  movie->rotate(false);
  movie->rotate(false);
  EXPECT_TRUE(transformOf(0).approximatelyEquals(AffineTransform{-1, 0, 0, -1, 0, 0}));
}

TEST_F(MovieTest, FailedInsertThrowsPublishesNothingAndLeavesAnUndoEntry) {
  loadCamera(10);
  const auto before = movie->composition->copy();
  const int count = published;
  EXPECT_THROW(movie->insert(MovieFragment{camera, secondsRange(50, 20)}, seconds(0)),
               ErrorException);
  EXPECT_THROW(movie->insert(MovieFragment{camera, secondsRange(0, 1)}, seconds(11)),
               ErrorException);
  EXPECT_EQ(published, count);
  EXPECT_TRUE(equivalent(*movie->composition, *before));
  EXPECT_EQ(manager->undoActionName(), "Insert");

  ASSERT_TRUE(manager->undo());
  ASSERT_TRUE(manager->undo());
  EXPECT_TRUE(equivalent(*movie->composition, *before));
  EXPECT_FALSE(manager->canUndo());
}

// Thousands of random edits, then undo all and redo all: each step must give back exactly the
// state recorded at that point.
TEST_F(MovieTest, RandomEditsUndoAndRedoThroughEveryRecordedState) {
  loadCamera(30);
  std::mt19937_64 random(20240611);
  const auto uniform = [&](int64_t below) { return static_cast<int64_t>(random() % below); };
  const auto timeUpTo = [&](MediaTime limit) {
    return MediaTime::make(uniform(static_cast<int64_t>(limit.seconds() * 30000) + 1), 30000);
  };
  std::vector<std::shared_ptr<const Composition>> states{movie->composition->copy()};
  MovieFragment clipboard{movie->composition->copy(), secondsRange(0, 5)};
  for (int step = 0; step < 3000; ++step) {
    const MediaTime duration = movie->composition->duration();
    const int choice = static_cast<int>(uniform(100));
    const MediaTime start = timeUpTo(duration);
    const MediaTime length = timeUpTo(minimum(subtract(duration, start), seconds(8)));
    const TimeRange range = TimeRange::make(start, length);
    try {
      if (choice < 20 && duration.seconds() < 120) {
        const MediaTime from = MediaTime::make(uniform(1500), 30);
        movie->insert(
            MovieFragment{camera, TimeRange::make(from, MediaTime::make(1 + uniform(240), 60))},
            start);
      } else if (choice < 30) {
        movie->insert(clipboard, start);
      } else if (choice < 33) {
        movie->insert(clipboard, add(duration, seconds(1)));  // fails, leaves an entry
      } else if (choice < 35) {
        clipboard = MovieFragment{movie->composition->copy(), range};
        continue;
      } else if (choice < 65) {
        movie->remove(range);
      } else if (choice < 70 && duration.seconds() > 20) {
        movie->trim(TimeRange::make(MediaTime::make(1, 2), subtract(duration, seconds(1))));
      } else if (choice < 88) {
        movie->scale(range, MediaTime::make(1 + uniform(9000), 997));
      } else {
        movie->rotate(uniform(2) == 0);
      }
    } catch (const ErrorException&) {
    }
    ASSERT_NO_THROW(movie->composition->checkInvariants()) << "step " << step;
    states.push_back(movie->composition->copy());
  }
  ASSERT_EQ(states.size(), static_cast<size_t>(manager->changeCount()) + 1);

  for (size_t i = states.size() - 1; i > 0; --i) {
    ASSERT_TRUE(manager->undo());
    ASSERT_TRUE(equivalent(*movie->composition, *states[i - 1])) << "undo to state " << i - 1;
  }
  EXPECT_FALSE(manager->canUndo());
  for (size_t i = 1; i < states.size(); ++i) {
    ASSERT_TRUE(manager->redo());
    ASSERT_TRUE(equivalent(*movie->composition, *states[i])) << "redo to state " << i;
  }
  EXPECT_FALSE(manager->canRedo());
  EXPECT_EQ(movie->bindableAsset->value().get(), movie->composition.get());
}

}  // namespace
}  // namespace reelcraft
