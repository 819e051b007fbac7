#include <gtest/gtest.h>

#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "app/player_error.h"
#include "document/document_error.h"
#include "export/export_error.h"
#include "media/base/media_error_codes.h"

namespace reelcraft {
namespace {

TEST(ErrorCodes, AreUniqueWithinEachDomain) {
  const std::pair<std::string_view, std::span<const int>> catalogues[] = {
      {kMediaErrorDomain, kMediaErrorCodes},
      {kDocumentErrorDomain, kDocumentErrorCodes},
      {kMovieExporterErrorDomain, kExportErrorCodes},
      {kPlayerErrorDomain, kPlayerErrorCodes},
  };
  for (const auto& [domain, codes] : catalogues) {
    EXPECT_EQ(std::set<int>(codes.begin(), codes.end()).size(), codes.size()) << domain;
  }
}

}  // namespace
}  // namespace reelcraft
