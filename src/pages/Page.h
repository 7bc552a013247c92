#pragma once

#include <QWidget>

namespace velmo {

/// What the window's page stack holds: a view that is told when navigation lands on it.
class Page : public QWidget {
    Q_OBJECT

public:
    explicit Page(QWidget *parent = nullptr);

    /// Called on each navigation to this page, after it has become the visible one.
    virtual void onPageShown();
};

} // namespace velmo
