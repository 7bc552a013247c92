#pragma once

#include "shell/WindowSystem.h"

#include <QAbstractNativeEventFilter>
#include <QList>
#include <QPointer>
#include <QWidget>

namespace velmo {

class ClientFrame;

/// A top-level window that paints its own caption and still is a native one to its desktop: it moves, resizes, snaps
/// and maximises. Where the platform keeps its frame, the window answers the frame's messages; elsewhere it hands moves
/// and resizes to the window manager. Either way one table decides what a point is. GUI thread only.
class FramelessWindow : public QWidget, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    /// What a point of the window is to the desktop; the values are the platform's own.
    enum Hit {
        Client = 1,
        Caption = 2,
        Left = 10,
        Right = 11,
        Top = 12,
        TopLeft = 13,
        TopRight = 14,
        Bottom = 15,
        BottomLeft = 16,
        BottomRight = 17,
    };

    explicit FramelessWindow(QWidget *parent = nullptr);
    ~FramelessWindow() override;

    /// \a region's own ground drags the window from now on; its children take clicks unless their dynamic property
    /// "captionPassthrough" is true. Null is ignored; a region that is gone is skipped.
    void addCaptionRegion(QWidget *region);
    /// Each counts once, however often it was added, and those that are gone count too.
    qsizetype captionRegionCount() const { return captionRegions.size(); }

    /// The place that a maximised window goes back to; the present one of any other. Without a frame, as geometry() is.
    QRect restoredGeometry() const;

    /// What the screen position \a position, in physical pixels, is.
    Hit hitTest(const QPoint &position) const;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

public slots:
    void toggleMaximized();

signals:
    void maximizedChanged(bool maximized);

protected:
    void changeEvent(QEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    Hit hitRegion(const QPoint &point) const;
    std::optional<WindowSystem::SizeLimits> sizeLimits() const;
    QRect clientArea(QRect proposed) const;
    bool leavesRowForTaskbar() const;
    void applyFrame();
    void rememberPlace();

    QList<QPointer<QWidget>> captionRegions;
    bool resizable = true;
    bool maximized = false;             ///< as last reported
    bool frameApplied = false;          ///< by the first show
    QRect lastRestored;                 ///< the last geometry that was not maximised
    ClientFrame *clientFrame = nullptr; ///< where there is no native frame
};

} // namespace velmo
