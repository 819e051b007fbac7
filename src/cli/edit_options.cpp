#include "cli/edit_options.h"

#include <charconv>
#include <filesystem>
#include <optional>
#include <utility>

#include "cli/cli_command.h"
#include "cli/time_argument.h"
#include "core/time_display.h"
#include "core/timeline_selection.h"
#include "document/document.h"
#include "document/movie.h"
#include "document/movie_pasteboard.h"
#include "media/base/error.h"
#include "media/base/undo_manager.h"

namespace reelcraft {
namespace {

using Kind = EditStep::Kind;

struct OptionName {
  std::string_view name;
  Kind kind;
  std::string_view valueForm;  // for messages
};

constexpr OptionName kOptions[] = {
    {"--trim", Kind::Trim, "A,B"},
    {"--delete", Kind::Delete, "A,B"},
    {"--rotate", Kind::Rotate, "left or right"},
    {"--stretch", Kind::Stretch, "A,B:D"},
    {"--insert", Kind::Insert, "FILE[:A,B]@T"},
    {"--copy", Kind::Copy, "A,B"},
    {"--paste-at", Kind::PasteAt, "T"},
    {"--undo", Kind::Undo, "a number of steps"},
    {"--redo", Kind::Redo, "a number of steps"},
};

const OptionName* findOption(std::string_view argument) {
  const std::string_view name = argument.substr(0, argument.find('='));
  for (const OptionName& option : kOptions) {
    if (option.name == name) return &option;
  }
  return nullptr;
}

[[noreturn]] void failUsage(const OptionName& option, const std::string& text) {
  throw EditOptionError(kExitUsage, text + ": " + std::string(option.name) + " takes " +
                                        std::string(option.valueForm));
}

MediaTime parseTime(std::string_view value, const std::string& text) {
  if (const auto time = parseTimeArgument(value)) return *time;
  throw EditOptionError(kExitFailure,
                        text + ": '" + std::string(value) +
                            "' is not a time; give seconds (5.2), a clock time (0:00:05.20) or "
                            "a fraction of seconds (156/30)");
}

// "A,B" with both parts times; nothing when the text is not of that form.
std::optional<TimeRange> rangeIfValid(std::string_view value) {
  const size_t comma = value.find(',');
  if (comma == std::string_view::npos || value.find(',', comma + 1) != std::string_view::npos) {
    return std::nullopt;
  }
  const auto start = parseTimeArgument(value.substr(0, comma));
  const auto end = parseTimeArgument(value.substr(comma + 1));
  if (!start || !end) return std::nullopt;
  return TimeRange::fromStartEnd(*start, *end);
}

TimeRange checkedOrder(TimeRange range, const std::string& text) {
  if (range.duration > MediaTime::zero()) return range;
  throw EditOptionError(kExitFailure, text + ": the range must end after it starts");
}

TimeRange parseRange(std::string_view value, const OptionName& option, const std::string& text) {
  const size_t comma = value.find(',');
  if (comma == std::string_view::npos || value.find(',', comma + 1) != std::string_view::npos) {
    failUsage(option, text);
  }
  const MediaTime start = parseTime(value.substr(0, comma), text);
  const MediaTime end = parseTime(value.substr(comma + 1), text);
  return checkedOrder(TimeRange::fromStartEnd(start, end), text);
}

// "A,B:D". Clock times contain colons too, so D starts at the one colon after the comma that
// leaves a time on both sides.
void parseStretch(std::string_view value, const OptionName& option, const std::string& text,
                  EditStep& step) {
  const size_t comma = value.find(',');
  if (comma == std::string_view::npos) failUsage(option, text);
  const std::string_view rest = value.substr(comma + 1);
  std::optional<size_t> split;
  for (size_t colon = rest.find(':'); colon != std::string_view::npos;
       colon = rest.find(':', colon + 1)) {
    if (!parseTimeArgument(rest.substr(0, colon)) || !parseTimeArgument(rest.substr(colon + 1))) {
      continue;
    }
    if (split) {
      throw EditOptionError(kExitUsage,
                            text + ": cannot tell where the duration starts; give D in seconds");
    }
    split = colon;
  }
  if (!split) {
    if (rest.find(':') == std::string_view::npos) failUsage(option, text);
    // Names the part that is not a time.
    parseTime(value.substr(0, comma), text);
    const size_t colon = rest.rfind(':');
    parseTime(rest.substr(0, colon), text);
    parseTime(rest.substr(colon + 1), text);
    failUsage(option, text);
  }
  const MediaTime start = parseTime(value.substr(0, comma), text);
  const MediaTime end = parseTime(rest.substr(0, *split), text);
  step.range = checkedOrder(TimeRange::fromStartEnd(start, end), text);
  step.time = parseTime(rest.substr(*split + 1), text);
  if (!(step.time > MediaTime::zero())) {
    throw EditOptionError(kExitFailure, text + ": the new duration must be longer than zero");
  }
}

// "FILE[:A,B]@T". T follows the last '@'. A range is recognised after a colon when both its
// times read as times; file names may hold colons themselves, so an existing file wins.
void parseInsert(std::string_view value, const OptionName& option, const std::string& text,
                 EditStep& step) {
  const size_t at = value.rfind('@');
  if (at == std::string_view::npos || at == 0) failUsage(option, text);
  step.time = parseTime(value.substr(at + 1), text);
  const std::string_view source = value.substr(0, at);

  std::error_code error;
  std::optional<size_t> chosen;
  if (!std::filesystem::exists(std::string(source), error)) {
    for (size_t colon = source.find(':'); colon != std::string_view::npos;
         colon = source.find(':', colon + 1)) {
      if (colon == 0 || !rangeIfValid(source.substr(colon + 1))) continue;
      if (std::filesystem::exists(std::string(source.substr(0, colon)), error)) {
        chosen = colon;
        break;
      }
      if (!chosen) chosen = colon;
    }
  }
  if (!chosen) {
    step.file = source;
    return;
  }
  step.file = source.substr(0, *chosen);
  step.range = checkedOrder(*rangeIfValid(source.substr(*chosen + 1)), text);
}

int parseCount(std::string_view value, const OptionName& option, const std::string& text) {
  int count = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), count);
  if (error != std::errc() || end != value.data() + value.size() || count < 1) {
    failUsage(option, text);
  }
  return count;
}

