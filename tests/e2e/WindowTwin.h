#pragma once

#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"

#include <QNetworkAccessManager>
#include <QPoint>
#include <QSize>
#include <QString>

namespace velmo {
class NavTab;
}

namespace velmo::test {

/// The launcher's window once more, in this process and never seen. It tells where a widget of the real one lies, whose
/// program cannot be asked.
class WindowTwin {
public:
    explicit WindowTwin(QSize size);

    // Each is the middle of a widget, in the window's own pixels; a point below zero when there is no such widget.
    QPoint primaryButton();
    QPoint closeButton();
    QPoint tab(const QString &text);
    /// The control of a row of the settings page, which is scrolled to its start.
    QPoint setting(const QString &label);

private:
    NavTab *findTab(const QString &text) const;
    QPoint middleOf(const QWidget *widget) const;

    ConfigManager config_;
    QNetworkAccessManager network_;
    ApiClient api_;
    GameManager game_;
    MainWindow window_;
};

} // namespace velmo::test
