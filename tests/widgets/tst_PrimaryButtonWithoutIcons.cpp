#include "support/LogCapture.h"
#include "support/PixelProbe.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "widgets/PrimaryButton.h"

#include <QPainter>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
namespace theme = velmo::theme;
namespace color = velmo::theme::color;

class tst_PrimaryButtonWithoutIcons : public QObject {
    Q_OBJECT

private slots:
    void captionKeepsItsPlace();
};

void tst_PrimaryButtonWithoutIcons::captionKeepsItsPlace()
{
    const LogCapture log;
    velmo::PrimaryButton button;
    button.resize(210, 54);
    QImage expected = snapshot(button);
    QCOMPARE(log.count(QtWarningMsg, u"velmo.ui"_s, uR"(Icon not in resources: "arrow-right")"_s), 1);
    QVERIFY(isNear(colorAt(expected, {191, 27}), color::action, 0));
    QPainter painter(&expected);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(color::ink);
    painter.setFont(theme::displayFont(14, 600, 0.0));
    painter.drawText(QRect(0, 0, 172, 54), Qt::AlignCenter, u"PLAY"_s);
    painter.end();
    button.setText(u"PLAY"_s);
    QCOMPARE(mismatch(snapshot(button), expected), QString());
    QCOMPARE(log.lines(u"velmo.ui"_s).size(), 1);
}

int main(int argc, char **argv)
{
    return runTest<tst_PrimaryButtonWithoutIcons, QApplication>(argc, argv);
}

#include "tst_PrimaryButtonWithoutIcons.moc"
