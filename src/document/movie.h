#pragma once

#include <any>
#include <memory>

#include "core/bindable.h"
#include "core/target_action_bridge.h"
#include "document/movie_fragment.h"
#include "media/model/asset.h"
#include "media/model/composition.h"
#include "media/base/media_time.h"
#include "media/base/undo_manager.h"

namespace reelcraft {

// The edit model of one open movie: the composition that holds the whole edited movie, the
// observable that publishes it, and undo by snapshot. Every edit first registers an immutable
// copy of the whole composition with the undo manager (when there is one), then changes the
// composition in place and publishes it. Undo and redo both restore a snapshot, leaving a
// snapshot of what they replaced. Main thread only.
class Movie {
 public:
  // A new movie: one empty video track and ten seconds of empty time, no undo manager.
  static std::shared_ptr<Movie> create();

  Movie(const Movie&) = delete;
  Movie& operator=(const Movie&) = delete;

  // Inserts the fragment's range of its asset at `time`. Throws the composition's
  // ErrorException when the insertion fails; the "Insert" undo entry is registered before the
  // attempt and stays, and nothing is published. A fragment without an asset is a programming
  // error and stops the program.
  void insert(const MovieFragment& fragment, MediaTime time);
  // Removes `range`.
  void remove(TimeRange range);
  // Keeps only `range`: removes what follows it, then what precedes it.
  void trim(TimeRange range);
  // Turns the picture a quarter turn, counterclockwise when `left`: swaps the natural size
  // and rotates the transform of every video track.
  void rotate(bool left);
  // Plays `range` over `duration`.
  void scale(TimeRange range, MediaTime duration);
  // Replaces the composition by an editable copy of `object`, a snapshot handed back by the
  // undo manager, after registering the present state as the way back. An object that is not
  // a composition only registers.
  void restore(const std::any& object);

  // Edited in place by the edits, replaced whole by undo and redo.
  std::shared_ptr<MutableComposition> composition;
  // Holds `composition` after every edit, undo and redo, and tells its observers each time.
  std::shared_ptr<Bindable<AssetPtr>> bindableAsset;
  // The owning document's undo manager; edits cannot be undone without one.
  std::weak_ptr<UndoManager> undoManager;
  // The undo target; its action restores the snapshot it is handed.
  const std::shared_ptr<TargetActionBridge> undoActionTarget;

 private:
  struct ConstructionKey {};

 public:
  explicit Movie(ConstructionKey);

 private:
  // Names the undo action and registers a snapshot of the present composition.
  void registerUndo(const char* actionName);
  void registerSnapshot(UndoManager& manager);
  void publish();
};

}  // namespace reelcraft
