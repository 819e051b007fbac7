#pragma once

#include <optional>

#include <QImage>
#include <QRect>
#include <QWidget>

#include "media/ffmpeg/av_handles.h"
#include "media/playback/video_sink.h"

namespace reelcraft {

// The picture surface of a player: shows the frames a player hands it, as large as the widget
// allows with the picture's shape kept, centred, and black around it. Draws with QPainter, so
// it works on every platform, the offscreen one included. Frames of any pixel format are
// converted to RGB once for each frame and size shown.
class PlayerVideoView : public QWidget, public VideoSink {
  Q_OBJECT

 public:
  explicit PlayerVideoView(QWidget* parent = nullptr);
  ~PlayerVideoView() override;

  void showFrame(const VideoFrame& frame) override;
  // Shows nothing (black) until the next frame.
  void clear();

  // The frame on show.
  const std::optional<VideoFrame>& frame() const { return frame_; }
  // Where the picture is drawn, in widget coordinates; empty without a frame.
  QRect pictureRect() const;
  // The shape of the picture on show (width ÷ height, pixel aspect included); 0 without one.
  double displayAspectRatio() const;

  QSize sizeHint() const override;

 signals:
  // The picture of frame() has just been drawn (emitted at the end of each paint that drew it).
  void framePainted();

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  // The frame on show as an RGB image of `size` device pixels; kept until the frame or the
  // size changes. A null image when the picture cannot be converted.
  const QImage& imageOfSize(QSize size);

  std::optional<VideoFrame> frame_;
  ScalerPtr scaler_;
  QImage image_;
  bool imageIsCurrent_ = false;
};

}  // namespace reelcraft
