#include "app/player_view_controller.h"

#include <QLabel>
#include <QToolButton>

#include <exception>

#include "app/error_alert.h"
#include "app/player_error.h"
#include "app/stretch_time_dialog.h"
#include "app/value_popup.h"
#include "core/time_display.h"
#include "document/movie_pasteboard.h"
#include "media/audio/null_audio_sink.h"
#include "qt_media/player_video_view.h"
#include "timeline_view/timeline_control.h"
#include "ui_player_view.h"

namespace reelcraft {
namespace {

// The player's first position: a tenth of a second in, so a newly opened movie shows a
// picture rather than a possibly black first frame.
constexpr MediaTime kInitialTime = MediaTime::make(10, 100);

}  // namespace

PlayerViewController::PlayerViewController(QWidget* parent)
    : QWidget(parent),
      ui_(std::make_unique<Ui::PlayerView>()),
      currentTimeBindable_(Bindable<MediaTime>::create(kInitialTime)),
      volumeBindable_(Bindable<double>::create(1.0)),
      playbackRateBindable_(Bindable<double>::create(1.0)),
      commands_(nullptr, currentTimeBindable_) {
  ui_->setupUi(this);
  setFocusPolicy(Qt::StrongFocus);
  commands_.setTimeline(timeline());

  bind(currentTimeBindable_, timeline()->currentTimeBindable());
  timeline()->setCurrentTime(currentTimeBindable_->value());
  // Every seek is exact; the player's own time reports come back by a plain set, which
  // does not run this observer.
  currentTimeBindable_->observers.push_back([this](const MediaTime& time) {
    if (player_) player_->seek(time);
  });
  volumeBindable_->observers.push_back([this](const double& volume) {
    if (player_) player_->setVolume(static_cast<float>(volume));
  });
  playbackRateBindable_->observers.push_back([this](const double& rate) {
    if (player_) player_->setRate(static_cast<float>(rate));
    updatePlayPauseButton();
  });

  connect(ui_->playPauseButton, &QToolButton::clicked, this, [this](bool checked) {
    if (checked) {
      play();
    } else {
      pause();
    }
  });
  connect(ui_->stepForwardButton, &QToolButton::clicked, this, [this] { stepForward(); });
  connect(ui_->stepBackwardButton, &QToolButton::clicked, this, [this] { stepBackward(); });
  connect(ui_->fullScreenButton, &QToolButton::clicked, this, [this] { toggleFullScreen(); });
}

PlayerViewController::~PlayerViewController() {
  // The player calls back into this controller; it goes first.
  player_.reset();
}

PlayerVideoView* PlayerViewController::mediaPlayer() const {
  return ui_->mediaPlayer;
}
TimelineControl* PlayerViewController::timeline() const {
  return ui_->timeline;
}
QLabel* PlayerViewController::timeLabel() const {
  return ui_->timeLabel;
}
QToolButton* PlayerViewController::playPauseButton() const {
  return ui_->playPauseButton;
}
QToolButton* PlayerViewController::stepForwardButton() const {
  return ui_->stepForwardButton;
}
QToolButton* PlayerViewController::stepBackwardButton() const {
  return ui_->stepBackwardButton;
}
QToolButton* PlayerViewController::fullScreenButton() const {
  return ui_->fullScreenButton;
}

void PlayerViewController::setMovie(std::weak_ptr<Movie> movie) {
  movie_ = movie;
  commands_.setMovie(std::move(movie));
}

void PlayerViewController::attachMovie() {
  const auto movie = movie_.lock();
  if (!movie) return;
  movieAsset_ = Bindable<AssetPtr>::create(movie->composition);
  bind(movieAsset_, movie->bindableAsset);
  movieAsset_->observers.push_back([this](const AssetPtr&) { loadAsset(); });
  loadAsset();
}

void PlayerViewController::detachPlayer() {
  player_.reset();
  mediaPlayer()->clear();
  updatePlayPauseButton();
}

void PlayerViewController::loadAsset() {
  const auto movie = movie_.lock();
  if (!movie) return;
  player_.reset();
  try {
    // The player reads a frozen copy: the movie's composition is edited in place.
    player_ = Player::create(movie->composition->copy(), mainQueue_);
  } catch (const std::exception& failure) {
    mediaPlayer()->clear();
    showErrorAlert(makeError(kPlayerErrorDomain, PlayerErrorCode::CannotPlay,
                             "The movie can’t be played.", failure.what()),
                   window());
    return;
  }
  auto sink = audioSinkFactory_ ? audioSinkFactory_() : nullptr;
  player_->setAudioSink(sink ? std::move(sink) : std::make_shared<NullAudioSink>());
  player_->setVideoSink(mediaPlayer());
  player_->setVolume(volumeBindable_->value());
  player_->setFailureHandler([this](const Error& error) { showErrorAlert(error, window()); });
  player_->seek(currentTimeBindable_->value());
  updateTimeDisplay();
  updatePlayPauseButton();
  player_->addPeriodicTimeObserver(MediaTime::make(1, 40),
                                   [this](MediaTime time) { timeReport(time); });
}

void PlayerViewController::timeReport(MediaTime time) {
  if (timeReportHook_) timeReportHook_();
  currentTimeBindable_->setValue(time);
  updateTimeDisplay();
  updatePlayPauseButton();
}

void PlayerViewController::updateTimeDisplay() {
  if (!player_) return;
  timeline()->setDuration(player_->duration());
  timeline()->setNeedsDisplay();
  timeLabel()->setText(QString::fromStdString(timeDisplayString(player_->currentTime())));
}

void PlayerViewController::updatePlayPauseButton() {
  const bool playing = player_ && std::abs(static_cast<float>(player_->rate())) > 0.001f;
  playPauseButton()->setChecked(playing);
  playPauseButton()->setText(playing ? QStringLiteral("❚❚") : QStringLiteral("▶︎"));
}

void PlayerViewController::play() {
  if (!player_) return;
  player_->play();
  updatePlayPauseButton();
}

void PlayerViewController::pause() {
  if (!player_) return;
  player_->pause();
  updatePlayPauseButton();
}

void PlayerViewController::playPause() {
  if (player_ && std::abs(player_->rate()) > 0.001) {
    pause();
  } else {
    play();
  }
}

void PlayerViewController::stepForward() {
  if (player_) player_->stepByCount(1);
  updatePlayPauseButton();
}

void PlayerViewController::stepBackward() {
  if (player_) player_->stepByCount(-1);
  updatePlayPauseButton();
}

void PlayerViewController::selectAll() {
  if (movie_.lock()) commands_.selectAll();
}

void PlayerViewController::trimToSelection() {
  commands_.trimToSelection();
}

void PlayerViewController::deleteSelection() {
  commands_.deleteSelection();
}

void PlayerViewController::rotateMovie(bool left) {
  if (const auto movie = movie_.lock()) movie->rotate(left);
}

void PlayerViewController::copy() {
  copyMovieSelection(movie_, timeline()->selections());
}

void PlayerViewController::paste() {
  try {
    pasteMovieFragment(movie_, timeline()->currentTime());
  } catch (const ErrorException& failure) {
    showErrorAlert(failure.error());
  }
}

void PlayerViewController::cut() {
  if (timeline()->selections().empty() || !movie_.lock()) return;
  copy();
  deleteSelection();
}

void PlayerViewController::timeStretchSelection() {
  const auto selection = commands_.selectionToStretch();
  if (!selection || !movie_.lock()) return;
  if (stretchDialog_) stretchDialog_->close();
  auto* dialog = new StretchTimeDialog(selection->duration, this);
  stretchDialog_ = dialog;
  QPointer<PlayerViewController> self(this);
  const TimelineSelection range = *selection;
  dialog->onApply = [self, dialog, range](MediaTime newDuration) {
    dialog->close();
    if (!self) return;
    self->commands_.applyStretch(range, newDuration);
  };
  dialog->open();
}

void PlayerViewController::showVolumeControls() {
  showValuePopup(volumeBindable_, false);
}

void PlayerViewController::showPlaybackRateControls() {
  showValuePopup(playbackRateBindable_, true);
}

void PlayerViewController::showValuePopup(const std::shared_ptr<Bindable<double>>& value,
                                          bool rate) {
  auto* popup = rate ? static_cast<ValuePopup*>(new PlaybackRatePopup(this))
                     : static_cast<ValuePopup*>(new VolumePopup(this));
  bind(value, popup->value());
  popup->updateControls(value->value());
  popup->setAttribute(Qt::WA_DeleteOnClose);
  const QRect anchor = ui_->playPauseButton->rect();
  popup->move(ui_->playPauseButton->mapToGlobal(anchor.bottomLeft()));
  popup->show();
}

void PlayerViewController::toggleFullScreen() {
  QWidget* top = window();
  if (top->isFullScreen()) {
    top->showNormal();
  } else {
    top->showFullScreen();
  }
}

}  // namespace reelcraft