EditStep parseStep(const OptionName& option, std::string_view value, const std::string& text) {
  EditStep step;
  step.kind = option.kind;
  step.text = text;
  switch (option.kind) {
    case Kind::Trim:
    case Kind::Delete:
    case Kind::Copy:
      step.range = parseRange(value, option, text);
      break;
    case Kind::Rotate:
      if (value != "left" && value != "right") failUsage(option, text);
      step.left = value == "left";
      break;
    case Kind::Stretch:
      parseStretch(value, option, text, step);
      break;
    case Kind::Insert:
      parseInsert(value, option, text, step);
      break;
    case Kind::PasteAt:
      step.time = parseTime(value, text);
      break;
    case Kind::Undo:
    case Kind::Redo:
      step.count = parseCount(value, option, text);
      break;
  }
  return step;
}

std::string clockText(MediaTime time) {
  return timeDisplayString(time);
}

void checkRange(const EditStep& step, TimeRange range, MediaTime duration,
                std::string_view whose = "the movie") {
  if (range.end() <= duration) return;
  throw EditOptionError(kExitFailure, step.text + ": the range ends after the end of " +
                                          std::string(whose) + " (" + clockText(duration) + ")");
}

void checkTime(const EditStep& step, MediaTime time, MediaTime duration) {
  if (time <= duration) return;
  throw EditOptionError(kExitFailure, step.text + ": the time is after the end of the movie (" +
                                          clockText(duration) + ")");
}

void replay(const EditStep& step, UndoManager& undoManager) {
  const bool undo = step.kind == Kind::Undo;
  for (int done = 0; done < step.count; ++done) {
    if (undo ? undoManager.undo() : undoManager.redo()) continue;
    throw EditOptionError(kExitFailure,
                          step.text + ": only " + std::to_string(done) +
                              (undo ? " edit(s) can be undone" : " edit(s) can be redone"));
  }
}

