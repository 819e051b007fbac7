#include <QApplication>
#include <QCommandLineParser>
#include <QStringList>

#include "app/app_delegate.h"
#include "app/player_view_controller.h"
#include "app/player_window_controller.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Reelcraft"));
  QApplication::setApplicationDisplayName(QStringLiteral("Reelcraft"));

  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral("Movie editor and converter."));
  parser.addHelpOption();
  const QCommandLineOption playOption(QStringLiteral("play"),
                                      QStringLiteral("Start playing the movies given here."));
  parser.addOption(playOption);
  parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("Movies to open."),
                               QStringLiteral("[FILE...]"));
  parser.process(application);

  reelcraft::AppDelegate delegate;
  delegate.applicationDidFinishLaunching(parser.positionalArguments());
  if (parser.isSet(playOption)) {
    for (const auto& document : delegate.documentController().documents()) {
      if (auto* window = delegate.windowControllerOf(*document)) {
        window->playerViewController()->play();
      }
    }
  }
  return QApplication::exec();
}
