#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/timeline_selection.h"
#include "document/general_pasteboard.h"
#include "document/movie_fragment.h"
#include "media/base/media_time.h"

namespace reelcraft {

class Movie;

// The private type under which a copied fragment's identifier goes on the general pasteboard.
inline constexpr std::string_view kMoviePasteboardType = "com.tarvo.pasteboard.movie";

// A copied fragment and the token that stands for it on the general pasteboard.
struct MoviePasteboardItem {
  std::shared_ptr<const MovieFragment> movieFragment;
  std::string identifier;

  // An item for `fragment` whose identifier is built now (moviePasteboardIdentifier with the
  // fragment's address and the present wall-clock time).
  static MoviePasteboardItem make(std::shared_ptr<const MovieFragment> fragment);
};

// "A_B - [S, D]": A the fragment's address as an unsigned decimal number, B the sub-second
// part of the wall-clock time in units of 10 ns, S and D the range's start and duration as
// clock text (0:00:05.20).
std::string moviePasteboardIdentifier(const MovieFragment* fragment, int64_t subsecondTicks,
                                      const TimeRange& range);

// The sub-second part of the present wall-clock time (seconds since 1970) in units of 10 ns.
int64_t wallClockSubsecondTicks();

// Keeps the last fragment this process copied. Only the fragment's identifier goes on the
// general pasteboard, and the fragment is handed out again only while the pasteboard still
// holds exactly that identifier: anything put on the pasteboard since, by this process or
// another, makes it stale (until the same identifier comes back).
class MoviePasteboard {
 public:
  // The one instance of the process, on the process's general pasteboard. Made on first use
  // (thread-safely) and never destroyed.
  static MoviePasteboard& shared();

  // On `pasteboard`; on the process's general pasteboard as it is at each use when null.
  explicit MoviePasteboard(std::shared_ptr<GeneralPasteboard> pasteboard = nullptr);

  const std::optional<MoviePasteboardItem>& lastCopiedItem() const { return lastCopiedItem_; }
  // Keeps `item`, replacing any earlier one, and puts its identifier alone on the general
  // pasteboard.
  void putItem(MoviePasteboardItem item);
  // The kept fragment, when the general pasteboard still holds its identifier; else null.
  std::shared_ptr<const MovieFragment> read() const;

 private:
  std::shared_ptr<GeneralPasteboard> pasteboard() const;

  std::shared_ptr<GeneralPasteboard> pasteboard_;
  std::optional<MoviePasteboardItem> lastCopiedItem_;
};

// The copy command: copies the last of `selections` of `movie` to `pasteboard`. Does nothing
// and returns false when there is no selection or the movie is gone. The selection is not
// checked against the movie.
bool copyMovieSelection(const std::weak_ptr<Movie>& movie,
                        const std::vector<TimelineSelection>& selections,
                        MoviePasteboard& pasteboard = MoviePasteboard::shared());

// The paste command: inserts the pasteboard's fragment into `movie` at `currentTime` (the
// playhead), as one undoable edit. Does nothing and returns false when the pasteboard holds
// no fragment of ours or the movie is gone. Throws the insertion's ErrorException, for the
// caller to show in the error alert.
bool pasteMovieFragment(const std::weak_ptr<Movie>& movie, MediaTime currentTime,
                        MoviePasteboard& pasteboard = MoviePasteboard::shared());

}  // namespace reelcraft
