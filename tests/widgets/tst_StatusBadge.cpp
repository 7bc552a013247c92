#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "theme/Fonts.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/StatusBadge.h"

#include <QEasingCurve>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QVariantAnimation>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::ServiceStatus;
using velmo::StatusBadge;
namespace theme = velmo::theme;
namespace color = velmo::theme::color;

namespace {

constexpr auto unknownStatus = static_cast<ServiceStatus>(99);

/// A badge with its pulse at hand.
struct Fixture {
    Fixture()
        : pulse(badge.findChild<QVariantAnimation *>())
    {
        Q_ASSERT(badge.findChildren<QVariantAnimation *>().size() == 1);
        badge.resize(120, 16);
    }

    StatusBadge badge;
    QVariantAnimation *pulse;
};

/// A badge as it is to look.
QImage expectation(const QWidget &widget, const QString &word, QColor dot, double opacity, bool halo)
{
    QImage image = canvas(widget);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    dot.setAlphaF(static_cast<float>(opacity));
    painter.setBrush(dot);
    painter.drawEllipse(QPointF(3, 8), 3, 3);
    if (halo) {
        QColor glow(0x63, 0xa5, 0x7f);
        glow.setAlphaF(0.18F);
        painter.setBrush(glow);
        painter.drawEllipse(QPointF(3, 8), 6.6, 6.6);
    }
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(QColor(0x9a, 0xa4, 0xb4));
    painter.setFont(theme::displayFont(10, 600, 1.6));
    painter.drawText(QRect(16, 0, widget.width(), 16), Qt::AlignLeft | Qt::AlignVCenter, word);
    return image;
}

void addStates()
{
    QTest::addColumn<ServiceStatus>("status");
    QTest::addColumn<QString>("word");
    QTest::addColumn<QColor>("dot");
    QTest::addColumn<bool>("halo");
    const QColor dim(0x67, 0x71, 0x81);
    const QColor warning(0xc8, 0x8a, 0x52);
    QTest::newRow("connecting") << ServiceStatus::Connecting << u"CONNECTING"_s << dim << false;
    QTest::newRow("online") << ServiceStatus::Online << u"ONLINE"_s << QColor(0x63, 0xa5, 0x7f) << true;
    QTest::newRow("offline") << ServiceStatus::Offline << u"OFFLINE"_s << dim << false;
    QTest::newRow("maintenance") << ServiceStatus::Maintenance << u"MAINTENANCE"_s << warning << false;
    QTest::newRow("degraded") << ServiceStatus::Degraded << u"DEGRADED"_s << warning << false;
    QTest::newRow("any other") << unknownStatus << QString() << dim << false;
}

} // namespace

class tst_StatusBadge : public PixelTest {
    Q_OBJECT

private slots:
    void startsConnecting();
    void pulseIsSlowAndEndless();
    void everyStateHasItsLook_data();
    void everyStateHasItsLook();
    void pulseIsTheOpacityOfTheConnectingDot_data();
    void pulseIsTheOpacityOfTheConnectingDot();
    void pulseRisesAndFallsBackInOneStep();
    void haloReachesAroundTheDot();
    void sizeHintHasRoomForTheWord_data();
    void sizeHintHasRoomForTheWord();
    void narrowRowLeavesTheWordWhole_data();
    void narrowRowLeavesTheWordWhole();
    void toolTipIsTheDetailOrTheWord_data();
    void toolTipIsTheDetailOrTheWord();
    void detailIsNotPainted();
    void pulseRunsWhileConnectingOnly();
    void statusChangeAsksForLayoutAndPaint();
    void dotIsInvisibleAtFirstWithoutMotion();
    void dotIsSolidWithoutMotion();
    void switchingMotionOffLeavesTheDotSolid();
    void switchingMotionOnPulsesAgain();
    void switchLeavesAKnownStateAlone();
    void nothingIsPaintedAtRest_data();
    void nothingIsPaintedAtRest();
    void pulseIsPainted();
    void pulseRestsWhileNobodySeesIt();
};

void tst_StatusBadge::startsConnecting()
{
    const Fixture f;
    QCOMPARE(f.badge.sizePolicy().horizontalPolicy(), QSizePolicy::Preferred);
    QCOMPARE(f.badge.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
    QCOMPARE(f.badge.minimumHeight(), 16);
    QCOMPARE(f.badge.maximumHeight(), 16);
    QCOMPARE(f.badge.toolTip(), QString());
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Running);
    QCOMPARE(f.badge.sizeHint().width(),
             QFontMetrics(theme::displayFont(10, 600, 1.6)).horizontalAdvance(u"CONNECTING"_s) + 16);
}

void tst_StatusBadge::pulseIsSlowAndEndless()
{
    const Fixture f;
    QCOMPARE(f.pulse->duration(), 1400);
    QCOMPARE(f.pulse->startValue(), QVariant(0.25));
    QCOMPARE(f.pulse->endValue(), QVariant(1.0));
    QCOMPARE(f.pulse->easingCurve(), QEasingCurve(QEasingCurve::InOutSine));
    QCOMPARE(f.pulse->loopCount(), -1);
    QCOMPARE(f.pulse->direction(), QAbstractAnimation::Forward);
}

