#pragma once

// Test movies in other containers and codecs, made from the generated ones by the ffmpeg
// command line, so that their frames still carry their index and their sound its position.

#include <cstdlib>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include "mediagen/test_media.h"

namespace reelcraft::converted {

// The generated movie `variant` converted by `ffmpeg -i VARIANT ARGUMENTS FILE_NAME` into the
// test program's media directory, once per file name.
inline std::string convertedMovie(const std::string& variant, const std::string& arguments,
                                  const std::string& fileName) {
  static std::mutex mutex;
  static std::map<std::string, std::string> made;
  std::lock_guard lock(mutex);
  if (auto found = made.find(fileName); found != made.end()) return found->second;
  const std::string path = testmedia::testMediaDirectory() + "/" + fileName;
  const std::string command = "ffmpeg -nostdin -loglevel error -y -i '" +
                              testmedia::testMediaPath(variant) + "' " + arguments + " '" + path +
                              "'";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
  made.emplace(fileName, path);
  return path;
}

// The 3 s H.264 + AAC test movie (frames 0 to 89, keyframes every 25) as WebM with the video and
// sound of the libavcodec encoders named.
inline std::string webm(const std::string& videoEncoder, const std::string& audioEncoder) {
  return convertedMovie("h264-aac-mov",
                        "-c:v " + videoEncoder + " -deadline realtime -cpu-used 8 -g 25 -b:v 1M " +
                            "-c:a " + audioEncoder,
                        videoEncoder + "-" + audioEncoder + ".webm");
}

}  // namespace reelcraft::converted
