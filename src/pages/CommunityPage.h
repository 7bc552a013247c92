#pragma once

#include "pages/Page.h"

#include <QLayout>

class QFrame;

namespace velmo {

/// The ways out to the studio: one card for each place, with a button that opens it in the browser.
class CommunityPage : public Page {
    Q_OBJECT

public:
    explicit CommunityPage(QWidget *parent = nullptr);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    /// An empty \a url leaves the button there, disabled.
    static QFrame *makeCard(const QString &title, const QString &text, const QString &buttonText, const QString &url,
                            QWidget *parent);
    /// Leaves \a part of all margins and gaps, from 0 to 1.
    void setAir(double part);
    int neededHeight() const { return layout()->totalHeightForWidth(width()); }
};

} // namespace velmo
