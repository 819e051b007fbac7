#pragma once

// What the media benchmarks share: timing, statistics over runs, the composition of a whole
// file, running a command with its CPU time, and the result lines that
// bench/media_vs_ffmpeg.sh gathers into its summary.

#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "media/base/media_time.h"
#include "media/model/composition.h"
#include "media/model/file_asset.h"

namespace reelcraft::bench {

using SteadyClock = std::chrono::steady_clock;

inline double secondsSince(SteadyClock::time_point start) {
  return std::chrono::duration<double>(SteadyClock::now() - start).count();
}

inline double milliseconds(double seconds) {
  return seconds * 1000.0;
}

// User plus system time of this process so far, all threads.
inline double processCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// The value below which `fraction` (0...1) of the values lie, interpolating between the two
// nearest ranks.
inline double percentile(std::vector<double> values, double fraction) {
  if (values.empty()) return std::nan("");
  std::sort(values.begin(), values.end());
  const double position = fraction * static_cast<double>(values.size() - 1);
  const size_t below = static_cast<size_t>(std::floor(position));
  const size_t above = std::min(below + 1, values.size() - 1);
  const double weight = position - static_cast<double>(below);
  return values[below] * (1.0 - weight) + values[above] * weight;
}

inline double median(std::vector<double> values) {
  return percentile(std::move(values), 0.5);
}

inline double mean(const std::vector<double>& values) {
  if (values.empty()) return std::nan("");
  double sum = 0;
  for (double value : values) sum += value;
  return sum / static_cast<double>(values.size());
}

// A composition that shows the whole of the file at `path`, as the editor makes one when a
// movie is opened.
inline std::shared_ptr<const Composition> wholeFileComposition(const std::string& path) {
  const std::shared_ptr<const FileAsset> asset = FileAsset::open(path);
  const std::shared_ptr<MutableComposition> composition = MutableComposition::create();
  composition->insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                               MediaTime::zero());
  return composition->copy();
}

struct CommandRun {
  double wallSeconds = 0;
  double cpuSeconds = 0;  // user + system of the command and its children
  int exitStatus = -1;
};

// Runs `arguments` (the program first, looked up in PATH) with its output thrown away.
inline CommandRun runCommand(const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const SteadyClock::time_point start = SteadyClock::now();
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot start " + arguments.front());
  if (child == 0) {
    std::freopen("/dev/null", "w", stdout);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) < 0) throw std::runtime_error("lost " + arguments.front());
  CommandRun run;
  run.wallSeconds = secondsSince(start);
  run.cpuSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                   static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
  run.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return run;
}

// Whether this process runs with a real-time scheduling policy (as under `chrt -r`), which
// shields it from the other work on a shared machine.
inline bool runsWithRealTimePriority() {
  const int policy = sched_getscheduler(0);
  return policy == SCHED_FIFO || policy == SCHED_RR;
}

// One line of the summary: "RESULT name | ours | reference | ratio | target | verdict".
// `reference` and `ratio` are left out (shown as "-") when NaN. The name says when the
// figure was taken with real-time priority.
inline void printResult(const std::string& name, const std::string& ours,
                        const std::string& reference, double ratio, const std::string& target,
                        bool met) {
  const std::string ratioText = std::isnan(ratio) ? "-" : [&] {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", ratio);
    return std::string(text);
  }();
  const std::string label = runsWithRealTimePriority() ? name + " [real-time]" : name;
  std::printf("RESULT %s | %s | %s | %s | %s | %s\n", label.c_str(), ours.c_str(),
              reference.empty() ? "-" : reference.c_str(), ratioText.c_str(), target.c_str(),
              met ? "met" : "MISSED");
  std::fflush(stdout);
}

inline std::string format(const char* pattern, double value) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, value);
  return text;
}

}  // namespace reelcraft::bench
