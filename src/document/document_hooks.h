#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "media/base/error.h"

namespace reelcraft {

class Document;
class Movie;

// The window a document shows its movie in, as far as documents need to know it. The desktop
// application implements it with its player window controller.
class DocumentWindowController {
 public:
  virtual ~DocumentWindowController() = default;
  // Whether the window is on screen and can hold a sheet (the export sheet).
  virtual bool canPresentSheets() const = 0;
};

// What the application around the documents supplies. Every hook is optional: an absent one
// makes its step do nothing (or, for `chooseSaveDestination`, cancels the save).
struct DocumentHooks {
  // Called by every new document after its movie has its undo manager: closes the launch
  // assistant window if it is open.
  std::function<void()> closeLaunchAssistant;
  // The document window, made once per document by Document::makeWindowControllers.
  std::function<std::shared_ptr<DocumentWindowController>(Document&)> makeWindowController;
  // Starts the basic export flow for `movie` with sheets on `window`.
  std::function<void(const std::shared_ptr<Movie>& movie, DocumentWindowController& window)>
      startBasicExport;
  // The save panel: where to save `document`, or nothing when the user cancels.
  std::function<std::optional<std::string>(const Document& document)> chooseSaveDestination;
  // The error alert for a failed save started from a menu command.
  std::function<void(const Error& error, const Document& document)> presentError;
};

// The hooks every document uses; set once by the application at start-up (the command line
// and tests leave them empty or set their own).
DocumentHooks& documentHooks();

}  // namespace reelcraft
