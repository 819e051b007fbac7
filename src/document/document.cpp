#include "document/document.h"

#include <filesystem>
#include <iostream>
#include <utility>

#include "document/document_error.h"
#include "document/safe_file_replacement.h"
#include "document/written_movie_check.h"
#include "media/model/file_asset.h"
#include "media/save/saved_movie_container.h"

namespace reelcraft {
namespace {

std::string fileName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty()) return;
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

// The writer's own failure, told about the destination rather than the temporary file.
Error saveErrorFromWriteFailure(Error failure, const std::string& temporaryPath,
                                const std::string& destination) {
  replaceAll(failure.description, temporaryPath, destination);
  replaceAll(failure.description, fileName(temporaryPath), fileName(destination));
  return makeSaveError(DocumentErrorCode::WriteFailed, destination, failure.description,
                       failure.recoverySuggestion);
}

}  // namespace

std::shared_ptr<Document> Document::create() {
  auto document = std::make_shared<Document>(ConstructionKey{});
  if (documentHooks().closeLaunchAssistant) documentHooks().closeLaunchAssistant();
  return document;
}

std::shared_ptr<Document> Document::open(const std::string& path) {
  auto document = create();
  document->readFromFile(path);
  document->markSaved(path);
  return document;
}

Document::Document(ConstructionKey)
    : movie_(Movie::create()),
      undoManager_(std::make_shared<UndoManager>()),
      savedState_(undoManager_->currentState()),
      movieWriter_(writePassthroughMovie),
      noteStream_(&std::cout) {
  movie_->undoManager = undoManager_;
  undoObserver_ = undoManager_->addChangeObserver([this] { editedStateMayHaveChanged(); });
}

Document::~Document() {
  undoManager_->removeChangeObserver(undoObserver_);
}

std::string Document::displayName() const {
  return filePath_.empty() ? "Untitled" : fileName(filePath_);
}

bool Document::isDocumentEdited() const {
  return changedOutsideUndo_ || !undoManager_->isAtState(savedState_);
}

void Document::updateChangeCount(ChangeKind change) {
  switch (change) {
    case ChangeKind::Done:
      changedOutsideUndo_ = true;
      break;
    case ChangeKind::Cleared:
      changedOutsideUndo_ = false;
      savedState_ = undoManager_->currentState();
      break;
  }
  editedStateMayHaveChanged();
}

void Document::addEditedStateObserver(std::function<void(bool edited)> observer) {
  editedStateObservers_.push_back(std::move(observer));
}

void Document::editedStateMayHaveChanged() {
  const bool edited = isDocumentEdited();
  if (edited == reportedEdited_) return;
  reportedEdited_ = edited;
  // A copy: an observer may add another.
  const auto observers = editedStateObservers_;
  for (const auto& observer : observers) observer(edited);
}

void Document::readFromFile(const std::string& path) {
  const auto asset = FileAsset::open(path);
  MutableComposition& composition = *movie_->composition;
  // Takes away the empty video track and empty time a new movie starts with.
  while (!composition.tracks().empty()) {
    composition.removeTrack(composition.tracks().back().trackID);
  }
  composition.insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                              MediaTime::zero());
}

void Document::writeToFile(const std::string& path) {
  lastWriteFailure_.reset();
  try {
    const PassthroughWriteReport report = movieWriter_(*movie_->composition, path);
    for (const std::string& note : report.reencodedTracks) {
      *noteStream_ << "Re-encoded while saving “" << displayName() << "”: " << note << "\n";
    }
  } catch (const ErrorException& failure) {
    lastWriteFailure_ = failure.error();
  } catch (const std::exception& failure) {
    lastWriteFailure_ = Error{std::string(kDocumentErrorDomain),
                              static_cast<int>(DocumentErrorCode::WriteFailed), failure.what(), ""};
  }
}

std::string Document::proposedSaveName() const {
  if (!filePath_.empty() && savedMovieContainerForPath(filePath_)) return filePath_;
  const std::string extension = extensionHoldingAllTracks(*movie_->composition).value_or(".mov");
  if (filePath_.empty()) return displayName() + extension;
  return std::filesystem::path(filePath_).replace_extension(extension).string();
}

bool Document::save() {
  std::string destination = filePath_;
  // A file that a save cannot write (Matroska, MPEG-TS, AVI...) is never overwritten with a
  // movie of another kind: the saved movie goes where the user says.
  if (destination.empty() || !savedMovieContainerForPath(destination)) {
    const auto& choose = documentHooks().chooseSaveDestination;
    const auto chosen = choose ? choose(*this) : std::nullopt;
    if (!chosen) return false;
    destination = *chosen;
  }
  saveAs(destination);
  return true;
}

void Document::saveAs(const std::string& path) {
  const std::shared_ptr<const Composition> snapshot = movie_->composition->copy();
  if (!hasMedia(*snapshot)) {
    throw ErrorException(
        makeSaveError(DocumentErrorCode::NothingToSave, path, "the movie holds no video or sound"));
  }
  replaceFileSafely(
      path, [this](const std::string& temporaryPath) { writeToFile(temporaryPath); },
      [&](const std::string& temporaryPath) {
        try {
          checkWrittenMovie(temporaryPath, *snapshot, path);
        } catch (const ErrorException&) {
          // The writer's own account of what went wrong says more than what it left behind.
          if (lastWriteFailure_) {
            throw ErrorException(
                saveErrorFromWriteFailure(*lastWriteFailure_, temporaryPath, path));
          }
          throw;
        }
      });
  markSaved(path);
}

bool Document::trySave() {
  if (!isDocumentEdited()) return false;
  try {
    return save();
  } catch (const ErrorException& failure) {
    if (documentHooks().presentError) documentHooks().presentError(failure.error(), *this);
    return false;
  }
}

bool Document::trySaveAs() {
  const auto& choose = documentHooks().chooseSaveDestination;
  const auto destination = choose ? choose(*this) : std::nullopt;
  if (!destination) return false;
  try {
    saveAs(*destination);
    return true;
  } catch (const ErrorException& failure) {
    if (documentHooks().presentError) documentHooks().presentError(failure.error(), *this);
    return false;
  }
}

void Document::exportMovie() {
  DocumentWindowController* window = windowForSheet();
  if (window == nullptr || !documentHooks().startBasicExport) return;
  documentHooks().startBasicExport(movie_, *window);
}

bool Document::validateMenuItem(std::string_view action) const {
  if (action.empty()) return true;
  if (action == "trySave:") return isDocumentEdited();
  return true;
}

void Document::makeWindowControllers() {
  if (!windowControllers_.empty() || !documentHooks().makeWindowController) return;
  if (auto controller = documentHooks().makeWindowController(*this)) {
    windowControllers_.push_back(std::move(controller));
  }
}

DocumentWindowController* Document::windowForSheet() const {
  for (const auto& controller : windowControllers_) {
    if (controller->canPresentSheets()) return controller.get();
  }
  return nullptr;
}

void Document::markSaved(const std::string& path) {
  filePath_ = path;
  savedState_ = undoManager_->currentState();
  changedOutsideUndo_ = false;
  editedStateMayHaveChanged();
}

}  // namespace reelcraft
