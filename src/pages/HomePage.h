#pragma once

#include "pages/Page.h"

class QLabel;

namespace velmo {

class GameManager;
class HeroBanner;
class LogoView;

/// The landing page: the game's art with its name on it. It shows the same thing whatever the game is doing; the action
/// bar below tells of that.
class HomePage : public Page {
    Q_OBJECT

public:
    /// \a game is not owned.
    explicit HomePage(GameManager *game, QWidget *parent = nullptr);

private:
    QWidget *buildContent();

    [[maybe_unused]] GameManager
        *game_; ///< held as every page holds what it is made with; nothing here is read from it
    HeroBanner *hero_;
    LogoView *logo_ = nullptr;
    QLabel *titleLabel_ = nullptr;
    QLabel *stageLabel_ = nullptr;
    QLabel *taglineLabel_ = nullptr;
};

} // namespace velmo
