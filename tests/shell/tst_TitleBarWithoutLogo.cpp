#include "shell/NavTab.h"
#include "shell/TitleBar.h"
#include "support/LogCapture.h"
#include "support/PixelProbe.h"
#include "theme/Fonts.h"
#include "theme/Theme.h"
#include "widgets/LogoView.h"

#include <QLabel>
#include <QLayout>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

/// The program's profile names a studio logo that is not there.
class tst_TitleBarWithoutLogo : public QObject {
    Q_OBJECT

private slots:
    void studioNameStandsInTheLogosPlace();
};

void tst_TitleBarWithoutLogo::studioNameStandsInTheLogosPlace()
{
    const LogCapture log;
    theme::Theme::apply();
    TitleBar bar;
    bar.resize(1000, 44);
    bar.ensurePolished();
    const auto *logo = bar.findChild<LogoView *>();
    QVERIFY(logo->sourcePixmap().isNull());
    const QList<QLabel *> labels = bar.findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(labels.size(), 2);
    const auto name = std::find_if(labels.begin(), labels.end(),
                                   [](const QLabel *label) { return label->text() == "NORTH <b>& SOUTH</b>"_L1; });
    QVERIFY(name != labels.end());
    QCOMPARE((*name)->textFormat(), Qt::PlainText);
    QCOMPARE((*name)->font(), theme::displayFont(12, 600, 3.0));
    QCOMPARE((*name)->styleSheet(), u"color: #e8ebf0;"_s);
    QVERIFY((*name)->property("captionPassthrough").toBool());
    QVERIFY((*name)->testAttribute(Qt::WA_TransparentForMouseEvents));

    bar.layout()->activate();
    QCOMPARE(logo->geometry().left(), 16);
    QCOMPARE(logo->width(), 0);
    QCOMPARE((*name)->x(), 16);
    QCOMPARE((*name)->width(), (*name)->sizeHint().width());
    QVERIFY(std::abs(2 * (*name)->y() + (*name)->height() - 44) <= 1);
    QCOMPARE(bar.findChildren<NavTab *>().first()->x(), 16 + (*name)->width() + 26);
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_TitleBarWithoutLogo>(argc, argv);
}

#include "tst_TitleBarWithoutLogo.moc"