void insertFromFile(const EditStep& step, const std::shared_ptr<Movie>& movie,
                    MoviePasteboard& pasteboard) {
  checkTime(step, step.time, movie->composition->duration());
  const std::shared_ptr<Document> other = Document::open(step.file);
  const MediaTime otherDuration = other->movie()->composition->duration();
  TimeRange range = TimeRange::make(MediaTime::zero(), otherDuration);
  if (step.range.isValid()) {
    range = step.range;
    checkRange(step, range, otherDuration, "“" + step.file + "”");
  }
  copyMovieSelection(other->movie(), {TimelineSelection{range.start, range.duration}}, pasteboard);
  pasteMovieFragment(movie, step.time, pasteboard);
}

void applyStep(const EditStep& step, const std::shared_ptr<Movie>& movie,
               MoviePasteboard& pasteboard) {
  const MediaTime duration = movie->composition->duration();
  switch (step.kind) {
    case Kind::Trim:
      checkRange(step, step.range, duration);
      movie->trim(step.range);
      break;
    case Kind::Delete:
      checkRange(step, step.range, duration);
      movie->remove(step.range);
      break;
    case Kind::Rotate:
      movie->rotate(step.left);
      break;
    case Kind::Stretch:
      checkRange(step, step.range, duration);
      movie->scale(step.range, step.time);
      break;
    case Kind::Insert:
      insertFromFile(step, movie, pasteboard);
      break;
    case Kind::Copy:
      checkRange(step, step.range, duration);
      copyMovieSelection(movie, {TimelineSelection{step.range.start, step.range.duration}},
                         pasteboard);
      break;
    case Kind::PasteAt:
      checkTime(step, step.time, duration);
      if (!pasteMovieFragment(movie, step.time, pasteboard)) {
        throw EditOptionError(kExitFailure,
                              step.text + ": nothing has been copied; use --copy A,B first");
      }
      break;
    case Kind::Undo:
    case Kind::Redo: {
      const auto undoManager = movie->undoManager.lock();
      if (undoManager == nullptr) {
        throw EditOptionError(kExitFailure, step.text + ": this movie's edits cannot be undone");
      }
      replay(step, *undoManager);
      break;
    }
  }
}

}  // namespace

bool isEditOption(std::string_view argument) {
  return findOption(argument) != nullptr;
}

ExtractedEditOptions extractEditOptions(const std::vector<std::string>& arguments) {
  ExtractedEditOptions extracted;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const OptionName* option = findOption(argument);
    if (option == nullptr) {
      extracted.otherArguments.push_back(argument);
      continue;
    }
    std::string value;
    const size_t equals = argument.find('=');
    if (equals != std::string::npos) {
      value = argument.substr(equals + 1);
    } else if (i + 1 < arguments.size()) {
      value = arguments[++i];
    } else {
      throw EditOptionError(kExitUsage, argument + " takes " + std::string(option->valueForm));
    }
    const std::string text = std::string(option->name) + " " + value;
    extracted.edits.push_back(parseStep(*option, value, text));
  }
  return extracted;
}

void applyEdits(const std::vector<EditStep>& edits, const std::shared_ptr<Movie>& movie) {
  MoviePasteboard pasteboard(std::make_shared<LocalPasteboard>());
  for (const EditStep& step : edits) {
    try {
      applyStep(step, movie, pasteboard);
    } catch (const ErrorException& failure) {
      throw EditOptionError(kExitFailure, step.text + ": " + failure.error().description);
    }
  }
}

std::string_view editOptionsHelp() {
  return "Edits, applied in the order given (each can be undone by --undo):\n"
         "  --trim A,B             keep only the range from A to B\n"
         "  --delete A,B           remove the range from A to B\n"
         "  --rotate left|right    turn the picture a quarter turn\n"
         "  --stretch A,B:D        play the range from A to B over the duration D\n"
         "  --insert FILE[:A,B]@T  insert the range A to B of another movie (all of it\n"
         "                         without a range) at T\n"
         "  --copy A,B             copy the range from A to B\n"
         "  --paste-at T           insert what was copied last (by --copy or --insert) at T\n"
         "  --undo N               undo the last N edits\n"
         "  --redo N               redo the last N undone edits\n"
         "Times are seconds (5.2), clock text (0:00:05.20) or a fraction of seconds (156/30),\n"
         "and refer to the movie as the edits before have left it.\n";
}

}  // namespace reelcraft
