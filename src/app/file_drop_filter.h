#pragma once

#include <QObject>
#include <QStringList>

class QMimeData;

namespace reelcraft {

// Lets the window it is installed on take files dropped from a file manager: the files are
// opened as documents by the application.
class FileDropFilter : public QObject {
  Q_OBJECT

 public:
  explicit FileDropFilter(QObject* parent) : QObject(parent) {}

  // The local files among the dropped data's URLs.
  static QStringList localFiles(const QMimeData* data);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
};

}  // namespace reelcraft
