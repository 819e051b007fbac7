#pragma once

#include "media/model/asset.h"
#include "media/base/media_time.h"

namespace reelcraft {

class Movie;
struct TimelineSelection;

// A stretch of a movie, the unit of copy and paste: a frozen asset and a range in its time.
struct MovieFragment {
  AssetPtr asset;
  TimeRange range = TimeRange::make(MediaTime::make(0, 200), MediaTime::make(0, 200));

  // An immutable copy of `movie`'s composition, so that later edits of the movie leave the
  // fragment as it was, with the selection's start and duration as its range. The range is
  // not checked against the movie.
  static MovieFragment fromMovie(const Movie& movie, const TimelineSelection& selection);
};

}  // namespace reelcraft
