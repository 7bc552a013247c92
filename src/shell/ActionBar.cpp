#include "shell/ActionBar.h"

#include "core/Format.h"
#include "game/GameManager.h"
#include "shell/ElidingLabel.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Stylesheet.h"
#include "widgets/PrimaryButton.h"
#include "widgets/ProgressTrack.h"
#include "widgets/RoleButton.h"
#include "widgets/StatusBadge.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int barHeight = 72;
constexpr int trackThickness = 3;

/// How the primary button stands in a state.
struct ButtonLook {
    GameState state;
    QStringView label;
    bool enabled;
};

constexpr std::array<ButtonLook, 11> buttonLooks = {{
    {GameState::CheckingInstallation, u"CHECKING", false},
    {GameState::NotInstalled, u"INSTALL", true},
    {GameState::Installed, u"PLAY", true},
    {GameState::UpdateAvailable, u"UPDATE", true},
    {GameState::Downloading, u"DOWNLOADING", false},
    {GameState::Installing, u"INSTALLING", false},
    {GameState::Verifying, u"VERIFYING", false},
    {GameState::Repairing, u"REPAIRING", false},
    {GameState::Launching, u"LAUNCHING", false},
    {GameState::Running, u"RUNNING", false},
    {GameState::Error, u"RETRY", true},
}};

ButtonLook lookOf(GameState state)
{
    for (const ButtonLook &look : buttonLooks) {
        if (look.state == state) {
            return look;
        }
    }
    return {state, u"PLAY", false};
}

ElidingLabel *makeLabel(const QFont &font, const QColor &labelColor, QWidget *parent)
{
    auto *label = new ElidingLabel(parent);
    label->setFont(font);
    label->setStyleSheet(theme::colorRule(labelColor));
    return label;
}

} // namespace

ActionBar::ActionBar(GameManager *game, QWidget *parent)
    : QWidget(parent)
    , game(game)
    , statusBadge(new StatusBadge(this))
    , statusLabel(makeLabel(theme::displayFont(13, QFont::DemiBold, 1.2), color::text, this))
    , metaLabel(makeLabel(theme::monoFont(10, QFont::Normal, 0.5), color::textDim, this))
    , progressTrack(new ProgressTrack(this))
    , cancelButton(makeRoleButton(u"Cancel"_s, u"secondary"_s, this))
    , primaryButton(new PrimaryButton(this))
{
    build();
    connect(cancelButton, &QPushButton::clicked, game, &GameManager::cancelOperation);
    connect(primaryButton, &PrimaryButton::clicked, game, &GameManager::primaryAction);
    connect(game, &GameManager::stateChanged, this, &ActionBar::applyState);
    connect(game, &GameManager::downloadProgressChanged, this, &ActionBar::onDownloadProgress);
    connect(game, &GameManager::channelChanged, this, &ActionBar::refreshMeta);
    connect(game, &GameManager::verificationProgressChanged, this, &ActionBar::onVerificationProgress);
    applyState(game->state(), game->detail());
}

void ActionBar::setServiceStatus(ServiceStatus status, const QString &detail)
{
    statusBadge->setStatus(status, detail);
}

void ActionBar::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), color::panel);
}

void ActionBar::build()
{
    setFixedHeight(barHeight);
    setAttribute(Qt::WA_StyledBackground, false);
    cancelButton->hide();

    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(26, 0, 26, 0);
    row->setSpacing(18);
    row->addWidget(statusBadge, 0, Qt::AlignVCenter);
    row->addLayout(buildTexts(), 1);
    row->addWidget(cancelButton, 0, Qt::AlignVCenter);
    row->addWidget(primaryButton, 0, Qt::AlignVCenter);
}

QBoxLayout *ActionBar::buildTexts()
{
    progressTrack->setThickness(trackThickness);
    progressTrack->setAccessibleName(u"Progress"_s);
    progressTrack->hide();
    auto *column = new QVBoxLayout;
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(3);
    column->addWidget(statusLabel);
    column->addWidget(metaLabel);
    column->addWidget(progressTrack);
    return column;
}

void ActionBar::applyState(GameState state, const QString &detail)
{
    const ButtonLook look = lookOf(state);
    const bool transfer = isTransfer(state);
    const bool cancellable = transfer && game->canCancel();
    const QWidget *focused = window()->focusWidget();
    const bool holdsFocus = focused && (focused == this || isAncestorOf(focused));
    if (holdsFocus && !(focused == cancelButton ? cancellable : look.enabled)) {
        setFocus(); // a button that goes would hand the focus to the page, which scrolls to it and is read aloud
    }
    primaryButton->setText(look.label.toString());
    primaryButton->setBusy(transfer);
    primaryButton->setEnabled(look.enabled);
    statusLabel->setText(detail.isEmpty() ? GameManager::stateLabel(state) : detail);
    progressTrack->setVisible(transfer);
    cancelButton->setVisible(cancellable);
    progressTrack->setIndeterminate(state == GameState::Installing);
    if (!transfer) {
        refreshMeta();
    }
    if (holdsFocus) {
        placeFocus();
    }
}

/// The keyboard stays in the bar while its buttons come and go, and on the bar itself while neither can be pressed.
void ActionBar::placeFocus()
{
    if (primaryButton->isEnabled()) {
        primaryButton->setFocus();
    } else if (!cancelButton->isHidden()) {
        cancelButton->setFocus();
    } else {
        setFocus();
    }
}

void ActionBar::refreshMeta()
{
    QStringList parts = {u"BRANCH %1"_s.arg(game->currentChannel().name.toUpper())};
    const QString version = game->installedVersion();
    if (!version.isEmpty()) {
        parts.append(u"BUILD %1"_s.arg(version));
    }
    const qint64 pending = game->pendingDownloadBytes();
    if (pending >= 1) {
        parts.append(u"DOWNLOAD %1"_s.arg(formatBytes(pending)));
    }
    metaLabel->setText(parts.join(u"   "_s));
}

void ActionBar::onDownloadProgress(const DownloadProgress &progress)
{
    if (progress.bytesTotal <= 0) {
        return;
    }
    progressTrack->setFraction(static_cast<double>(progress.bytesReceived) / static_cast<double>(progress.bytesTotal));
    QString text = u"%1 / %2"_s.arg(formatBytes(progress.bytesReceived), formatBytes(progress.bytesTotal));
    if (progress.bytesPerSecond > 0.0) {
        text += u"   %1"_s.arg(formatRate(progress.bytesPerSecond));
    }
    if (progress.etaSeconds > 0) {
        text += u"   %1"_s.arg(formatEta(progress.etaSeconds));
    }
    metaLabel->setText(text);
}

void ActionBar::onVerificationProgress(double fraction, const QString &currentFile)
{
    progressTrack->setFraction(fraction);
    metaLabel->setText(currentFile.isEmpty() ? u"%1%"_s.arg(qRound(fraction * 100.0)) : currentFile);
}

} // namespace velmo
