#include "document/document_controller.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace reelcraft {
namespace {

bool sameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  const bool equivalent = std::filesystem::equivalent(a, b, error);
  return error ? a == b : equivalent;
}

}  // namespace

std::shared_ptr<Document> DocumentController::newDocument() {
  auto document = Document::create();
  add(document);
  return document;
}

std::shared_ptr<Document> DocumentController::openDocument(const std::string& path) {
  if (auto open = documentForPath(path)) {
    setCurrentDocument(*open);
    return open;
  }
  auto document = Document::open(path);
  add(document);
  return document;
}

void DocumentController::closeDocument(const Document& document) {
  std::erase_if(documents_, [&](const auto& open) { return open.get() == &document; });
  std::erase(activationOrder_, &document);
}

std::shared_ptr<Document> DocumentController::currentDocument() const {
  if (activationOrder_.empty()) return nullptr;
  const Document* current = activationOrder_.back();
  for (const auto& document : documents_) {
    if (document.get() == current) return document;
  }
  return nullptr;
}

void DocumentController::setCurrentDocument(const Document& document) {
  if (std::find(activationOrder_.begin(), activationOrder_.end(), &document) ==
      activationOrder_.end()) {
    return;
  }
  std::erase(activationOrder_, &document);
  activationOrder_.push_back(&document);
}

std::shared_ptr<Document> DocumentController::documentForPath(const std::string& path) const {
  for (const auto& document : documents_) {
    if (!document->filePath().empty() && sameFile(document->filePath(), path)) return document;
  }
  return nullptr;
}

void DocumentController::add(const std::shared_ptr<Document>& document) {
  documents_.push_back(document);
  activationOrder_.push_back(document.get());
  document->makeWindowControllers();
}

}  // namespace reelcraft
