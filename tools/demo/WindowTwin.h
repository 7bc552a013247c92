#pragma once

#include "core/AutostartStore.h"
#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"

#include <QNetworkAccessManager>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>

#include <memory>

namespace velmo {
class NavTab;
}

namespace velmo::demo {

/// The launcher's window once more, in this process and never seen, and without a request to anyone. It tells where a
/// widget of the real one lies, whose program cannot be asked.
class WindowTwin {
public:
    /// \a startsAtSignIn says whether the real one's platform has a place for that.
    WindowTwin(QSize size, bool startsAtSignIn);
    ~WindowTwin();
    Q_DISABLE_COPY_MOVE(WindowTwin)

    void resize(QSize size);

    // Each is the middle of a widget, in the window's own pixels; a point below zero when there is no such widget.
    QPoint primaryButton();
    QPoint cancelButton();
    QPoint minimiseButton();
    QPoint closeButton();
    QPoint tab(const QString &text);
    /// The control of a row of the settings page, which is scrolled to its start.
    QPoint setting(const QString &label);
    /// The selector in the title bar, while it names this branch.
    QPoint branchSelector(const QString &branch);
    /// A branch's row in the selector's list, in the list's own pixels.
    static QPoint branchRow(const QString &name);
    /// The first article's card on the news page, all of it.
    QRect firstCard();

    /// What is asked before something is given up.
    struct Question {
        QString title;
        QString text;
        QString agreement;
    };
    static const Question close;
    static const Question reset;
    /// A button of that question, in the dialog's own pixels.
    static QPoint questionButton(const Question &question, const QString &button);

private:
    NavTab *findTab(const QString &text) const;
    QPoint middleOf(const QWidget *widget) const;

    struct SignInPlace : AutostartStore {
        bool supported() const override { return true; }
        QString read() const override { return {}; }
        QSettings::Status write(const QString & /*command*/) override { return QSettings::NoError; }
        QSettings::Status remove() override { return QSettings::NoError; }
    };

    SignInPlace signInPlace_;
    ConfigManager config_;
    QNetworkAccessManager network_;
    ApiClient api_;
    GameManager game_;
    std::unique_ptr<MainWindow> window_;
};

} // namespace velmo::demo
