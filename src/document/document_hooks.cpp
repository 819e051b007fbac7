#include "document/document_hooks.h"

namespace reelcraft {

DocumentHooks& documentHooks() {
  static DocumentHooks hooks;
  return hooks;
}

}  // namespace reelcraft
