#include "PageProbe.h"
#include "pages/CommunityPage.h"
#include "support/LogCapture.h"
#include "support/PixelProbe.h"

#include <QFrame>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::CommunityPage;

/// Runs where the game profile names no address.
class tst_CommunityPageWithoutLinks : public QObject {
    Q_OBJECT

private slots:
    void everyCardStaysWithADisabledButton();
    void disabledButtonOpensNothing();
};

void tst_CommunityPageWithoutLinks::everyCardStaysWithADisabledButton()
{
    CommunityPage page;
    page.resize(900, 800);
    page.show();
    const QList<QPushButton *> buttons = page.findChildren<QPushButton *>();
    QStringList texts;
    for (const QPushButton *button : buttons) {
        texts.append(button->text());
        QVERIFY(button->isVisible());
        QVERIFY(button->parentWidget()->isVisible());
        QVERIFY(!button->isEnabled());
        QCOMPARE(button->toolTip(), u"Not configured in this build."_s);
    }
    QCOMPARE(texts, (QStringList{u"Join Discord"_s, u"Open website"_s, u"Get support"_s}));
}

void tst_CommunityPageWithoutLinks::disabledButtonOpensNothing()
{
    CommunityPage page;
    const UrlCatcher desktop({u"https"_s, QString()});
    const LogCapture log;
    const QList<QPushButton *> buttons = page.findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        button->setEnabled(true); // were it ever enabled, it would still lead nowhere
        QTest::mouseClick(button, Qt::LeftButton);
    }
    QCOMPARE(desktop.urls(), QList<QUrl>());
    QCOMPARE(log.texts(), QStringList());
}

int main(int argc, char **argv)
{
    return runTest<tst_CommunityPageWithoutLinks, QApplication>(argc, argv);
}

#include "tst_CommunityPageWithoutLinks.moc"
