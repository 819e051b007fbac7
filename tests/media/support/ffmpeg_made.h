#pragma once

// Movies made by the ffmpeg command line from generated ones, for tests of files that other
// tools write.

#include <cstdlib>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include "mediagen/test_media.h"

namespace reelcraft::testsupport {

// The generated `variant` turned by `ffmpeg -i VARIANT ARGUMENTS NAME` into the test program's
// media directory, once per name.
inline std::string ffmpegMade(const std::string& variant, const std::string& name,
                              const std::string& arguments) {
  static std::mutex mutex;
  static std::map<std::string, std::string> made;
  std::lock_guard lock(mutex);
  if (auto found = made.find(name); found != made.end()) return found->second;
  const std::string path = testmedia::testMediaDirectory() + "/" + name;
  const std::string command = "ffmpeg -nostdin -v error -y -i '" +
                              testmedia::testMediaPath(variant) + "' " + arguments + " '" + path +
                              "'";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
  made.emplace(name, path);
  return path;
}

}  // namespace reelcraft::testsupport
