#include "document/movie_pasteboard.h"

#include <chrono>
#include <utility>

#include "core/time_display.h"
#include "document/movie.h"

namespace reelcraft {

std::string moviePasteboardIdentifier(const MovieFragment* fragment, int64_t subsecondTicks,
                                      const TimeRange& range) {
  return std::to_string(reinterpret_cast<uintptr_t>(fragment)) + "_" +
         std::to_string(subsecondTicks) + " - [" + timeDisplayString(range.start) + ", " +
         timeDisplayString(range.duration) + "]";
}

int64_t wallClockSubsecondTicks() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch);
  return (nanoseconds.count() % 1'000'000'000) / 10;
}

MoviePasteboardItem MoviePasteboardItem::make(std::shared_ptr<const MovieFragment> fragment) {
  MoviePasteboardItem item;
  const TimeRange range = fragment ? fragment->range : MovieFragment{}.range;
  item.identifier = moviePasteboardIdentifier(fragment.get(), wallClockSubsecondTicks(), range);
  item.movieFragment = std::move(fragment);
  return item;
}

MoviePasteboard& MoviePasteboard::shared() {
  static MoviePasteboard* const instance = new MoviePasteboard();
  return *instance;
}

MoviePasteboard::MoviePasteboard(std::shared_ptr<GeneralPasteboard> pasteboard)
    : pasteboard_(std::move(pasteboard)) {}

std::shared_ptr<GeneralPasteboard> MoviePasteboard::pasteboard() const {
  return pasteboard_ ? pasteboard_ : generalPasteboard();
}

void MoviePasteboard::putItem(MoviePasteboardItem item) {
  lastCopiedItem_ = std::move(item);
  const auto general = pasteboard();
  general->clearContents();
  general->setString(lastCopiedItem_->identifier, kMoviePasteboardType);
}

std::shared_ptr<const MovieFragment> MoviePasteboard::read() const {
  if (!lastCopiedItem_) return nullptr;
  const auto token = pasteboard()->stringForType(kMoviePasteboardType);
  if (!token || *token != lastCopiedItem_->identifier) return nullptr;
  return lastCopiedItem_->movieFragment;
}

bool copyMovieSelection(const std::weak_ptr<Movie>& movie,
                        const std::vector<TimelineSelection>& selections,
                        MoviePasteboard& pasteboard) {
  if (selections.empty()) return false;
  const auto source = movie.lock();
  if (source == nullptr) return false;
  auto fragment =
      std::make_shared<const MovieFragment>(MovieFragment::fromMovie(*source, selections.back()));
  pasteboard.putItem(MoviePasteboardItem::make(std::move(fragment)));
  return true;
}

bool pasteMovieFragment(const std::weak_ptr<Movie>& movie, MediaTime currentTime,
                        MoviePasteboard& pasteboard) {
  const auto fragment = pasteboard.read();
  if (fragment == nullptr) return false;
  const auto target = movie.lock();
  if (target == nullptr) return false;
  target->insert(*fragment, currentTime);
  return true;
}

}  // namespace reelcraft
