#include "cli/export_command.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>

#include "cli/cli_command.h"
#include "cli/edit_options.h"
#include "cli/export_format_choice.h"
#include "cli/export_options.h"
#include "cli/export_progress_bar.h"
#include "cli/movie_loading.h"
#include "document/movie.h"
#include "export/basic_export.h"
#include "export/movie_exporter.h"
#include "media/base/error.h"

namespace reelcraft {
namespace {

constexpr const char* kUsage = "usage: reelcraft-cli export IN OUT [OPTIONS] (see --help)";

volatile std::sig_atomic_t interruptRequested = 0;

void onInterrupt(int) {
  interruptRequested = 1;
}

// Ctrl-C asks the running export to cancel, for as long as this lives.
class InterruptGuard {
 public:
  InterruptGuard() {
    interruptRequested = 0;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previous_);
  }
  ~InterruptGuard() { sigaction(SIGINT, &previous_, nullptr); }
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  bool interrupted() const { return interruptRequested != 0; }

 private:
  struct sigaction previous_ {};
};

struct Completion {
  std::mutex mutex;
  std::condition_variable changed;
  bool done = false;

  void signal() {
    std::lock_guard lock(mutex);
    done = true;
    changed.notify_all();
  }
  // Whether the completion came within `timeout`.
  bool waitFor(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, timeout, [this] { return done; });
  }
};

std::string oneLine(const Error& error) {
  if (error.recoverySuggestion.empty()) return error.description;
  const char last = error.description.empty() ? '.' : error.description.back();
  const bool sentence = last == '.' || last == '!' || last == '?';
  return error.description + (sentence ? " " : ": ") + error.recoverySuggestion;
}

bool sameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  return std::filesystem::equivalent(a, b, error);
}

void removePartialFile(const std::string& path) {
  std::error_code error;
  std::filesystem::remove(path, error);
}

// Runs the export to its end, a failure or Ctrl-C. Returns the exit code.
int runExport(const std::shared_ptr<Movie>& movie, const std::string& output,
              const std::shared_ptr<MovieFileFormat>& format, bool showProgress,
              std::ostream& err) {
  const auto exporter = MovieExporter::create(movie, output, format);
  std::shared_ptr<ExportProgressBar> bar;
  if (showProgress) {
    bar = std::make_shared<ExportProgressBar>(stderr);
    auto rule = std::make_shared<ExportProgressRule>(movie->composition->duration(),
                                                     [bar](double percent) { bar->show(percent); });
    exporter->onProgress = [rule](MediaTime reached) { rule->report(reached); };
  }

  const auto completion = std::make_shared<Completion>();
  InterruptGuard interrupt;
  exporter->start([completion] { completion->signal(); });

  bool cancelled = false;
  while (!completion->waitFor(std::chrono::milliseconds(50))) {
    if (interrupt.interrupted()) {
      cancelled = cancelExport(*exporter) ||
                  exporter->assetWriter->status() == AssetWriterStatus::Cancelled;
      if (cancelled) break;
    }
    const AssetWriterStatus status = exporter->assetWriter->status();
    // A writer that failed or was cancelled stops asking for samples, so no completion may
    // come.
    if (status == AssetWriterStatus::Failed || status == AssetWriterStatus::Cancelled) break;
  }
  if (!completion->waitFor(std::chrono::milliseconds(0))) {
    // Let the pumps run dry before leaving.
    exporter->assetReader->cancelReading();
    completion->waitFor(std::chrono::seconds(2));
  }
  const AssetWriterStatus status = exporter->assetWriter->status();
  if (bar) {
    if (status == AssetWriterStatus::Completed) bar->show(100);
    bar->finish();
  }

  if (cancelled || status == AssetWriterStatus::Cancelled) {
    removePartialFile(output);
    err << "reelcraft-cli export: cancelled; " << output << " was not written\n";
    return kExitFailure;
  }
  if (status != AssetWriterStatus::Completed) {
    removePartialFile(output);
    const std::optional<Error> error = exporter->assetWriter->error();
    err << (error ? oneLine(*error) : "The export failed.") << "\n";
    return kExitFailure;
  }
  if (exporter->assetReader->status() == AssetReaderStatus::Failed) {
    // The streams ended early: what was written is incomplete.
    removePartialFile(output);
    const std::optional<Error> error = exporter->assetReader->error();
    err << (error ? oneLine(*error) : "Reading the movie failed.") << "\n";
    return kExitFailure;
  }
  return kExitSuccess;
}

}  // namespace

std::string_view exportCommandDetails() {
  static const std::string details =
      std::string(kExportOptionsHelp) + "\n" + std::string(editOptionsHelp());
  return details;
}

int runExportCommand(const std::vector<std::string>& arguments, std::ostream& /*out*/,
                     std::ostream& err) {
  try {
    const ExtractedEditOptions edits = extractEditOptions(arguments);
    const ExportOptions options = parseExportOptions(edits.otherArguments);
    if (sameFile(options.input, options.output)) {
      throw ExportUsageError("OUT must not be the input file");
    }
    const std::shared_ptr<Movie> movie = loadMovie(options.input);
    // The edits come first: the formats on offer and the default size are those of the
    // edited movie.
    applyEdits(edits.edits, movie);
    const auto format = chooseExportFormat(fileFormatsForMovie(*movie), options);
    const bool showProgress = !options.quiet && &err == &std::cerr && isatty(STDERR_FILENO);
    return runExport(movie, options.output, format, showProgress, err);
  } catch (const EditOptionError& error) {
    err << "reelcraft-cli export: " << error.what() << "\n";
    if (error.exitCode() == kExitUsage) err << kUsage << "\n";
    return error.exitCode();
  } catch (const ExportUsageError& error) {
    err << "reelcraft-cli export: " << error.what() << "\n" << kUsage << "\n";
    return kExitUsage;
  } catch (const ErrorException& error) {
    err << oneLine(error.error()) << "\n";
    return kExitFailure;
  } catch (const std::exception& error) {
    err << "reelcraft-cli export: " << error.what() << "\n";
    return kExitFailure;
  }
}

}  // namespace reelcraft
