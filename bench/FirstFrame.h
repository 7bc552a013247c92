#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QRegularExpression>
#include <QTimer>
#include <QWidget>

#include <cstdio>

namespace velmo::bench {

/// An application of type \a App that tells its caller, by a line, when its first window has been painted, then the
/// memory at rest half a second later, and ends.
template<typename App>
class FirstFrame : public App {
public:
    using App::App;

    bool notify(QObject *receiver, QEvent *event) override
    {
        const auto *widget = qobject_cast<QWidget *>(receiver);
        painted_ = painted_ || (event->type() == QEvent::Paint && widget && widget->isWindow());
        ++depth_;
        const bool handled = App::notify(receiver, event);
        --depth_;
        // The children paint in the same pass, and what made the window paint brings it to the screen at its end.
        if (painted_ && depth_ == 0 && !told_) {
            told_ = true;
            tell();
        }
        return handled;
    }

private:
    static void tell()
    {
        std::puts("painted");
        std::fflush(stdout);
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

    int depth_ = 0;
    bool painted_ = false;
    bool told_ = false;
};

} // namespace velmo::bench
