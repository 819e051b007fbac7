#pragma once

#include <functional>
#include <memory>

#include <QPointer>
#include <QWidget>

#include "app/stretch_time_dialog.h"
#include "core/bindable.h"
#include "document/movie.h"
#include "media/audio/audio_sink.h"
#include "media/base/media_time.h"
#include "media/model/asset.h"
#include "media/playback/player.h"
#include "qt_media/qt_main_queue.h"
#include "timeline/selection_commands.h"

class QLabel;
class QToolButton;

namespace Ui {
class PlayerView;
}

namespace reelcraft {

class PlayerVideoView;
class TimelineControl;

// The content of a document window: plays the movie in the video view, keeps the player's
// current time, volume and rate in Bindables that the timeline and the controls share, and
// carries out the window's transport, selection and edit commands.
//
// Each published change of the movie replaces the player by one for the new composition at
// the same current time. While a player exists its time is reported every 1/40 s.
class PlayerViewController : public QWidget {
  Q_OBJECT

 public:
  // Makes the sound output of each new player; a silent sink when it returns null.
  using AudioSinkFactory = std::function<std::shared_ptr<AudioSink>()>;

  explicit PlayerViewController(QWidget* parent = nullptr);
  ~PlayerViewController() override;

  PlayerVideoView* mediaPlayer() const;
  TimelineControl* timeline() const;
  QLabel* timeLabel() const;
  QToolButton* playPauseButton() const;
  QToolButton* stepForwardButton() const;
  QToolButton* stepBackwardButton() const;
  QToolButton* fullScreenButton() const;

  void setAudioSinkFactory(AudioSinkFactory factory) { audioSinkFactory_ = std::move(factory); }

  // The movie, held weakly (its document owns it); attachMovie shows it.
  void setMovie(std::weak_ptr<Movie> movie);
  std::shared_ptr<Movie> movie() const { return movie_.lock(); }
  // Links to the movie's published asset and plays its composition.
  void attachMovie();
  // Drops the player (the view shows black).
  void detachPlayer();

  Player* player() const { return player_.get(); }
  const std::shared_ptr<Bindable<MediaTime>>& currentTimeBindable() const {
    return currentTimeBindable_;
  }
  const std::shared_ptr<Bindable<double>>& volumeBindable() const { return volumeBindable_; }
  const std::shared_ptr<Bindable<double>>& playbackRateBindable() const {
    return playbackRateBindable_;
  }
  SelectionCommands& selectionCommands() { return commands_; }

  // Called with each time report, before the time is shown (the window's hook).
  void setTimeReportHook(std::function<void()> hook) { timeReportHook_ = std::move(hook); }

  // The transport, edit and presentation actions of the window's commands.
  void play();
  void pause();
  void playPause();
  void stepForward();
  void stepBackward();
  void selectAll();
  void trimToSelection();
  void deleteSelection();
  void rotateMovie(bool left);
  void copy();
  void paste();
  void cut();
  void timeStretchSelection();
  void showVolumeControls();
  void showPlaybackRateControls();
  void toggleFullScreen();

  // The open time stretch dialog, if any.
  StretchTimeDialog* stretchDialog() const { return stretchDialog_; }

 private:
  void loadAsset();
  void timeReport(MediaTime time);
  void updateTimeDisplay();
  void updatePlayPauseButton();
  void showValuePopup(const std::shared_ptr<Bindable<double>>& value, bool rate);

  std::unique_ptr<Ui::PlayerView> ui_;
  QtMainQueue mainQueue_;
  std::weak_ptr<Movie> movie_;
  std::shared_ptr<Bindable<AssetPtr>> movieAsset_;
  std::shared_ptr<Bindable<MediaTime>> currentTimeBindable_;
  std::shared_ptr<Bindable<double>> volumeBindable_;
  std::shared_ptr<Bindable<double>> playbackRateBindable_;
  SelectionCommands commands_;
  AudioSinkFactory audioSinkFactory_;
  std::unique_ptr<Player> player_;
  std::function<void()> timeReportHook_;
  QPointer<StretchTimeDialog> stretchDialog_;
};

}  // namespace reelcraft
