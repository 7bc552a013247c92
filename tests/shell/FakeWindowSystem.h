#pragma once

#include "shell/WindowSystem.h"

#include <QList>
#include <QString>

namespace velmo::test {

/// A desktop with a native frame, made of plain values that a test sets, and a diary of what was asked of it. Stands in
/// for the platform's while it lives.
class FakeWindowSystem : public WindowSystem {
public:
    /// What a native message is here.
    struct FakeMessage {
        WId window = 0;
        unsigned id = 0;
        bool hasParameter = true;
        QPoint position;
        QRect clientArea;
        SizeLimits limits{};
    };

    FakeWindowSystem() { replaceInstance(this); }
    ~FakeWindowSystem() override { replaceInstance(nullptr); }

    bool hasNativeFrame() const override { return nativeFrame; }

    quintptr style(const QWidget & /*window*/) const override { return styleBits; }

    void setStyle(const QWidget & /*window*/, quintptr style) override
    {
        styleBits = style;
        diary.append(QStringLiteral("style"));
    }

    void recalculateFrame(const QWidget & /*window*/) override { diary.append(QStringLiteral("recalculate")); }

    void extendFrame(const QWidget & /*window*/, const QMargins &margins) override
    {
        compositorMargins = margins;
        diary.append(QStringLiteral("extend"));
    }

    std::optional<Monitor> nearestMonitor(const QWidget & /*window*/) const override { return monitor; }
    bool isZoomed(const QWidget & /*window*/) const override { return zoomed; }
    QRect windowRect(const QWidget & /*window*/) const override { return rect; }
    QSize maximizedOverhang() const override { return overhang; }
    bool taskbarHidesItself() const override { return autoHide; }

    bool hasHiddenTaskbar(Edge edge, const QRect &monitorRect) const override
    {
        askedEdges.append(edge);
        askedMonitor = monitorRect;
        return edge == hiddenEdge;
    }

    std::optional<Message> unpack(void *message) const override
    {
        const auto *fake = static_cast<FakeMessage *>(message);
        if (!fake || !fake->window) {
            return {};
        }
        return Message{fake->window, fake->id, fake->hasParameter, fake->position, message};
    }

    QRect proposedClientArea(const Message &message) const override
    {
        return static_cast<FakeMessage *>(message.data)->clientArea;
    }

    void setClientArea(const Message &message, const QRect &area) const override
    {
        static_cast<FakeMessage *>(message.data)->clientArea = area;
    }

    void setSizeLimits(const Message &message, const SizeLimits &limits) const override
    {
        static_cast<FakeMessage *>(message.data)->limits = limits;
    }

    bool nativeFrame = true;
    quintptr styleBits = 0;
    QMargins compositorMargins;
    std::optional<Monitor> monitor;
    bool zoomed = false;
    QRect rect;
    QSize overhang{0, 0};
    bool autoHide = false;
    std::optional<Edge> hiddenEdge;
    QStringList diary;
    mutable QList<Edge> askedEdges;
    mutable QRect askedMonitor;
};

} // namespace velmo::test
