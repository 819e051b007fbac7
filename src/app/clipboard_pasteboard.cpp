#include "app/clipboard_pasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace reelcraft {
namespace {

QString formatName(std::string_view type) {
  return QString::fromUtf8(type.data(), static_cast<qsizetype>(type.size()));
}

}  // namespace

void ClipboardPasteboard::clearContents() {
  QGuiApplication::clipboard()->clear();
}

void ClipboardPasteboard::setString(std::string_view value, std::string_view type) {
  auto* clipboard = QGuiApplication::clipboard();
  // The clipboard takes a whole new data object: carry over what is there under other types.
  auto* data = new QMimeData();
  if (const QMimeData* present = clipboard->mimeData()) {
    for (const QString& format : present->formats()) data->setData(format, present->data(format));
  }
  data->setData(formatName(type), QByteArray(value.data(), static_cast<qsizetype>(value.size())));
  clipboard->setMimeData(data);
}

std::optional<std::string> ClipboardPasteboard::stringForType(std::string_view type) const {
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  const QString format = formatName(type);
  if (data == nullptr || !data->hasFormat(format)) return std::nullopt;
  return data->data(format).toStdString();
}

}  // namespace reelcraft
