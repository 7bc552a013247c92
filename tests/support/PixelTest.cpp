#include "support/PixelTest.h"

#include "support/LogCapture.h"
#include "theme/Motion.h"
#include "theme/Theme.h"

#include <QWidget>

namespace velmo::test {

void PixelTest::initTestCase()
{
    const LogCapture quiet;
    theme::Theme::apply();
    QCOMPARE(QWidget().devicePixelRatio(), expectedRatio());
}

void PixelTest::init()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(motion_ == Moving);
}

} // namespace velmo::test
