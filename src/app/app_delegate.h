#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QObject>
#include <QStringList>

#include "document/document.h"
#include "document/document_controller.h"
#include "media/audio/audio_sink.h"

class QWidget;

namespace reelcraft {

class PlayerWindowController;

// The application: opens documents (from the command line, the Open dialog or dropped files)
// in document windows, shows the launch assistant instead of ever making an untitled document
// by itself, asks before an edited document is closed or the application quits, and supplies
// the documents' window, save panel and error alert. One instance at a time; main thread only.
class AppDelegate : public QObject {
  Q_OBJECT

 public:
  enum class SaveAnswer { Save, DontSave, Cancel };

  // Everything that talks to the user in a way that waits for an answer, so that tests can
  // answer instead. Each has a dialog of the application's as default.
  struct Options {
    // Asks whether to save `document` before it closes; `reply` is called once, later or at
    // once.
    std::function<void(const Document& document, QWidget* window,
                       std::function<void(SaveAnswer)> reply)>
        askToSave;
    // The Open dialog: `reply` gets the chosen files (none when cancelled).
    std::function<void(std::function<void(QStringList)> reply)> chooseFilesToOpen;
    // The Save dialog for an untitled document or Save As: a path, or none when cancelled.
    std::function<std::optional<std::string>(const Document& document)> chooseSaveDestination;
    // The Export dialog: where to write the exported movie, or none when cancelled.
    std::function<std::optional<std::string>(QWidget* window)> chooseExportDestination;
    // Learns how each export ended (whether it wrote its file).
    std::function<void(bool succeeded)> exportFinished;
    // Makes the sound output of each player; the system's audio output when empty. A null
    // result plays silently.
    std::function<std::shared_ptr<AudioSink>()> audioSinkFactory;
    // Ends the application once every document has agreed to close; quits the event loop
    // when empty.
    std::function<void()> quitApplication;
  };

  // The running application's delegate, or null.
  static AppDelegate* shared();
  // Whether the time control panel's storyboard is part of this build.
  static bool hasTimeControls();

  explicit AppDelegate(Options options = {});
  ~AppDelegate() override;
  AppDelegate(const AppDelegate&) = delete;
  AppDelegate& operator=(const AppDelegate&) = delete;

  DocumentController& documentController() { return documents_; }

  // Start-up: opens `files` as documents, or shows the launch assistant when there are none
  // (or none could be opened).
  void applicationDidFinishLaunching(const QStringList& files);
  // Shows the launch assistant and answers false: no untitled document is made by itself.
  bool applicationShouldOpenUntitledFile();

  // A new untitled document with its window.
  std::shared_ptr<Document> newDocument();
  // The Open dialog, then openFiles with what was chosen.
  void openDocument();
  // Opens each file as a document (a file already open brings its window to the front). A
  // file that cannot be read shows the error alert, on `alertWindow` when given, and opens
  // nothing. Returns the documents opened.
  std::vector<std::shared_ptr<Document>> openFiles(const QStringList& paths,
                                                   QWidget* alertWindow = nullptr);

  // Closes `document` and its window, asking first whether to save it when it is edited.
  // `done` learns whether it was closed.
  void closeDocument(Document& document, std::function<void(bool closed)> done = {});
  // Asks about each edited document in turn; quits once all are closed, stops at a Cancel.
  void terminate();
  // Shows the time control panel (once it is part of the build).
  void showTimeControls();

  PlayerWindowController* windowControllerOf(const Document& document) const;

 private:
  void installDocumentHooks();
  void closeUnasked(Document& document);
  void closeNext(std::vector<std::weak_ptr<Document>> remaining);

  Options options_;
  DocumentController documents_;
  bool terminating_ = false;
  // Documents whose save question is on screen: asking again waits for that answer.
  std::set<const Document*> asking_;
};

}  // namespace reelcraft
