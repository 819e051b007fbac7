#include "mediagen/broken_files.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <vector>

#include "mediagen/movie_recipe.h"
#include "mediagen/movie_writer.h"

namespace reelcraft::testmedia {
namespace {

void writeBytes(const std::string& path, const std::vector<char>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

std::vector<char> halfOfAMovie(const std::string& path) {
  const std::string whole = path + ".whole.mov";
  writeMovie(whole, findVariant("h264-aac-mov")->recipe);
  std::ifstream in(whole, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  in.close();
  std::filesystem::remove(whole);
  bytes.resize(bytes.size() / 2);
  return bytes;
}

}  // namespace

std::string_view brokenFileKindName(BrokenFileKind kind) {
  switch (kind) {
    case BrokenFileKind::Empty:
      return "empty";
    case BrokenFileKind::Truncated:
      return "truncated";
    case BrokenFileKind::RandomBytes:
      return "random-bytes";
    case BrokenFileKind::Text:
      break;
  }
  return "text";
}

void writeBrokenFile(const std::string& path, BrokenFileKind kind) {
  switch (kind) {
    case BrokenFileKind::Empty:
      writeBytes(path, {});
      return;
    case BrokenFileKind::Truncated:
      writeBytes(path, halfOfAMovie(path));
      return;
    case BrokenFileKind::RandomBytes: {
      std::mt19937 generator(20240601);
      std::vector<char> bytes(64 * 1024);
      for (char& byte : bytes) byte = static_cast<char>(generator() & 0xff);
      writeBytes(path, bytes);
      return;
    }
    case BrokenFileKind::Text: {
      const std::string text =
          "Shopping list\n- film\n- batteries\n- a tripod that does not wobble\n";
      writeBytes(path, std::vector<char>(text.begin(), text.end()));
      return;
    }
  }
}

}  // namespace reelcraft::testmedia
