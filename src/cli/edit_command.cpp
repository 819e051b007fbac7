#include "cli/edit_command.h"

#include <optional>
#include <ostream>

#include "cli/cli_command.h"
#include "cli/edit_options.h"
#include "document/document.h"
#include "media/base/error.h"

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
      "Applies the edits to the movie IN in the order given and saves the result to OUT as a\n"
      "QuickTime movie, copying the compressed video and sound without re-encoding them.\n"
      "OUT may be IN; it is replaced only once the new movie is complete.\n\n" +
      std::string(editOptionsHelp());
  return details;
}

}  // namespace reelcraft