void tst_StatusBadge::everyStateHasItsLook_data()
{
    addStates();
}

void tst_StatusBadge::everyStateHasItsLook()
{
    QFETCH(const ServiceStatus, status);
    QFETCH(const QString, word);
    QFETCH(const QColor, dot);
    QFETCH(const bool, halo);
    Fixture f;
    f.badge.setStatus(status, QString());
    if (status == ServiceStatus::Connecting) {
        holdAt(f.pulse, 1.0);
    }
    const QImage look = snapshot(f.badge);
    QCOMPARE(mismatch(look, expectation(f.badge, word, dot, 1.0, halo)), QString());
    QVERIFY(isNear(colorAt(look, {3, 8}), dot, 1));
}

void tst_StatusBadge::pulseIsTheOpacityOfTheConnectingDot_data()
{
    QTest::addColumn<double>("pulse");
    QTest::newRow("faintest") << 0.25;
    QTest::newRow("between") << 0.6;
    QTest::newRow("solid") << 1.0;
}

void tst_StatusBadge::pulseIsTheOpacityOfTheConnectingDot()
{
    QFETCH(const double, pulse);
    Fixture f;
    holdAt(f.pulse, pulse);
    const QImage look = snapshot(f.badge);
    QCOMPARE(mismatch(look, expectation(f.badge, u"CONNECTING"_s, QColor(0x67, 0x71, 0x81), pulse, false)), QString());
    QCOMPARE(colorAt(look, {3, 8}).alpha(), qRound(255 * pulse));
}

void tst_StatusBadge::pulseRisesAndFallsBackInOneStep()
{
    Fixture f;
    f.pulse->pause();
    const auto alphaAt = [&f](int ms) {
        f.pulse->setCurrentTime(ms);
        return colorAt(snapshot(f.badge), {3, 8}).alpha();
    };
    QVERIFY(alphaAt(100) > qRound(255 * 0.25));
    QCOMPARE(alphaAt(0), qRound(255 * 0.25));
    QCOMPARE(alphaAt(700), qRound(255 * 0.625));
    QVERIFY(alphaAt(1050) > alphaAt(700));
    QVERIFY(alphaAt(1399) >= 254);
    QCOMPARE(alphaAt(1400), qRound(255 * 0.25));
}

void tst_StatusBadge::haloReachesAroundTheDot()
{
    Fixture f;
    f.badge.setStatus(ServiceStatus::Online, QString());
    const QImage look = snapshot(f.badge);
    const int faint = qRound(255 * 0.18);
    QVERIFY(qAbs(colorAt(look, {7.9, 8}).alpha() - faint) <= 1);
    QVERIFY(qAbs(colorAt(look, {3, 2.9}).alpha() - faint) <= 1);
    QVERIFY(qAbs(colorAt(look, {0.4, 12.9}).alpha() - faint) <= 1);
    QCOMPARE(colorAt(look, {10.5, 8}).alpha(), 0);
    QCOMPARE(colorAt(look, {3, 0.5}).alpha(), 0);
}

void tst_StatusBadge::sizeHintHasRoomForTheWord_data()
{
    addStates();
}

void tst_StatusBadge::sizeHintHasRoomForTheWord()
{
    QFETCH(const ServiceStatus, status);
    QFETCH(const QString, word);
    StatusBadge badge;
    badge.setStatus(status, u"a detail far longer than the word itself"_s);
    QCOMPARE(badge.sizeHint(), QSize(QFontMetrics(theme::displayFont(10, 600, 1.6)).horizontalAdvance(word) + 16, 16));
}

void tst_StatusBadge::narrowRowLeavesTheWordWhole_data()
{
    addStates();
}

void tst_StatusBadge::narrowRowLeavesTheWordWhole()
{
    QFETCH(const ServiceStatus, status);
    QWidget line;
    auto *row = new QHBoxLayout(&line);
    auto *badge = new StatusBadge(&line);
    badge->setStatus(status, QString());
    auto *neighbour = new QLabel(QString(100, u'm'), &line);
    neighbour->setMinimumWidth(1);
    row->addWidget(badge);
    row->addWidget(neighbour);
    line.setMinimumWidth(1);
    line.resize(200, 40);
    row->activate();
    QCOMPARE(badge->width(), badge->sizeHint().width());
}

void tst_StatusBadge::toolTipIsTheDetailOrTheWord_data()
{
    addStates();
}

void tst_StatusBadge::toolTipIsTheDetailOrTheWord()
{
    QFETCH(const ServiceStatus, status);
    QFETCH(const QString, word);
    StatusBadge badge;
    badge.setStatus(status, u"Checked a moment ago"_s);
    QCOMPARE(badge.toolTip(), u"Checked a moment ago"_s);
    badge.setStatus(status, QString());
    QCOMPARE(badge.toolTip(), word);
}

