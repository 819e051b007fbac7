// reelcraft-mediagen: writes the generated test and sample movies.

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "mediagen/media_reader.h"
#include "mediagen/movie_recipe.h"
#include "mediagen/movie_writer.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

int usage(std::FILE* stream) {
  std::fprintf(stream,
               "usage: reelcraft-mediagen VARIANT OUTPUT\n"
               "       reelcraft-mediagen --list\n"
               "       reelcraft-mediagen --frames MOVIE...\n"
               "Writes a generated movie. Every video frame shows its own frame number as a\n"
               "black-and-white code and the sound reveals its own time, except in 'sample'.\n"
               "--frames decodes movies (or pictures) made from generated ones one after the\n"
               "other, as FFmpeg plays them by default, and prints the frame numbers shown,\n"
               "as runs (\"0-32 69-89\"; ?xN for N pictures without a number), then their\n"
               "count.\n");
  return stream == stdout ? 0 : 2;
}

// "0-32 69-89 ?x3": runs of consecutive frame numbers, and of pictures without one.
std::string framesAsRuns(const std::vector<int>& indices) {
  std::string text;
  for (size_t i = 0; i < indices.size();) {
    const bool unreadable = indices[i] < 0;
    size_t end = i + 1;
    while (end < indices.size() &&
           (unreadable ? indices[end] < 0 : indices[end] == indices[end - 1] + 1)) {
      ++end;
    }
    if (!text.empty()) text += ' ';
    if (unreadable) {
      text += end - i > 1 ? "?x" + std::to_string(end - i) : "?";
    } else {
      text += std::to_string(indices[i]);
      if (end - i > 1) text += "-" + std::to_string(indices[end - 1]);
    }
    i = end;
  }
  return text;
}

// The frames of several files (the pictures a player wrote out, say) count as one sequence.
int printFrames(int count, char** paths) {
  av_log_set_level(AV_LOG_ERROR);
  std::vector<int> indices;
  try {
    for (int i = 0; i < count; ++i) {
      const std::vector<int> more = reelcraft::testmedia::readFrameIndices(paths[i]);
      indices.insert(indices.end(), more.begin(), more.end());
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "reelcraft-mediagen: %s\n", error.what());
    return 1;
  }
  std::printf("%s\n%zu frames\n", framesAsRuns(indices).c_str(), indices.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace reelcraft::testmedia;
  const std::string first = argc > 1 ? argv[1] : "";
  if (argc == 2 && (first == "--help" || first == "-h")) return usage(stdout);
  if (argc == 2 && first == "--list") {
    for (const auto* list : {&standardVariants(), &benchmarkVariants()}) {
      for (const NamedVariant& variant : *list) {
        std::printf("%-20s %s\n", variant.name.c_str(), variant.description.c_str());
      }
    }
    return 0;
  }
  if (first == "--frames" && argc >= 3) return printFrames(argc - 2, argv + 2);
  if (argc != 3) return usage(stderr);

  const NamedVariant* variant = findVariant(first);
  if (!variant) {
    std::fprintf(stderr, "reelcraft-mediagen: unknown variant '%s' (see --list)\n", argv[1]);
    return 2;
  }
  av_log_set_level(AV_LOG_ERROR);
  try {
    writeMovie(argv[2], variant->recipe);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "reelcraft-mediagen: %s\n", error.what());
    return 1;
  }
  return 0;
}
