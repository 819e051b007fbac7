#include "document/movie_fragment.h"

#include "core/timeline_selection.h"
#include "document/movie.h"

namespace reelcraft {

MovieFragment MovieFragment::fromMovie(const Movie& movie, const TimelineSelection& selection) {
  MovieFragment fragment;
  fragment.asset = movie.composition->copy();
  fragment.range = TimeRange::make(selection.start, selection.duration);
  return fragment;
}

}  // namespace reelcraft
