#pragma once

#include <string>

namespace reelcraft {

class WindowController;

// The single-instance windows of the application, kept by "identifier-#-storyboard" for the
// life of the process: each is made from its storyboard on first use and only shown or
// closed afterwards. Main thread only.
std::string windowRegistryKey(const std::string& identifier, const std::string& storyboardName);
// Shows the controller's window, making the controller on first use. Nothing is shown when
// the storyboard has no window controller under `identifier`.
void showWindowController(const std::string& identifier, const std::string& storyboardName);
// Closes the controller's window if the controller has been made; does nothing otherwise.
void closeWindowController(const std::string& identifier, const std::string& storyboardName);
// The controller made under that key, or null.
WindowController* registeredWindowController(const std::string& identifier,
                                             const std::string& storyboardName);

}  // namespace reelcraft
