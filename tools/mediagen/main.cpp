// reelcraft-mediagen: writes the generated test and sample movies.

#include <cstdio>
#include <exception>
#include <string>

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
               "Writes a generated movie. Every video frame shows its own frame number as a\n"
               "black-and-white code and the sound reveals its own time, except in 'sample'.\n");
  return stream == stdout ? 0 : 2;
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
