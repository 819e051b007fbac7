#include "cli/edit_command.h"

#include <optional>
#include <ostream>

#include "cli/cli_command.h"
#include "cli/edit_options.h"
#include "document/document.h"
#include "media/base/error.h"
#include "media/save/saved_movie_container.h"

namespace reelcraft {
namespace {

constexpr std::string_view kUsage = "usage: reelcraft-cli edit IN [EDIT ...] -o OUT";
constexpr std::string_view kPrefix = "reelcraft-cli edit: ";

struct EditArguments {
  std::string input;
  std::string output;
  std::vector<EditStep> edits;
};

// Throws EditOptionError for a wrong command line.
EditArguments parseArguments(const std::vector<std::string>& arguments) {
  ExtractedEditOptions extracted = extractEditOptions(arguments);
  EditArguments parsed;
  parsed.edits = std::move(extracted.edits);
  std::vector<std::string> positional;
  bool hasOutput = false;
  const std::vector<std::string>& rest = extracted.otherArguments;
  for (size_t i = 0; i < rest.size(); ++i) {
    const std::string& argument = rest[i];
    if (argument == "-o" || argument == "--output") {
      if (hasOutput || i + 1 == rest.size() || rest[i + 1].empty()) {
        throw EditOptionError(kExitUsage, argument + " needs one output file");
      }
      parsed.output = rest[++i];
      hasOutput = true;
    } else if (argument.size() > 1 && argument[0] == '-') {
      throw EditOptionError(kExitUsage, "unknown option '" + argument + "'");
    } else {
      positional.push_back(argument);
    }
  }
  if (positional.size() != 1 || positional[0].empty()) {
    throw EditOptionError(kExitUsage, "give one input movie");
  }
  if (!hasOutput) throw EditOptionError(kExitUsage, "give the output file with -o OUT");
  if (!savedMovieContainerForPath(parsed.output)) {
    throw EditOptionError(kExitFailure,
                          "cannot save \u201c" + parsed.output +
                              "\u201d: edit saves QuickTime (.mov, or no extension) and MPEG-4 "
                              "(.mp4, .m4v, .m4a) movies; use reelcraft-cli export for other "
                              "kinds of file");
  }
  parsed.input = positional[0];
  return parsed;
}

}  // namespace

int runEditCommand(const std::vector<std::string>& arguments, std::ostream& out,
                   std::ostream& err) {
  EditArguments parsed;
  try {
    parsed = parseArguments(arguments);
  } catch (const EditOptionError& failure) {
    err << kPrefix << failure.what() << "\n";
    if (failure.exitCode() == kExitUsage) err << kUsage << "\n";
    return failure.exitCode();
  }

  try {
    const auto document = Document::open(parsed.input);
    applyEdits(parsed.edits, document->movie());
    document->setNoteStream(out);
    document->saveAs(parsed.output);
  } catch (const EditOptionError& failure) {
    err << kPrefix << failure.what() << "\n";
    return failure.exitCode();
  } catch (const ErrorException& failure) {
    err << kPrefix << failure.error().description << "\n";
    return kExitFailure;
  }
  return kExitSuccess;
}

std::string_view editCommandDetails() {
  static const std::string details =
      "Applies the edits to the movie IN in the order given and saves the result to OUT,\n"
      "copying the compressed video and sound without re-encoding them: as an MPEG-4 movie\n"
      "when OUT ends in .mp4, .m4v or .m4a, as a QuickTime movie when it ends in .mov or has\n"
      "no extension (reelcraft-cli export writes other kinds of file). A track in a codec that\n"
      "only the other kind holds is refused; one that neither holds is re-encoded.\n"
      "OUT may be IN; it is replaced only once the new movie is complete.\n\n" +
      std::string(editOptionsHelp());
  return details;
}

}  // namespace reelcraft
