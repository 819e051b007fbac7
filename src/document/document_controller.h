#pragma once

#include <memory>
#include <string>
#include <vector>

#include "document/document.h"

namespace reelcraft {

// Knows the open documents and which of them is current (the one whose window is in front).
// Opening a file that is already open gives back its document instead of a second one.
// Main thread only.
class DocumentController {
 public:
  // A new untitled document with its window (Document::makeWindowControllers); it becomes
  // current.
  std::shared_ptr<Document> newDocument();
  // The document of the movie file at `path`, opened with its window if it is not open yet;
  // it becomes current. Throws ErrorException when the file cannot be read; the open
  // documents are unchanged then.
  std::shared_ptr<Document> openDocument(const std::string& path);
  // Forgets `document`. When it was current, the most recently current of the others
  // becomes current (none when no document is left).
  void closeDocument(const Document& document);

  // In the order they were opened.
  const std::vector<std::shared_ptr<Document>>& documents() const { return documents_; }
  // Null when no document is open.
  std::shared_ptr<Document> currentDocument() const;
  // Called when a document's window comes to the front; a document that is not open is
  // ignored.
  void setCurrentDocument(const Document& document);
  // The open document whose file is `path` (the same file, however named), or null.
  std::shared_ptr<Document> documentForPath(const std::string& path) const;

 private:
  void add(const std::shared_ptr<Document>& document);

  std::vector<std::shared_ptr<Document>> documents_;
  // Least recently current first; the current document last.
  std::vector<const Document*> activationOrder_;
};

}  // namespace reelcraft
