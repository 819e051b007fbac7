#include "qt_media/player_video_view.h"

#include <cmath>

#include <QPaintEvent>
#include <QPainter>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace reelcraft {

PlayerVideoView::PlayerVideoView(QWidget* parent) : QWidget(parent) {
  // Every pixel is painted: black bars and the picture.
  setAttribute(Qt::WA_OpaquePaintEvent);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
  setMinimumSize(64, 36);
}

PlayerVideoView::~PlayerVideoView() = default;

QSize PlayerVideoView::sizeHint() const {
  return {640, 360};
}

void PlayerVideoView::showFrame(const VideoFrame& frame) {
  frame_ = frame;
  imageIsCurrent_ = false;
  update();
}

void PlayerVideoView::clear() {
  frame_.reset();
  image_ = QImage();
  imageIsCurrent_ = false;
  update();
}

double PlayerVideoView::displayAspectRatio() const {
  if (!frame_ || !frame_->frame) return 0;
  const AVFrame& picture = *frame_->frame;
  if (picture.width <= 0 || picture.height <= 0) return 0;
  double aspect = static_cast<double>(picture.width) / picture.height;
  const AVRational pixelAspect = picture.sample_aspect_ratio;
  if (pixelAspect.num > 0 && pixelAspect.den > 0) aspect *= av_q2d(pixelAspect);
  return aspect;
}

QRect PlayerVideoView::pictureRect() const {
  const double aspect = displayAspectRatio();
  if (aspect <= 0 || width() <= 0 || height() <= 0) return {};
  int pictureWidth = width();
  int pictureHeight = static_cast<int>(std::lround(width() / aspect));
  if (pictureHeight > height()) {
    pictureHeight = height();
    pictureWidth = static_cast<int>(std::lround(height() * aspect));
  }
  pictureWidth = std::max(pictureWidth, 1);
  pictureHeight = std::max(pictureHeight, 1);
  return {(width() - pictureWidth) / 2, (height() - pictureHeight) / 2, pictureWidth,
          pictureHeight};
}

const QImage& PlayerVideoView::imageOfSize(QSize size) {
  if (imageIsCurrent_ && image_.size() == size) return image_;
  imageIsCurrent_ = true;
  image_ = QImage();
  const AVFrame& picture = *frame_->frame;
  const auto format = static_cast<AVPixelFormat>(picture.format);
  if (av_pix_fmt_desc_get(format) == nullptr || size.isEmpty()) return image_;
  // AV_PIX_FMT_RGB32 is 0xAARRGGBB in native byte order, as QImage::Format_RGB32 is.
  scaler_.reset(sws_getCachedContext(scaler_.release(), picture.width, picture.height, format,
                                     size.width(), size.height(), AV_PIX_FMT_RGB32, SWS_BILINEAR,
                                     nullptr, nullptr, nullptr));
  if (!scaler_) return image_;
  QImage image(size, QImage::Format_RGB32);
  if (image.isNull()) return image_;
  uint8_t* destination[4] = {image.bits(), nullptr, nullptr, nullptr};
  const int destinationStride[4] = {static_cast<int>(image.bytesPerLine()), 0, 0, 0};
  const int rows = sws_scale(scaler_.get(), picture.data, picture.linesize, 0, picture.height,
                             destination, destinationStride);
  if (rows > 0) image_ = std::move(image);
  return image_;
}

void PlayerVideoView::paintEvent(QPaintEvent* event) {
  QPainter painter(this);
  painter.fillRect(event->rect(), Qt::black);
  const QRect target = pictureRect();
  if (target.isEmpty()) return;
  const qreal ratio = devicePixelRatioF();
  const QSize pixels(static_cast<int>(std::lround(target.width() * ratio)),
                     static_cast<int>(std::lround(target.height() * ratio)));
  const QImage& image = imageOfSize(pixels);
  if (image.isNull()) return;
  painter.drawImage(target, image);
  emit framePainted();
}

}  // namespace reelcraft
