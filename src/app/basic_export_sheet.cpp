#include "app/basic_export_sheet.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QMetaObject>
#include <QPushButton>
#include <QSpinBox>

#include <filesystem>

#include "app/error_alert.h"
#include "document/movie.h"
#include "export/export_error.h"
#include "export/movie_exporter.h"
#include "export/movie_format_config.h"

namespace reelcraft {
namespace {

QSpinBox* spinBox(QWidget* parent, int maximum, int value, const QString& suffix) {
  auto* box = new QSpinBox(parent);
  box->setRange(0, maximum);
  box->setValue(value);
  box->setSuffix(suffix);
  return box;
}

}  // namespace

BasicExportSheet::BasicExportSheet(std::optional<Size> defaultSize, QWidget* parent)
    : QDialog(parent) {
  setWindowTitle(tr("Export"));
  const Size size = defaultSize.value_or(Size{1280, 720});
  width_ = spinBox(this, 8192, static_cast<int>(size.width), tr(" px"));
  height_ = spinBox(this, 8192, static_cast<int>(size.height), tr(" px"));
  videoRate_ = spinBox(this, 200000, 0, tr(" kbit/s"));
  videoRate_->setSpecialValueText(tr("Automatic"));
  audioRate_ = spinBox(this, 512, 128, tr(" kbit/s"));
  sampleRate_ = new QComboBox(this);
  for (int rate : {44100, 48000, 32000, 22050}) sampleRate_->addItem(QString::number(rate), rate);

  auto* form = new QFormLayout(this);
  form->addRow(tr("Width:"), width_);
  form->addRow(tr("Height:"), height_);
  form->addRow(tr("Video bit rate:"), videoRate_);
  form->addRow(tr("Audio bit rate:"), audioRate_);
  form->addRow(tr("Sample rate:"), sampleRate_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  buttons->button(QDialogButtonBox::Ok)->setText(tr("Export…"));
  form->addRow(buttons);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

BasicExportValues BasicExportSheet::values() const {
  BasicExportValues values;
  values.width = width_->value();
  values.height = height_->value();
  values.videoKilobitsPerSecond = videoRate_->value();
  values.audioKilobitsPerSecond = audioRate_->value();
  values.sampleRate = sampleRate_->currentData().toInt();
  return values;
}

ExportRun::ExportRun(std::shared_ptr<Movie> movie, std::string path,
                     std::shared_ptr<const MovieFileFormat> format, QWidget* window,
                     std::function<void(bool succeeded)> finished)
    : path_(std::move(path)), window_(window), finished_(std::move(finished)) {
  exporter_ = MovieExporter::create(movie, path_, std::move(format));
  progress_ = new QProgressDialog(tr("Exporting…"), tr("Cancel"), 0, 1000, window);
  progress_->setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
  progress_->setAutoReset(false);
  progress_->setAutoClose(false);
  progress_->setMinimumDuration(0);
  progress_->setValue(0);
  connect(progress_, &QProgressDialog::canceled, this, [this] { cancel(); });

  relay_->run = this;
  const auto relay = relay_;
  auto rule =
      std::make_shared<ExportProgressRule>(movie->composition->duration(), [relay](double percent) {
        relay->post([percent](ExportRun& run) {
          if (run.progress_) run.progress_->setValue(static_cast<int>(percent * 10));
        });
      });
  exporter_->onProgress = [rule](MediaTime reached) { rule->report(reached); };
  // A writer that fails stops asking for samples, so no completion may come: watch it too.
  connect(&watch_, &QTimer::timeout, this, [this] {
    const auto status =
        exporter_->assetWriter ? exporter_->assetWriter->status() : AssetWriterStatus::Unknown;
    if (status == AssetWriterStatus::Failed || status == AssetWriterStatus::Cancelled) finish();
  });
  try {
    exporter_->start([relay] { relay->post([](ExportRun& run) { run.finish(); }); });
  } catch (...) {
    relay_->run = nullptr;
    delete progress_;
    throw;
  }
  watch_.start(50);
  progress_->open();
}

void ExportRun::Relay::post(std::function<void(ExportRun&)> task) {
  std::lock_guard lock(mutex);
  if (run == nullptr) return;
  ExportRun* target = run;
  QMetaObject::invokeMethod(
      target, [target, task = std::move(task)] { task(*target); }, Qt::QueuedConnection);
}

ExportRun::~ExportRun() {
  {
    std::lock_guard lock(relay_->mutex);
    relay_->run = nullptr;
  }
  if (progress_) progress_->deleteLater();
}

void ExportRun::cancel() {
  if (!over_) cancelExport(*exporter_);
  finish();
}

void ExportRun::finish() {
  if (over_) return;
  over_ = true;
  watch_.stop();
  if (exporter_->assetReader) exporter_->assetReader->cancelReading();
  const AssetWriterStatus status = exporter_->assetWriter->status();
  const bool readerFailed = exporter_->assetReader->status() == AssetReaderStatus::Failed;
  const bool succeeded = status == AssetWriterStatus::Completed && !readerFailed;
  if (progress_) progress_->hide();
  if (!succeeded) {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    if (status != AssetWriterStatus::Cancelled) {
      std::optional<Error> error =
          readerFailed ? exporter_->assetReader->error() : exporter_->assetWriter->error();
      showErrorAlert(
          error.value_or(makeError(kMovieExporterErrorDomain, ExportErrorCode::CannotExport,
                                   "The export failed.", "Try another frame size or bit rate.")),
          window_);
    }
  }
  if (finished_) finished_(succeeded);
  // The exporter's threads may still hold it; this object goes once nothing more can arrive.
  deleteLater();
}

void startBasicExportFlow(
    std::shared_ptr<Movie> movie, QWidget* window,
    std::function<std::optional<std::string>(QWidget* window)> chooseDestination,
    std::function<void(bool succeeded)> finished) {
  const auto formats = fileFormatsForMovie(*movie);
  if (!canConvert(formats)) {
    showErrorAlert(movieConversionError(), window);
    return;
  }
  auto* sheet = new BasicExportSheet(basicExportDefaultSize(formats), window);
  sheet->setAttribute(Qt::WA_DeleteOnClose);
  sheet->setWindowModality(Qt::WindowModal);
  std::weak_ptr<Movie> weakMovie = movie;
  QPointer<QWidget> owner(window);
  QObject::connect(sheet, &QDialog::accepted, sheet, [=] {
    const auto movie = weakMovie.lock();
    if (!movie) return;
    const BasicExportValues values = sheet->values();
    // The next step waits for the sheet to have gone.
    QMetaObject::invokeMethod(
        qApp,
        [=] {
          try {
            const auto format = makeBasicFileFormat(fileFormatsForMovie(*movie), values);
            const auto path = chooseDestination(owner);
            if (!path) return;
            new ExportRun(movie, *path, format, owner, finished);
          } catch (const ErrorException& failure) {
            showErrorAlert(failure.error(), owner);
          }
        },
        Qt::QueuedConnection);
  });
  sheet->open();
}

}  // namespace reelcraft
