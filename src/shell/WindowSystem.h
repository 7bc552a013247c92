#pragma once

#include <QMargins>
#include <QRect>
#include <QWidget>

#include <optional>

namespace velmo {

/// What a frameless window asks of the platform: operations, no decisions. Rectangles are in physical screen pixels.
/// GUI thread only.
class WindowSystem {
public:
    struct Monitor {
        QRect full;
        QRect work; ///< without task bars
    };

    /// How far a window may go when it is maximised or resized by hand.
    struct SizeLimits {
        QPoint maximizedPosition; ///< from the monitor's corner
        QSize maximizedSize;
        QSize minimumTrack;
    };

    /// A native message, unpacked.
    struct Message {
        WId window = 0;
        unsigned id = 0;
        bool hasParameter = false; ///< wParam is not 0
        QPoint position;           ///< lParam as two signed 16-bit values: x low, y high
        void *data = nullptr;      ///< lParam as a pointer, for the three functions below
    };

    /// In the order in which a hidden task bar is looked for.
    enum class Edge { Bottom, Top, Left, Right };

    virtual ~WindowSystem() = default;

    /// Whether the window keeps its native frame, whose messages it then answers; without one it is frameless and hands
    /// moves and resizes to the window manager.
    virtual bool hasNativeFrame() const = 0;

    virtual quintptr style(const QWidget &window) const = 0;
    virtual void setStyle(const QWidget &window, quintptr style) = 0;
    virtual void recalculateFrame(const QWidget &window) = 0;
    /// Extends the compositor's frame into the client area.
    virtual void extendFrame(const QWidget &window, const QMargins &margins) = 0;

    virtual std::optional<Monitor> nearestMonitor(const QWidget &window) const = 0;
    virtual bool isZoomed(const QWidget &window) const = 0;
    virtual QRect windowRect(const QWidget &window) const = 0;
    /// What a maximised window's frame reaches over the screen's edge: width at either side, height at top and bottom.
    virtual QSize maximizedOverhang() const = 0;
    virtual bool taskbarHidesItself() const = 0;
    virtual bool hasHiddenTaskbar(Edge edge, const QRect &monitor) const = 0;

    /// Nothing when \a message is not whole.
    virtual std::optional<Message> unpack(void *message) const = 0;
    virtual QRect proposedClientArea(const Message &message) const = 0;
    virtual void setClientArea(const Message &message, const QRect &area) const = 0;
    virtual void setSizeLimits(const Message &message, const SizeLimits &limits) const = 0;

    /// The system in use: the platform's own unless replaced.
    static WindowSystem &instance();
    /// Puts \a system, which must outlive its use, in the place of the platform's; null brings the platform's back.
    static void replaceInstance(WindowSystem *system);

protected:
    WindowSystem() = default;
    Q_DISABLE_COPY_MOVE(WindowSystem)

private:
    /// The platform's own; each platform's file defines it.
    static WindowSystem &platformSystem();
};

} // namespace velmo
