#include "shell/WindowSystem.h"

#include <QScreen>

namespace velmo {

namespace {

QRect physical(const QRect &logical, double ratio)
{
    return {(QPointF(logical.topLeft()) * ratio).toPoint(), (QSizeF(logical.size()) * ratio).toSize()};
}

/// For desktops where the window manager takes moves and resizes of a window without a frame.
class GenericWindowSystem : public WindowSystem {
public:
    bool hasNativeFrame() const override { return false; }

    quintptr style(const QWidget & /*window*/) const override { return 0; }
    void setStyle(const QWidget & /*window*/, quintptr /*style*/) override {}
    void recalculateFrame(const QWidget & /*window*/) override {}
    void extendFrame(const QWidget & /*window*/, const QMargins & /*margins*/) override {}

    std::optional<Monitor> nearestMonitor(const QWidget &window) const override
    {
        const QScreen &screen = *window.screen();
        const double ratio = screen.devicePixelRatio();
        return Monitor{physical(screen.geometry(), ratio), physical(screen.availableGeometry(), ratio)};
    }

    bool isZoomed(const QWidget &window) const override { return window.isMaximized() || window.isFullScreen(); }

    QRect windowRect(const QWidget &window) const override
    {
        return physical(window.geometry(), window.devicePixelRatio());
    }

    QSize maximizedOverhang() const override { return {0, 0}; }
    bool taskbarHidesItself() const override { return false; }
    bool hasHiddenTaskbar(Edge /*edge*/, const QRect & /*monitor*/) const override { return false; }

    std::optional<Message> unpack(void * /*message*/) const override { return {}; }
    QRect proposedClientArea(const Message & /*message*/) const override { return {}; }
    void setClientArea(const Message & /*message*/, const QRect & /*area*/) const override {}
    void setSizeLimits(const Message & /*message*/, const SizeLimits & /*limits*/) const override {}
};

} // namespace

WindowSystem &WindowSystem::platformSystem()
{
    static GenericWindowSystem system;
    return system;
}

} // namespace velmo
