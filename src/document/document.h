#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/document_hooks.h"
#include "document/movie.h"
#include "media/base/error.h"
#include "media/base/undo_manager.h"
#include "media/model/composition.h"
#include "media/save/passthrough_movie_writer.h"

namespace reelcraft {

// One open movie: owns the Movie and its undo manager, reads a movie file into the movie's
// composition, writes the composition as a QuickTime or MPEG-4 movie without re-encoding, and
// answers the Save, Save As and Export commands. The document is edited whenever its undo manager
// is in a state other than the one last saved (or opened).
//
// Saving is safe: the movie is written to a temporary file next to the destination, the file
// is checked to be a readable movie with the composition's tracks and duration, and only then
// does it replace the destination in one rename. On failure the destination is untouched and
// the document stays edited. Main thread only.
class Document {
 public:
  // Writes a composition to a path as a movie of the kind its extension names;
  // writePassthroughMovie by default.
  using MovieWriter = std::function<PassthroughWriteReport(const Composition& composition,
                                                           const std::string& path)>;

  // A new untitled document holding the new movie's ten empty seconds. In this order: makes
  // the movie, gives the document its undo manager, hands that to the movie, and asks the
  // application to close the launch assistant (documentHooks()).
  static std::shared_ptr<Document> create();
  // A new document read from the movie file at `path` (readFromFile), unedited, with `path` as
  // its file. Throws ErrorException when the file cannot be read.
  static std::shared_ptr<Document> open(const std::string& path);

  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;
  ~Document();

  // Created with the document and never replaced.
  const std::shared_ptr<Movie>& movie() const { return movie_; }
  const std::shared_ptr<UndoManager>& undoManager() const { return undoManager_; }

  // The file the document was read from or last saved to; empty while untitled.
  const std::string& filePath() const { return filePath_; }
  // The file's name, or "Untitled".
  std::string displayName() const;

  // Whether the document differs from its file (or, untitled, from a new movie).
  bool isDocumentEdited() const;
  enum class ChangeKind { Done, Cleared };
  // Done marks the document edited whatever its undo state; Cleared takes the present state
  // as the saved one.
  void updateChangeCount(ChangeKind change);
  // `observer` is called with the new state each time the document becomes edited or
  // unedited (by an edit, undo, redo, save or updateChangeCount), for the window's title.
  void addEditedStateObserver(std::function<void(bool edited)> observer);

  // Replaces the composition's tracks by the whole of the movie file at `path`, starting at
  // zero. Registers no undo and publishes nothing. Throws ErrorException when the file cannot
  // be opened or inserted. Only the opening of a document calls it (DocumentController).
  void readFromFile(const std::string& path);
  // Writes the whole composition to `path` as the movie writer does (by its extension), and
  // prints a line on the note stream for each track the writer had to re-encode. Never
  // fails: a writer failure is only kept (lastWriteFailure) for the safe save to explain why
  // the file it then finds missing or broken is so.
  void writeToFile(const std::string& path);
  const std::optional<Error>& lastWriteFailure() const { return lastWriteFailure_; }

  // Saves safely to the document's file. An untitled document, or one opened from a file that
  // is neither QuickTime nor MPEG-4, asks for a destination first
  // (documentHooks().chooseSaveDestination) and returns false, saving nothing, when none is
  // given. Returns true once saved. Throws ErrorException when saving fails.
  bool save();
  // The destination a save panel proposes: the document's file when a save writes its kind,
  // else its name with the extension (".mov" or ".mp4") of a container that holds every track.
  std::string proposedSaveName() const;
  // Saves safely to `path`, which becomes the document's file. Throws ErrorException when
  // saving fails; the document then keeps its file and stays edited.
  void saveAs(const std::string& path);

  // The menu commands. trySave saves only an edited document; trySaveAs asks for a
  // destination. A failure goes to documentHooks().presentError. Both return whether a file
  // was written.
  bool trySave();
  bool trySaveAs();
  // Starts the basic export flow when the document has a window that can present sheets.
  void exportMovie();
  void tryExport() { exportMovie(); }
  // Kept for the menu; does nothing.
  void advancedExport() {}
  // Whether a menu item is enabled: one without an action always is; "trySave:" exactly when
  // the document is edited; every other one is.
  bool validateMenuItem(std::string_view action) const;

  // Makes the document window once (documentHooks().makeWindowController).
  void makeWindowControllers();
  const std::vector<std::shared_ptr<DocumentWindowController>>& windowControllers() const {
    return windowControllers_;
  }
  // The first window that can present sheets, or null.
  DocumentWindowController* windowForSheet() const;

  // Autosaving in place is off: documents are saved only on the user's command.
  static constexpr bool autosavesInPlace() { return false; }

  void setMovieWriter(MovieWriter writer) { movieWriter_ = std::move(writer); }
  // Where the re-encoding notes go; standard output by default.
  void setNoteStream(std::ostream& stream) { noteStream_ = &stream; }

 private:
  struct ConstructionKey {};

 public:
  explicit Document(ConstructionKey);

 private:
  void markSaved(const std::string& path);
  // Tells the observers when isDocumentEdited() is no longer what they were last told.
  void editedStateMayHaveChanged();

  std::shared_ptr<Movie> movie_;
  std::shared_ptr<UndoManager> undoManager_;
  std::string filePath_;
  ChangeToken savedState_;
  bool changedOutsideUndo_ = false;
  std::optional<Error> lastWriteFailure_;
  MovieWriter movieWriter_;
  std::ostream* noteStream_;
  std::vector<std::shared_ptr<DocumentWindowController>> windowControllers_;
  std::vector<std::function<void(bool)>> editedStateObservers_;
  bool reportedEdited_ = false;
  UndoManager::ObserverId undoObserver_ = 0;
};

}  // namespace reelcraft
