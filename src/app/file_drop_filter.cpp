#include "app/file_drop_filter.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QWidget>

#include "app/app_delegate.h"

namespace reelcraft {

QStringList FileDropFilter::localFiles(const QMimeData* data) {
  QStringList files;
  if (data == nullptr || !data->hasUrls()) return files;
  for (const QUrl& url : data->urls()) {
    if (url.isLocalFile()) files << url.toLocalFile();
  }
  return files;
}

bool FileDropFilter::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove) {
    auto* drag = static_cast<QDragMoveEvent*>(event);
    if (!localFiles(drag->mimeData()).isEmpty()) {
      drag->acceptProposedAction();
      return true;
    }
  } else if (event->type() == QEvent::Drop) {
    auto* drop = static_cast<QDropEvent*>(event);
    const QStringList files = localFiles(drop->mimeData());
    if (!files.isEmpty()) {
      drop->acceptProposedAction();
      if (auto* application = AppDelegate::shared()) {
        application->openFiles(files, qobject_cast<QWidget*>(watched));
      }
      return true;
    }
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace reelcraft
