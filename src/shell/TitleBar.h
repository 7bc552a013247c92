#pragma once

#include "shell/NavPage.h"

#include <QHash>
#include <QWidget>

class QBoxLayout;
class QButtonGroup;

namespace velmo {

class ChannelSelector;
class ElidingLabel;
class LogoView;
class NavTab;
class TitleBarButton;

/// The painted caption: mark, page navigation, launcher version and window buttons. Its ground drags the window, its
/// controls take clicks. Ctrl and a digit open the page of that tab.
class TitleBar : public QWidget {
    Q_OBJECT

public:
    explicit TitleBar(QWidget *parent = nullptr);

    /// Shown in capitals.
    void setVersionText(const QString &text);
    /// Marks the tab of the page \a index without asking for it.
    void setActivePage(int index);
    void setMaximized(bool maximized);
    /// For the window to connect; owned by the bar.
    ChannelSelector *channelSelector() const { return selector; }

signals:
    void pageRequested(velmo::NavPage page);
    void minimizeRequested();
    void maximizeRestoreRequested();
    void closeRequested();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void addLogo(QBoxLayout *row);
    void addTabs(QBoxLayout *row);
    void addSelector(QBoxLayout *row);
    void addVersion(QBoxLayout *row);
    void addWindowButtons(QBoxLayout *row);

    QButtonGroup *tabGroup;
    QHash<int, NavTab *> tabs;
    int activePage = 0;
    LogoView *logo;
    ElidingLabel *versionLabel;
    ChannelSelector *selector;
    TitleBarButton *minimizeButton;
    TitleBarButton *maximizeButton;
    TitleBarButton *closeButton;
};

} // namespace velmo
