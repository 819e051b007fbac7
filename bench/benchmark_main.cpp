#include "benchmark_main.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include "media/base/error.h"

namespace reelcraft::bench {

BenchmarkCommandLine BenchmarkCommandLine::parse(const std::vector<std::string>& words) {
  BenchmarkCommandLine commandLine;
  for (const std::string& argument : words) {
    if (argument.rfind("--", 0) != 0) {
      commandLine.arguments.push_back(argument);
      continue;
    }
    const size_t equals = argument.find('=');
    if (equals == std::string::npos) throw UsageError("no value for " + argument);
    commandLine.options.emplace(argument.substr(2, equals - 2), argument.substr(equals + 1));
  }
  return commandLine;
}

std::string BenchmarkCommandLine::option(const std::string& name,
                                         const std::string& fallback) const {
  const auto found = options.find(name);
  return found == options.end() ? fallback : found->second;
}

int BenchmarkCommandLine::number(const std::string& name, int fallback, int minimum) const {
  const auto found = options.find(name);
  if (found == options.end()) return std::max(minimum, fallback);
  try {
    return std::max(minimum, std::stoi(found->second));
  } catch (const std::logic_error&) {
    throw UsageError("--" + name + " takes a whole number");
  }
}

int benchmarkMain(int argc, char** argv, const BenchmarkUsage& usage,
                  const std::function<int(const BenchmarkCommandLine&)>& run) {
  const auto printUsage = [&] {
    std::fprintf(stderr, "usage: %s %s\n", usage.name.c_str(), usage.arguments.c_str());
    return 2;
  };
  try {
    const BenchmarkCommandLine commandLine = BenchmarkCommandLine::parse({argv + 1, argv + argc});
    if (commandLine.arguments.size() != usage.argumentCount) return printUsage();
    return run(commandLine);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "%s: %s\n", usage.name.c_str(), error.what());
    return printUsage();
  } catch (const ErrorException& error) {
    std::fprintf(stderr, "%s: %s %s\n", usage.name.c_str(), error.error().description.c_str(),
                 error.error().recoverySuggestion.c_str());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", usage.name.c_str(), error.what());
    return 1;
  }
}

}  // namespace reelcraft::bench
