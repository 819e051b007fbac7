#include <QApplication>
#include <QStringList>

#include "app/app_delegate.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Reelcraft"));
  QApplication::setApplicationDisplayName(QStringLiteral("Reelcraft"));
  reelcraft::AppDelegate delegate;
  QStringList files = QApplication::arguments();
  files.removeFirst();
  delegate.applicationDidFinishLaunching(files);
  return QApplication::exec();
}
