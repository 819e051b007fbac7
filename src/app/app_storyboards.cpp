#include "app/app_storyboards.h"

#include "app/launch_assistant.h"
#include "app/player_window_controller.h"
#include "app/storyboard.h"

namespace reelcraft {

void registerApplicationStoryboards() {
  static const bool registered = [] {
    Storyboard::registerFactory(kMainStoryboard, kDocumentWindowIdentifier,
                                [] { return std::make_unique<PlayerWindowController>(); });
    Storyboard::registerFactory(kLaunchAssistantStoryboard, kLaunchAssistantIdentifier,
                                [] { return std::make_unique<LaunchAssistantWindowController>(); });
    return true;
  }();
  (void)registered;
}

}  // namespace reelcraft
