#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <QDialog>
#include <QPointer>
#include <QProgressDialog>
#include <QTimer>

#include "export/basic_export.h"

class QComboBox;
class QSpinBox;

namespace reelcraft {

class Movie;
class MovieExporter;

// The export settings sheet: frame size (starting at the catalogue's default), video and audio
// bit rates in kbit/s (0 for the encoder's default) and the audio sample rate.
class BasicExportSheet : public QDialog {
  Q_OBJECT

 public:
  BasicExportSheet(std::optional<Size> defaultSize, QWidget* parent);

  BasicExportValues values() const;
  QSpinBox* widthField() const { return width_; }
  QSpinBox* heightField() const { return height_; }

 private:
  QSpinBox* width_;
  QSpinBox* height_;
  QSpinBox* videoRate_;
  QSpinBox* audioRate_;
  QComboBox* sampleRate_;
};

// One export in progress: the exporter and its progress sheet, which can cancel it. A failure
// ends in the error alert and leaves no file behind. Deletes itself when the export is over.
class ExportRun : public QObject {
  Q_OBJECT

 public:
  // Starts at once; throws the exporter's ErrorException when it cannot start.
  ExportRun(std::shared_ptr<Movie> movie, std::string path,
            std::shared_ptr<const MovieFileFormat> format, QWidget* window,
            std::function<void(bool succeeded)> finished);
  ~ExportRun() override;

  QProgressDialog* progressSheet() const { return progress_; }
  void cancel();

 private:
  void finish();

  // How the exporter's threads reach this object: the pointer is cleared, under the lock,
  // before the object goes, and Qt drops events queued for an object that has gone.
  struct Relay {
    std::mutex mutex;
    ExportRun* run = nullptr;
    void post(std::function<void(ExportRun&)> task);
  };

  std::shared_ptr<Relay> relay_ = std::make_shared<Relay>();
  std::shared_ptr<MovieExporter> exporter_;
  std::string path_;
  QPointer<QWidget> window_;
  QPointer<QProgressDialog> progress_;
  QTimer watch_;
  std::function<void(bool)> finished_;
  bool over_ = false;
};

// The Export command: the settings sheet on `window`, then `chooseDestination` (a path, or
// none to stop), then the export with its progress sheet. `finished` (optional) learns how the
// export ended; it is not called when the user stops before the export starts.
void startBasicExportFlow(
    std::shared_ptr<Movie> movie, QWidget* window,
    std::function<std::optional<std::string>(QWidget* window)> chooseDestination,
    std::function<void(bool succeeded)> finished = {});

}  // namespace reelcraft
