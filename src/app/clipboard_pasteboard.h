#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "document/general_pasteboard.h"

namespace reelcraft {

// The general pasteboard on the system clipboard: each type is a MIME format of the
// clipboard's data, so anything another program (or this one) copies replaces our strings.
// Needs a QGuiApplication; main thread only.
class ClipboardPasteboard final : public GeneralPasteboard {
 public:
  void clearContents() override;
  void setString(std::string_view value, std::string_view type) override;
  std::optional<std::string> stringForType(std::string_view type) const override;
};

}  // namespace reelcraft
