#include "PageProbe.h"
#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "pages/SettingsPage.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

/// The profile of this program does not know how large the game is.
class tst_SettingsPageWithoutSize : public QObject {
    Q_OBJECT

private slots:
    void onlyTheFreeSpaceIsShown();
};

void tst_SettingsPageWithoutSize::onlyTheFreeSpaceIsShown()
{
    const LogCapture quiet;
    const QTemporaryDir folder;
    ConfigManager config;
    config.setValue(u"game.installPath"_s, folder.path());
    QNetworkAccessManager network;
    ApiClient api;
    GameManager game(&config, &api, &network);
    const SettingsPage page(&config, &game);
    const QList<QLabel *> labels = page.findChildren<QLabel *>();
    static const QRegularExpression wanted(u"^[0-9.]+ [kMGT]?B free on (/|[A-Z]:\\\\).*$"_s);
    const auto found = std::find_if(labels.begin(), labels.end(),
                                    [](const QLabel *label) { return wanted.match(label->text()).hasMatch(); });
    QVERIFY(found != labels.end());
    QVERIFY(!(*found)->text().contains(u"needed"_s));
}

int main(int argc, char **argv)
{
    return runTest<tst_SettingsPageWithoutSize, QApplication>(argc, argv);
}

#include "tst_SettingsPageWithoutSize.moc"
