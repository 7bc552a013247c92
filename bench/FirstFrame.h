#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QRegularExpression>
#include <QTimer>
#include <QWidget>

#include <ctime>

#include <cstdio>

namespace velmo::bench {

/// Prints when the first window of this process has been painted, on the clock that the caller shares, then the memory
/// at rest half a second later, and ends the program.
class FirstFrame : public QObject {
public:
    FirstFrame() { QCoreApplication::instance()->installEventFilter(this); }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        const auto *widget = qobject_cast<QWidget *>(watched);
        if (!painted_ && event->type() == QEvent::Paint && widget && widget->isWindow()) {
            painted_ = true;
            // The children paint in the same pass; the next turn of the loop finds the frame complete.
            QTimer::singleShot(0, this, [this] { report(); });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    static void report()
    {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        std::printf("painted %lld.%09ld\n", static_cast<long long>(now.tv_sec), now.tv_nsec);
        constexpr int restMs = 500;
        QTimer::singleShot(restMs, [] {
            QFile status(QStringLiteral("/proc/self/status"));
            if (status.open(QIODevice::ReadOnly)) {
                static const QRegularExpression pattern(QStringLiteral("VmRSS:\\s+(\\d+) kB"));
                const QString text = QString::fromLatin1(status.readAll());
                std::printf("resident %s\n", qPrintable(pattern.match(text).captured(1)));
            }
            std::fflush(stdout);
            QCoreApplication::quit();
        });
    }

    bool painted_ = false;
};

} // namespace velmo::bench
