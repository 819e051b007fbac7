#include "document/movie.h"

#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

namespace reelcraft {
namespace {

// The composition an undo object holds, or null for anything else.
std::shared_ptr<const Composition> compositionIn(const std::any& object) {
  if (const auto* snapshot = std::any_cast<std::shared_ptr<const Composition>>(&object)) {
    return *snapshot;
  }
  if (const auto* snapshot = std::any_cast<std::shared_ptr<Composition>>(&object)) {
    return *snapshot;
  }
  if (const auto* snapshot = std::any_cast<std::shared_ptr<MutableComposition>>(&object)) {
    return *snapshot;
  }
  if (const auto* asset = std::any_cast<AssetPtr>(&object)) {
    return std::dynamic_pointer_cast<const Composition>(*asset);
  }
  return nullptr;
}

}  // namespace

std::shared_ptr<Movie> Movie::create() {
  auto movie = std::make_shared<Movie>(ConstructionKey{});
  // Held weakly: the undo manager keeps the bridge, and the bridge must not keep the movie.
  std::weak_ptr<Movie> weakMovie = movie;
  movie->undoActionTarget->closure1 = [weakMovie](const std::any& object) {
    if (const auto movie = weakMovie.lock()) movie->restore(object);
  };
  return movie;
}

Movie::Movie(ConstructionKey)
    : composition(MutableComposition::create()),
      undoActionTarget(std::make_shared<TargetActionBridge>()) {
  composition->addMutableTrack(MediaType::Video, 0);
  composition->insertEmptyTimeRange(TimeRange::make(MediaTime::zero(), MediaTime::make(2000, 200)));
  bindableAsset = Bindable<AssetPtr>::create(composition);
}

void Movie::insert(const MovieFragment& fragment, MediaTime time) {
  if (fragment.asset == nullptr) {
    std::fputs("Movie::insert: the fragment has no asset\n", stderr);
    std::abort();
  }
  registerUndo("Insert");
  composition->insertTimeRange(fragment.range, *fragment.asset, time);
  publish();
}

void Movie::remove(TimeRange range) {
  registerUndo("Delete");
  composition->removeTimeRange(range);
  publish();
}

void Movie::trim(TimeRange range) {
  registerUndo("Trim");
  const MediaTime end = add(range.start, range.duration);
  const MediaTime tail = subtract(composition->duration(), end);
  // The tail goes first, so that removing the head cannot move it.
  composition->removeTimeRange(TimeRange::make(end, tail));
  composition->removeTimeRange(TimeRange::make(MediaTime::zero(), range.start));
  publish();
}

void Movie::rotate(bool left) {
  registerUndo("Rotate");
  const Size size = composition->naturalSize();
  composition->setNaturalSize(Size{size.height, size.width});
  const double angle = left ? -std::numbers::pi / 2 : std::numbers::pi / 2;
  std::vector<std::pair<int32_t, AffineTransform>> rotated;
  for (const AssetTrack& track : composition->tracks()) {
    if (track.mediaType != MediaType::Video) continue;
    rotated.emplace_back(track.trackID, track.preferredTransform.rotated(angle));
  }
  for (const auto& [trackID, transform] : rotated) {
    composition->setPreferredTransform(trackID, transform);
  }
  publish();
}

void Movie::scale(TimeRange range, MediaTime duration) {
  registerUndo("Stretch Time");
  composition->scaleTimeRange(range, duration);
  publish();
}

void Movie::restore(const std::any& object) {
  // Registered while the manager undoes (or redoes), this becomes the redo (or undo) entry
  // and keeps the action name of the entry being replayed.
  if (const auto manager = undoManager.lock()) registerSnapshot(*manager);
  const auto snapshot = compositionIn(object);
  if (snapshot == nullptr) return;
  composition = snapshot->mutableCopy();
  publish();
}

void Movie::registerUndo(const char* actionName) {
  const auto manager = undoManager.lock();
  if (manager == nullptr) return;
  manager->setActionName(actionName);
  registerSnapshot(*manager);
}

void Movie::registerSnapshot(UndoManager& manager) {
  manager.registerUndo(undoActionTarget, std::string(TargetActionBridge::kAction1),
                       std::any(composition->copy()));
}

void Movie::publish() {
  bindableAsset->setValueAndNotify(composition);
}

}  // namespace reelcraft
