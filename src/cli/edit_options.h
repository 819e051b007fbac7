#pragma once

// The EDIT options that `reelcraft-cli edit` and `reelcraft-cli export` share: each one an
// edit of the movie, applied in the order given through the Movie's undoable edits.
//
//   --trim A,B             keep only A to B
//   --delete A,B           remove A to B
//   --rotate left|right    turn the picture a quarter turn
//   --stretch A,B:D        play A to B over the duration D
//   --insert FILE[:A,B]@T  insert A to B of another movie (all of it without a range) at T
//   --copy A,B             copy A to B
//   --paste-at T           insert what was copied last at T
//   --undo N, --redo N     undo or redo the last N edits
//
// Times are seconds ("5.2"), clock text ("0:00:05.20") or a fraction of seconds ("156/30");
// A,B is the range from A to B. Each option may also be written --option=VALUE. Times refer
// to the movie as the previous options have left it.
//
// A command uses them in two steps: extractEditOptions takes them out of its argument list
// (before it looks at its own arguments), and applyEdits applies them to the opened movie.
// Both throw EditOptionError, whose exitCode() the command returns after printing what().

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "media/base/media_time.h"

namespace reelcraft {

class Movie;

// One EDIT option, parsed.
struct EditStep {
  enum class Kind { Trim, Delete, Rotate, Stretch, Insert, Copy, PasteAt, Undo, Redo };

  Kind kind = Kind::Trim;
  // The option as written ("--trim 1,2"), for messages.
  std::string text;
  // Trim, Delete, Stretch, Copy: the range A to B. Insert: A to B of the other movie, or
  // invalid for all of it.
  TimeRange range = TimeRange::invalid();
  // Insert, PasteAt: the insertion time T. Stretch: the new duration D.
  MediaTime time = MediaTime::invalid();
  // Rotate: counterclockwise.
  bool left = false;
  // Insert: the other movie's file.
  std::string file;
  // Undo, Redo: how many steps.
  int count = 0;
};

// A failure of an EDIT option: what() is one line for the user, exitCode() the command's exit
// code: 2 (usage) for an unknown form of an option, 1 for a bad time, a range outside the
// movie, an unreadable file to insert or an edit that cannot be made.
class EditOptionError : public std::runtime_error {
 public:
  EditOptionError(int exitCode, const std::string& message)
      : std::runtime_error(message), exitCode_(exitCode) {}
  int exitCode() const { return exitCode_; }

 private:
  int exitCode_;
};

struct ExtractedEditOptions {
  std::vector<EditStep> edits;              // in the order given
  std::vector<std::string> otherArguments;  // everything else, in order
};

// Takes the EDIT options (with their values) out of `arguments`. Throws EditOptionError for
// an option without its value or with a value of the wrong form; a value that is not a time
// is a failure (exit code 1), any other wrong form a usage error (2).
ExtractedEditOptions extractEditOptions(const std::vector<std::string>& arguments);

// Whether `argument` starts an EDIT option ("--trim", "--trim=1,2"...).
bool isEditOption(std::string_view argument);

// Applies `edits` to `movie` in order, each as one undoable edit through the movie's undo
// manager (--undo and --redo replay that manager; --copy and --paste-at go through a movie
// pasteboard of their own, which --insert also uses). Checks every range and time against the
// movie as it is at that step. Throws EditOptionError (exit code 1) naming the option that
// cannot be applied; the edits before it stay applied.
void applyEdits(const std::vector<EditStep>& edits, const std::shared_ptr<Movie>& movie);

// The description of the options for a command's help text, one option per line.
std::string_view editOptionsHelp();

}  // namespace reelcraft
