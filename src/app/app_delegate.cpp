#include "app/app_delegate.h"

#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>

#include "app/app_storyboards.h"
#include "app/basic_export_sheet.h"
#include "app/clipboard_pasteboard.h"
#include "app/error_alert.h"
#include "app/launch_assistant.h"
#include "app/player_view_controller.h"
#include "app/player_window_controller.h"
#include "app/storyboard.h"
#include "app/window_registry.h"
#include "document/general_pasteboard.h"
#include "qt_media/qt_audio_sink.h"

namespace reelcraft {
namespace {

AppDelegate* sharedDelegate = nullptr;

const QString kMovieFilter = QStringLiteral(
    "Movies (*.mov *.mp4 *.m4v *.m4a *.qt *.avi *.mkv *.webm *.wav *.aiff *.mp3);;All files (*)");

void askToSaveInMessageBox(const Document& document, QWidget* window,
                           std::function<void(AppDelegate::SaveAnswer)> reply) {
  auto* box =
      new QMessageBox(QMessageBox::Warning, QString(),
                      QObject::tr("Do you want to save the changes made to the document "
                                  "“%1”?")
                          .arg(QString::fromStdString(document.displayName())),
                      QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, window);
  box->setInformativeText(QObject::tr("Your changes will be lost if you don’t save them."));
  box->button(QMessageBox::Discard)->setText(QObject::tr("Don’t Save"));
  box->setDefaultButton(QMessageBox::Save);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
  QObject::connect(box, &QMessageBox::finished, box, [box, reply](int) {
    switch (box->standardButton(box->clickedButton())) {
      case QMessageBox::Save:
        reply(AppDelegate::SaveAnswer::Save);
        break;
      case QMessageBox::Discard:
        reply(AppDelegate::SaveAnswer::DontSave);
        break;
      default:
        reply(AppDelegate::SaveAnswer::Cancel);
    }
  });
  box->open();
}

void chooseFilesInDialog(std::function<void(QStringList)> reply) {
  auto* dialog = new QFileDialog(nullptr, QObject::tr("Open"), QString(), kMovieFilter);
  dialog->setFileMode(QFileDialog::ExistingFiles);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  QObject::connect(dialog, &QFileDialog::finished, dialog, [dialog, reply](int result) {
    reply(result == QDialog::Accepted ? dialog->selectedFiles() : QStringList());
  });
  dialog->open();
}

std::optional<std::string> chooseSaveDestinationInDialog(const Document& document,
                                                         QWidget* window) {
  const QString quickTime = QObject::tr("QuickTime movie (*.mov)");
  const QString mpeg4 = QObject::tr("MPEG-4 movie (*.mp4 *.m4v *.m4a)");
  const QString suggested = QString::fromStdString(document.proposedSaveName());
  QString chosenType =
      QFileInfo(suggested).suffix().compare("mov", Qt::CaseInsensitive) == 0 ? quickTime : mpeg4;
  QString path = QFileDialog::getSaveFileName(window, QObject::tr("Save"), suggested,
                                              quickTime + ";;" + mpeg4, &chosenType);
  if (path.isEmpty()) return std::nullopt;
  if (QFileInfo(path).suffix().isEmpty()) path += chosenType == quickTime ? ".mov" : ".mp4";
  return path.toStdString();
}

std::optional<std::string> chooseExportDestinationInDialog(QWidget* window) {
  QString path = QFileDialog::getSaveFileName(window, QObject::tr("Export"), QString(),
                                              QObject::tr("MPEG-4 movie (*.mp4)"));
  if (path.isEmpty()) return std::nullopt;
  if (QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".mp4");
  return path.toStdString();
}

}  // namespace

AppDelegate* AppDelegate::shared() {
  return sharedDelegate;
}

bool AppDelegate::hasTimeControls() {
  return Storyboard::exists(kTimeControlStoryboard) &&
         Storyboard::named(kTimeControlStoryboard).contains(kTimeControlIdentifier);
}

AppDelegate::AppDelegate(Options options) : options_(std::move(options)) {
  sharedDelegate = this;
  registerApplicationStoryboards();
  setGeneralPasteboard(std::make_shared<ClipboardPasteboard>());
  // The launch assistant stands in for the last document window; the application ends only
  // when the user quits or closes the assistant.
  QGuiApplication::setQuitOnLastWindowClosed(false);
  installDocumentHooks();
}

AppDelegate::~AppDelegate() {
  const auto open = documents_.documents();
  for (const auto& document : open) {
    if (auto* controller = windowControllerOf(*document)) controller->playerWindow()->allowClose();
    documents_.closeDocument(*document);
  }
  closeWindowController(kLaunchAssistantIdentifier, kLaunchAssistantStoryboard);
  documentHooks() = DocumentHooks();
  if (sharedDelegate == this) sharedDelegate = nullptr;
}

void AppDelegate::installDocumentHooks() {
  auto& hooks = documentHooks();
  hooks.closeLaunchAssistant = [] {
    closeWindowController(kLaunchAssistantIdentifier, kLaunchAssistantStoryboard);
  };
  hooks.makeWindowController = [this](Document& document) {
    auto object =
        Storyboard::named(kMainStoryboard).instantiateController(kDocumentWindowIdentifier);
    auto* controller = dynamic_cast<PlayerWindowController*>(object.get());
    if (controller == nullptr) qFatal("The document window is not a PlayerWindowController");
    object.release();
    auto audioSinks = options_.audioSinkFactory;
    if (!audioSinks) audioSinks = [] { return std::make_shared<QtAudioSink>(); };
    controller->playerViewController()->setAudioSinkFactory(audioSinks);
    controller->setDocument(&document);
    controller->showWindow();
    // The window goes with its document; deleted from the event loop, since a document
    // may close from one of its window's own handlers.
    return std::shared_ptr<DocumentWindowController>(controller,
                                                     [](PlayerWindowController* closing) {
                                                       closing->setDocument(nullptr);
                                                       if (closing->window())
                                                         closing->window()->hide();
                                                       closing->deleteLater();
                                                     });
  };
  hooks.startBasicExport = [this](const std::shared_ptr<Movie>& movie,
                                  DocumentWindowController& window) {
    auto* controller = dynamic_cast<PlayerWindowController*>(&window);
    if (controller == nullptr) return;
    auto choose = options_.chooseExportDestination;
    if (!choose) choose = chooseExportDestinationInDialog;
    startBasicExportFlow(movie, controller->window(), choose, options_.exportFinished);
  };
  hooks.chooseSaveDestination = [this](const Document& document) {
    if (options_.chooseSaveDestination) return options_.chooseSaveDestination(document);
    auto* controller = windowControllerOf(document);
    return chooseSaveDestinationInDialog(document, controller ? controller->window() : nullptr);
  };
  hooks.presentError = [this](const Error& error, const Document& document) {
    auto* controller = windowControllerOf(document);
    showErrorAlert(error, controller ? controller->window() : nullptr);
  };
}

void AppDelegate::applicationDidFinishLaunching(const QStringList& files) {
  if (!files.isEmpty()) openFiles(files);
  if (documents_.documents().empty()) applicationShouldOpenUntitledFile();
}

bool AppDelegate::applicationShouldOpenUntitledFile() {
  showWindowController(kLaunchAssistantIdentifier, kLaunchAssistantStoryboard);
  return false;
}

std::shared_ptr<Document> AppDelegate::newDocument() {
  return documents_.newDocument();
}

void AppDelegate::openDocument() {
  auto reply = [this](QStringList files) {
    if (!files.isEmpty()) openFiles(files);
    if (documents_.documents().empty()) applicationShouldOpenUntitledFile();
  };
  if (options_.chooseFilesToOpen) {
    options_.chooseFilesToOpen(reply);
  } else {
    chooseFilesInDialog(reply);
  }
}

std::vector<std::shared_ptr<Document>> AppDelegate::openFiles(const QStringList& paths,
                                                              QWidget* alertWindow) {
  std::vector<std::shared_ptr<Document>> opened;
  for (const QString& path : paths) {
    try {
      auto document = documents_.openDocument(path.toStdString());
      if (auto* controller = windowControllerOf(*document)) controller->showWindow();
      opened.push_back(std::move(document));
    } catch (const ErrorException& failure) {
      showErrorAlert(failure.error(), alertWindow);
    }
  }
  if (documents_.documents().empty()) applicationShouldOpenUntitledFile();
  return opened;
}

PlayerWindowController* AppDelegate::windowControllerOf(const Document& document) const {
  for (const auto& controller : document.windowControllers()) {
    if (auto* player = dynamic_cast<PlayerWindowController*>(controller.get())) return player;
  }
  return nullptr;
}

void AppDelegate::closeDocument(Document& document, std::function<void(bool closed)> done) {
  std::weak_ptr<Document> kept;
  for (const auto& open : documents_.documents()) {
    if (open.get() == &document) kept = open;
  }
  auto finish = [done](bool closed) {
    if (done) done(closed);
  };
  if (kept.expired()) return finish(false);
  if (!document.isDocumentEdited()) {
    closeUnasked(document);
    return finish(true);
  }
  if (asking_.contains(&document)) return finish(false);
  asking_.insert(&document);
  auto* controller = windowControllerOf(document);
  auto reply = [this, kept, finish, asked = &document](SaveAnswer answer) {
    asking_.erase(asked);
    const auto document = kept.lock();
    if (!document || answer == SaveAnswer::Cancel) return finish(false);
    if (answer == SaveAnswer::Save && !document->trySave()) return finish(false);
    closeUnasked(*document);
    finish(true);
  };
  if (options_.askToSave) {
    options_.askToSave(document, controller ? controller->window() : nullptr, reply);
  } else {
    askToSaveInMessageBox(document, controller ? controller->window() : nullptr, reply);
  }
}

void AppDelegate::closeUnasked(Document& document) {
  std::shared_ptr<Document> keepAlive;
  for (const auto& open : documents_.documents()) {
    if (open.get() == &document) keepAlive = open;
  }
  if (!keepAlive) return;
  if (auto* controller = windowControllerOf(document)) {
    controller->playerWindow()->allowClose();
    controller->window()->close();
  }
  const bool last = documents_.documents().size() == 1;
  documents_.closeDocument(document);
  if (last && !terminating_) applicationShouldOpenUntitledFile();
}

void AppDelegate::terminate() {
  terminating_ = true;
  std::vector<std::weak_ptr<Document>> remaining;
  for (const auto& document : documents_.documents()) remaining.push_back(document);
  closeNext(std::move(remaining));
}

void AppDelegate::closeNext(std::vector<std::weak_ptr<Document>> remaining) {
  while (!remaining.empty() && remaining.front().expired()) remaining.erase(remaining.begin());
  if (remaining.empty()) {
    closeWindowController(kLaunchAssistantIdentifier, kLaunchAssistantStoryboard);
    terminating_ = false;
    if (options_.quitApplication) {
      options_.quitApplication();
    } else {
      QCoreApplication::quit();
    }
    return;
  }
  const auto document = remaining.front().lock();
  remaining.erase(remaining.begin());
  closeDocument(*document, [this, remaining](bool closed) {
    if (closed) {
      closeNext(remaining);
    } else {
      terminating_ = false;
    }
  });
}

void AppDelegate::showTimeControls() {
  if (hasTimeControls()) showWindowController(kTimeControlIdentifier, kTimeControlStoryboard);
}

}  // namespace reelcraft
