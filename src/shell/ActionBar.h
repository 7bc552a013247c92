#pragma once

#include "game/GameState.h"

#include <QWidget>

class QBoxLayout;
class QPushButton;

namespace velmo {

class ElidingLabel;
class GameManager;
class PrimaryButton;
class ProgressTrack;
class StatusBadge;
struct DownloadProgress;

/// The band along the window's bottom: the single place where the game's lifecycle is shown and driven. It holds no
/// state of its own; each signal of the game rebuilds the picture.
class ActionBar : public QWidget {
    Q_OBJECT

public:
    /// \a game is not owned.
    explicit ActionBar(GameManager *game, QWidget *parent = nullptr);

    void setServiceStatus(ServiceStatus status, const QString &detail);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void build();
    QBoxLayout *buildTexts();
    void applyState(GameState state, const QString &detail);
    void placeFocus();
    void refreshMeta();
    void onDownloadProgress(const DownloadProgress &progress);
    void onVerificationProgress(double fraction, const QString &currentFile);

    GameManager *game;
    StatusBadge *statusBadge;
    ElidingLabel *statusLabel;
    ElidingLabel *metaLabel;
    ProgressTrack *progressTrack;
    QPushButton *cancelButton;
    PrimaryButton *primaryButton;
};

} // namespace velmo
