#pragma once

// The main() the benchmark drivers share: the command line read into a BenchmarkCommandLine,
// the usage line when the arguments do not fit, and failures reported on the standard error.

#include <cstddef>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace reelcraft::bench {

// A driver's command line: plain arguments and options written "--name=value".
struct BenchmarkCommandLine {
  std::vector<std::string> arguments;
  std::map<std::string, std::string> options;  // the first value given for each name

  // `words`: the command line without the program's name. Throws UsageError for an option
  // without a value.
  static BenchmarkCommandLine parse(const std::vector<std::string>& words);

  // The value of option `name`, or `fallback`.
  std::string option(const std::string& name, const std::string& fallback) const;
  // The value of option `name` (or `fallback`) as a whole number, raised to `minimum`. Throws
  // UsageError when it is not a number.
  int number(const std::string& name, int fallback, int minimum) const;
};

// Arguments that do not make sense to a driver: its main prints the usage line.
class UsageError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

struct BenchmarkUsage {
  std::string name;          // of the program, e.g. "read_bench"
  std::string arguments;     // e.g. "FILE [--rounds=N]"
  size_t argumentCount = 1;  // plain arguments the driver takes
};

// Runs `run` on the parsed command line and returns its exit status. Prints "usage: NAME
// ARGUMENTS" and returns 2 when there are not `argumentCount` plain arguments or a UsageError
// is thrown (its text first); prints "NAME: <what went wrong>" and returns 1 when `run` throws
// anything else.
int benchmarkMain(int argc, char** argv, const BenchmarkUsage& usage,
                  const std::function<int(const BenchmarkCommandLine&)>& run);

}  // namespace reelcraft::bench
