#include <gtest/gtest.h>

#include <QApplication>

// Fontconfig keeps its font cache until the process ends, and LeakSanitizer reports it once Qt
// has laid out text. Only that library is excused; our own leaks are still reported.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}

int main(int argc, char** argv) {
  // Widgets are tested without a display unless the caller chose a platform.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
