#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"
#include "shell/NavTab.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Motion.h"
#include "theme/Theme.h"
#include "widgets/ChannelSelector.h"
#include "widgets/NewsCard.h"

#include <QApplication>
#include <QFile>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QRegularExpression>

#include <malloc.h>
#ifdef Q_OS_WIN
#include <windows.h>

#include <psapi.h>
#endif

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using velmo::test::LogCapture;

namespace {

double residentMib()
{
#ifdef Q_OS_WIN
    _heapmin(); // what the allocator merely keeps for later is not ours
    PROCESS_MEMORY_COUNTERS memory{};
    memory.cb = sizeof(memory);
    K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, memory.cb);
    return static_cast<double>(memory.WorkingSetSize) / (1024.0 * 1024.0);
#else
    malloc_trim(0); // what the allocator merely keeps for later is not ours
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly)) {
        qFatal("No status");
    }
    static const QRegularExpression pattern(u"VmRSS:\\s+(\\d+) kB"_s);
    return pattern.match(QString::fromLatin1(status.readAll())).captured(1).toDouble() / 1024.0;
#endif
}

/// Lets paint, layout and deferred deletion have their turn.
void settle()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

/// An hour's worth of clicks on one window.
class tst_LongUse : public QObject {
    Q_OBJECT

private slots:
    void memoryStaysWhereItWas();
};

void tst_LongUse::memoryStaysWhereItWas()
{
    LogCapture quiet;
    theme::Theme::apply();
    theme::setAnimationsEnabled(false);
    ConfigManager config;
    QNetworkAccessManager network;
    ApiClient api;
    GameManager game(&config, &api, &network);
    MainWindow window(&config, &game, &api);
    window.resize(1400, 850);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const QList<NavTab *> tabs = window.findChildren<NavTab *>();
    auto *selector = window.findChild<ChannelSelector *>();

    const auto switchPages = [&](int times) {
        for (int i = 0; i < times; ++i) {
            tabs.at((i + 1) % tabs.size())->click();
            settle();
        }
    };
    const auto openArticles = [&](int times) {
        tabs.at(1)->click();
        settle();
        QPushButton *back = nullptr;
        const QList<QPushButton *> buttons = window.findChildren<QPushButton *>();
        for (QPushButton *button : buttons) {
            back = button->text() == "Back to news"_L1 ? button : back;
        }
        for (int i = 0; i < times; ++i) {
            QTest::mouseClick(window.findChild<NewsCard *>(), Qt::LeftButton);
            settle();
            back->click();
            settle();
        }
    };
    const auto openLists = [&](int times) {
        for (int i = 0; i < times; ++i) {
            QTest::mouseClick(selector, Qt::LeftButton);
            settle();
            QVERIFY(QApplication::activePopupWidget());
            QApplication::activePopupWidget()->close();
            settle();
        }
    };
    switchPages(100);
    openArticles(100);
    openLists(100);
    quiet.clear();
    const double before = residentMib();
    switchPages(10000);
    openArticles(1000);
    openLists(1000);
    quiet.clear();
    const double after = residentMib();
    qInfo("%.1f MiB after the first hundred of each, %.1f MiB at the end", before, after);
    QVERIFY2(after - before < 2.0, qPrintable(u"%1 MiB more"_s.arg(after - before)));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_LongUse, QApplication>(argc, argv);
}

#include "tst_LongUse.moc"
