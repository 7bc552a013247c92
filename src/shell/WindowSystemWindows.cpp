#include "shell/WindowSystem.h"

#include <qt_windows.h>

#include <dwmapi.h>
#include <shellapi.h>
#include <windowsx.h>

#include <array>

namespace velmo {

namespace {

HWND handleOf(const QWidget &window)
{
    return reinterpret_cast<HWND>(window.internalWinId());
}

QRect fromNative(const RECT &rect)
{
    return {QPoint(rect.left, rect.top), QSize(rect.right - rect.left, rect.bottom - rect.top)};
}

RECT toNative(const QRect &rect)
{
    return {rect.x(), rect.y(), rect.x() + rect.width(), rect.y() + rect.height()};
}

class NativeWindowSystem : public WindowSystem {
public:
    bool hasNativeFrame() const override { return true; }

    quintptr style(const QWidget &window) const override
    {
        return static_cast<quintptr>(GetWindowLongPtrW(handleOf(window), GWL_STYLE));
    }

    void setStyle(const QWidget &window, quintptr style) override
    {
        SetWindowLongPtrW(handleOf(window), GWL_STYLE, static_cast<LONG_PTR>(style));
    }

    void recalculateFrame(const QWidget &window) override
    {
        SetWindowPos(handleOf(window), nullptr, 0, 0, 0, 0,
                     SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_FRAMECHANGED | SWP_NOOWNERZORDER);
    }

    void extendFrame(const QWidget &window, const QMargins &margins) override
    {
        const MARGINS native{margins.left(), margins.right(), margins.top(), margins.bottom()};
        DwmExtendFrameIntoClientArea(handleOf(window), &native);
    }

    std::optional<Monitor> nearestMonitor(const QWidget &window) const override
    {
        MONITORINFO info{};
        info.cbSize = sizeof(info);
        if (!GetMonitorInfoW(MonitorFromWindow(handleOf(window), MONITOR_DEFAULTTONEAREST), &info)) {
            return {};
        }
        return Monitor{fromNative(info.rcMonitor), fromNative(info.rcWork)};
    }

    bool isZoomed(const QWidget &window) const override { return IsZoomed(handleOf(window)) != FALSE; }

    QRect windowRect(const QWidget &window) const override
    {
        RECT rect{};
        GetWindowRect(handleOf(window), &rect);
        return fromNative(rect);
    }

    QSize maximizedOverhang() const override
    {
        // The padded border serves both axes.
        const int padding = GetSystemMetrics(SM_CXPADDEDBORDER);
        return {padding + GetSystemMetrics(SM_CXSIZEFRAME), padding + GetSystemMetrics(SM_CYSIZEFRAME)};
    }

    bool taskbarHidesItself() const override
    {
        APPBARDATA data{};
        data.cbSize = sizeof(data);
        return (SHAppBarMessage(ABM_GETSTATE, &data) & ABS_AUTOHIDE) != 0;
    }

    bool hasHiddenTaskbar(Edge edge, const QRect &monitor) const override
    {
        constexpr std::array<UINT, 4> nativeEdges = {ABE_BOTTOM, ABE_TOP, ABE_LEFT, ABE_RIGHT};
        APPBARDATA data{};
        data.cbSize = sizeof(data);
        data.uEdge = nativeEdges.at(static_cast<size_t>(edge));
        data.rc = toNative(monitor);
        return SHAppBarMessage(ABM_GETAUTOHIDEBAREX, &data) != 0;
    }

    std::optional<Message> unpack(void *message) const override
    {
        const auto *native = static_cast<const MSG *>(message);
        if (!native || !native->hwnd) {
            return {};
        }
        return Message{reinterpret_cast<WId>(native->hwnd), native->message, native->wParam != 0,
                       QPoint(GET_X_LPARAM(native->lParam), GET_Y_LPARAM(native->lParam)),
                       reinterpret_cast<void *>(native->lParam)};
    }

    QRect proposedClientArea(const Message &message) const override
    {
        return fromNative(static_cast<const NCCALCSIZE_PARAMS *>(message.data)->rgrc[0]);
    }

    void setClientArea(const Message &message, const QRect &area) const override
    {
        static_cast<NCCALCSIZE_PARAMS *>(message.data)->rgrc[0] = toNative(area);
    }

    void setSizeLimits(const Message &message, const SizeLimits &limits) const override
    {
        auto *info = static_cast<MINMAXINFO *>(message.data);
        info->ptMaxPosition = {limits.maximizedPosition.x(), limits.maximizedPosition.y()};
        info->ptMaxSize = {limits.maximizedSize.width(), limits.maximizedSize.height()};
        info->ptMinTrackSize = {limits.minimumTrack.width(), limits.minimumTrack.height()};
    }
};

} // namespace

WindowSystem &WindowSystem::platformSystem()
{
    static NativeWindowSystem system;
    return system;
}

} // namespace velmo
