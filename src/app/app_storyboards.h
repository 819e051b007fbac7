#pragma once

namespace reelcraft {

inline constexpr const char* kMainStoryboard = "Main";
inline constexpr const char* kDocumentWindowIdentifier = "Document Window Controller";
inline constexpr const char* kTimeControlStoryboard = "TimeControl";
inline constexpr const char* kTimeControlIdentifier = "TimeControl Window Controller";

// Registers the application's storyboards ("Main", "LaunchAssistant"); later calls do nothing.
void registerApplicationStoryboards();

}  // namespace reelcraft
