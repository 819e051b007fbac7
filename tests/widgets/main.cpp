#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  // Widgets are tested without a display unless the caller chose a platform.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