void tst_StatusBadge::detailIsNotPainted()
{
    Fixture f;
    f.badge.setStatus(ServiceStatus::Offline, QString());
    const QImage plain = snapshot(f.badge);
    f.badge.setStatus(ServiceStatus::Offline, u"Host unreachable"_s);
    QCOMPARE(mismatch(snapshot(f.badge), plain), QString());
}

void tst_StatusBadge::pulseRunsWhileConnectingOnly()
{
    Fixture f;
    for (const ServiceStatus known : {ServiceStatus::Online, ServiceStatus::Offline, ServiceStatus::Maintenance,
                                      ServiceStatus::Degraded, unknownStatus}) {
        f.badge.setStatus(known, QString());
        QCOMPARE(f.pulse->state(), QAbstractAnimation::Stopped);
        f.badge.setStatus(ServiceStatus::Connecting, QString());
        QCOMPARE(f.pulse->state(), QAbstractAnimation::Running);
    }
    f.pulse->setCurrentTime(700);
    f.badge.setStatus(ServiceStatus::Connecting, QString());
    QCOMPARE(f.pulse->currentTime(), 700);
    QCOMPARE(colorAt(snapshot(f.badge), {3, 8}).alpha(), qRound(255 * 0.625));
}

void tst_StatusBadge::statusChangeAsksForLayoutAndPaint()
{
    QWidget window;
    auto *row = new QHBoxLayout(&window);
    row->setSizeConstraint(QLayout::SetFixedSize);
    auto *badge = new StatusBadge(&window);
    row->addWidget(badge);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    badge->setStatus(ServiceStatus::Online, QString());
    QTRY_COMPARE(badge->width(), badge->sizeHint().width());
    const int shorter = badge->width();
    const PaintCounter paints(badge);
    badge->setStatus(ServiceStatus::Maintenance, QString());
    QTRY_VERIFY(badge->width() > shorter);
    QTRY_VERIFY(paints.count() > 0);
}

void tst_StatusBadge::dotIsInvisibleAtFirstWithoutMotion()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    Fixture f;
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.badge), expectation(f.badge, u"CONNECTING"_s, color::textDim, 0.0, false)), QString());
    QVERIFY(!extents(snapshot(f.badge), color::textMuted, 20).isEmpty());
}

void tst_StatusBadge::dotIsSolidWithoutMotion()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    Fixture f;
    f.badge.setStatus(ServiceStatus::Connecting, QString());
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.badge), expectation(f.badge, u"CONNECTING"_s, color::textDim, 1.0, false)), QString());
}

void tst_StatusBadge::switchingMotionOffLeavesTheDotSolid()
{
    const LogCapture quiet;
    Fixture f;
    f.pulse->setCurrentTime(500);
    theme::setAnimationsEnabled(false);
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Stopped);
    QCOMPARE(colorAt(snapshot(f.badge), {3, 8}).alpha(), 255);
}

void tst_StatusBadge::switchingMotionOnPulsesAgain()
{
    const LogCapture quiet;
    Fixture f;
    theme::setAnimationsEnabled(false);
    theme::setAnimationsEnabled(true);
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Running);
    f.pulse->setCurrentTime(700);
    QCOMPARE(colorAt(snapshot(f.badge), {3, 8}).alpha(), qRound(255 * 0.625));
}

void tst_StatusBadge::switchLeavesAKnownStateAlone()
{
    const LogCapture quiet;
    Fixture f;
    f.badge.setStatus(ServiceStatus::Degraded, QString());
    theme::setAnimationsEnabled(false);
    theme::setAnimationsEnabled(true);
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Stopped);
}

void tst_StatusBadge::nothingIsPaintedAtRest_data()
{
    QTest::addColumn<ServiceStatus>("status");
    QTest::newRow("online") << ServiceStatus::Online;
    QTest::newRow("offline") << ServiceStatus::Offline;
}

void tst_StatusBadge::nothingIsPaintedAtRest()
{
    QFETCH(const ServiceStatus, status);
    Fixture f;
    f.badge.setStatus(status, QString());
    QCOMPARE(problemAtRest(f.badge), QString());
}

void tst_StatusBadge::pulseIsPainted()
{
    Fixture f;
    f.badge.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.badge));
    const PaintCounter paints(&f.badge);
    QTRY_VERIFY(paints.count() > 3);
}

void tst_StatusBadge::pulseRestsWhileNobodySeesIt()
{
    Fixture f;
    f.badge.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.badge));
    QTRY_COMPARE(f.pulse->state(), QAbstractAnimation::Running);
    f.badge.hide();
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Paused);
    f.badge.setStatus(ServiceStatus::Online, QString());
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Stopped);
    f.badge.setStatus(ServiceStatus::Connecting, QString());
    QTRY_COMPARE(f.pulse->state(), QAbstractAnimation::Paused);
    f.badge.show();
    QCOMPARE(f.pulse->state(), QAbstractAnimation::Running);
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_StatusBadge>(argc, argv);
}

#include "tst_StatusBadge.moc"
