#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Fonts.h"

#include <QApplication>

using namespace Qt::Literals::StringLiterals;
using velmo::test::LogCapture;

/// Runs in a folder whose "fonts" holds two fonts, a broken one, and what is not to be looked at.
class tst_FontFolder : public QObject {
    Q_OBJECT

private slots:
    void brokenFontIsToldAndTheOthersLoad();
};

void tst_FontFolder::brokenFontIsToldAndTheOthersLoad()
{
    QStringList lines;
    {
        const LogCapture log;
        velmo::theme::loadBundledFonts();
        lines = log.texts(u"velmo.ui"_s);
    }
    lines.sort();
    const QStringList expected = {
        uR"(INFO velmo.ui: Loaded bundled font "mono.ttf" QList("JetBrains Mono"))"_s,
        uR"(INFO velmo.ui: Loaded bundled font "sans.otf" QList("Inter"))"_s,
        uR"(WARN velmo.ui: Could not load bundled font "broken.ttf")"_s,
    };
    QCOMPARE(lines, expected);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_FontFolder, QApplication>(argc, argv);
}

#include "tst_FontFolder.moc"
