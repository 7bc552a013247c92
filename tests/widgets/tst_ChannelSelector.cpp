#include "widgets/ChannelSelector.h"

#include "data/GameProfile.h"
#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "theme/Fonts.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/ChannelPopup.h"

#include <QEasingCurve>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QScreen>
#include <QSignalSpy>
#include <QVBoxLayout>
#include <QVariantAnimation>
#include <QWindow>

#include <algorithm>
#include <initializer_list>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

const QColor panel(0x12, 0x17, 0x1f);
const QColor raised(0x1a, 0x21, 0x2b);
const QColor sunken(0x08, 0x0b, 0x10);
const QColor borderColor(0x20, 0x27, 0x33);
const QColor borderStrong(0x30, 0x3a, 0x49);
const QColor textColor(0xe8, 0xeb, 0xf0);
const QColor muted(0x9a, 0xa4, 0xb4);
const QColor dim(0x67, 0x71, 0x81);
const QColor accent(0x6b, 0x9b, 0xd4);

constexpr Qt::Alignment middleLeft = Qt::AlignLeft | Qt::AlignVCenter;

/// The open pop-up of \a selector; null when there is none.
QWidget *popupOf(const QWidget &selector)
{
    const QList<QWidget *> children = selector.findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly);
    for (QWidget *child : children) {
        if (child->windowType() == Qt::Popup && child->isVisible()) {
            return child;
        }
    }
    return nullptr;
}

QList<QWidget *> rowsOf(const QWidget &popup)
{
    return popup.findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly);
}

/// The box as it is to look.
QImage boxExpectation(const QWidget &widget, const QString &name, double hover)
{
    const auto mix = [hover](const QColor &from, const QColor &to) { return theme::mix(from, to, hover); };
    QImage image = canvas(widget);
    QPainter painter(&image);
    painter.fillRect(widget.rect(), mix(sunken, raised));
    painter.setPen(mix(borderColor, accent));
    painter.drawRect(QRect(0, 0, widget.width() - 1, 25));
    painter.setPen(mix(muted, textColor));
    painter.setFont(theme::monoFont(11, 600, 0.8));
    painter.drawText(QRect(10, 0, widget.width() - 28, 26), middleLeft, name);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(mix(dim, accent), 1.3, Qt::SolidLine, Qt::RoundCap, Qt::BevelJoin));
    const double x = widget.width() - 14.0;
    QPainterPath chevron;
    chevron.moveTo(x - 3.5, 10.5);
    chevron.lineTo(x, 14.0);
    chevron.lineTo(x + 3.5, 10.5);
    painter.drawPath(chevron);
    return image;
}

/// Where a pop-up was put: the platform without windows imagines a frame around it.
QPoint placeOf(const QWidget &popup)
{
    return popup.windowHandle()->framePosition();
}

/// Shows \a selector with its upper left corner at \a corner of the screen, and opens its list.
QWidget *openListAt(ChannelSelector &selector, QPoint corner)
{
    selector.move(corner);
    selector.show();
    if (!QTest::qWaitForWindowExposed(&selector)) {
        return nullptr;
    }
    selector.move(selector.pos() + corner - selector.mapToGlobal(QPoint(0, 0))); // whatever frame it has
    QTest::mouseClick(&selector, Qt::LeftButton);
    return popupOf(selector);
}

/// A release of \a button at \a place of \a widget, which need not be a whole pixel.
void releaseAt(QWidget &widget, QPointF place, Qt::MouseButton button = Qt::LeftButton)
{
    QMouseEvent event(QEvent::MouseButtonRelease, place, widget.mapToGlobal(place), button, Qt::NoButton,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &event);
}

QImage rowExpectation(const QWidget &widget, const GameChannel &channel, bool active, bool hovered)
{
    QImage image = canvas(widget);
    QPainter painter(&image);
    if (hovered) {
        painter.fillRect(widget.rect(), raised);
    }
    if (active) {
        painter.fillRect(QRect(0, 0, 2, 54), accent);
    }
    painter.setPen(textColor);
    painter.setFont(theme::displayFont(13, 600, 1.2));
    painter.drawText(QRect(16, 9, widget.width() - 90, 18), middleLeft, channel.name.toUpper());
    painter.setPen(muted);
    painter.setFont(theme::bodyFont(11, 400));
    painter.drawText(QRect(16, 28, widget.width() - 32, 18), middleLeft,
                     painter.fontMetrics().elidedText(channel.description, Qt::ElideRight, widget.width() - 32));
    if (active) {
        painter.setPen(accent);
        painter.setFont(theme::displayFont(10, 600, 1.6));
        painter.drawText(QRect(widget.width() - 74, 9, 58, 18), Qt::AlignRight | Qt::AlignVCenter, u"ACTIVE"_s);
    }
    return image;
}

QString longText()
{
    return u"A description that goes on and on and on, long beyond what one line of this list can hold"_s;
}

} // namespace

class tst_ChannelSelector : public PixelTest {
    Q_OBJECT

private slots:
    void initTestCase();

    void boxIsFixedAndShowsTheDefaultBranch();
    void boxIsAsWideAsItsName();
    void boxLook_data();
    void boxLook();
    void hoverRunsForATenthOfASecond();
    void hoveringRepaints();
    void hoverIsPaintedAsItRuns();
    void nameOfTheSameWidthRepaints();
    void boxShowsAnotherBranchOnlyWhenTold();
    void widthChangeReachesTheLayout();

    void clickOpensTheList_data();
    void clickOpensTheList();
    void placeOfTheReleaseIsRounded_data();
    void placeOfTheReleaseIsRounded();
    void onlyTheLeftPressIsKept_data();
    void onlyTheLeftPressIsKept();
    void openListIsNotOpenedAgain();
    void closedListCanBeOpenedAgain();
    void listStandsBelowTheBox();
    void listStaysOnTheScreen_data();
    void listStaysOnTheScreen();

    void listHasARowForEachBranch();
    void rowsStandInTheProfilesOrder();
    void shownBranchIsTheActiveRow();
    void listLook();
    void rowLook_data();
    void rowLook();
    void longDescriptionIsElided();

    void releaseOnARowChoosesIt_data();
    void releaseOnARowChoosesIt();
    void placeOfTheChoiceIsRounded_data();
    void placeOfTheChoiceIsRounded();
    void anyButtonChooses_data();
    void anyButtonChooses();
    void releaseBesideTheRowsOnlyCloses();
    void escapeCloses();
    void listGoesWithItsBox();
    void boxIsNamedByItsBranch();
};

void tst_ChannelSelector::initTestCase()
{
    QVERIFY(gameProfile().channels.size() >= 2);
    PixelTest::initTestCase();
}

void tst_ChannelSelector::boxIsFixedAndShowsTheDefaultBranch()
{
    const ChannelSelector selector;
    QCOMPARE(selector.sizePolicy(), QSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed));
    QCOMPARE(selector.minimumHeight(), 26);
    QCOMPARE(selector.maximumHeight(), 26);
    QCOMPARE(selector.cursor().shape(), Qt::PointingHandCursor);
    QVERIFY(selector.testAttribute(Qt::WA_Hover));
    QCOMPARE(selector.toolTip(), u"Choose which build of the game the launcher follows"_s);
    QCOMPARE(selector.shownName(), gameProfile().channel(gameProfile().defaultChannel).name.toUpper());
}

void tst_ChannelSelector::boxIsAsWideAsItsName()
{
    ChannelSelector selector;
    for (const GameChannel &channel : gameProfile().channels) {
        selector.setChannelId(channel.id);
        const int width = QFontMetrics(theme::monoFont(11, 600, 0.8)).horizontalAdvance(channel.name.toUpper()) + 36;
        QCOMPARE(selector.sizeHint(), QSize(width, 26));
        QCOMPARE(selector.minimumWidth(), width);
        QCOMPARE(selector.maximumWidth(), width);
    }
}

void tst_ChannelSelector::boxLook_data()
{
    QTest::addColumn<double>("hover");
    QTest::newRow("rest") << 0.0;
    QTest::newRow("half-way") << 0.5;
    QTest::newRow("hover") << 1.0;
}

void tst_ChannelSelector::boxLook()
{
    QFETCH(const double, hover);
    ChannelSelector selector;
    selector.resize(selector.sizeHint());
    holdAt(selector.findChild<QVariantAnimation *>(), hover);
    QCOMPARE(mismatch(snapshot(selector), boxExpectation(selector, selector.shownName(), hover)), QString());
}

void tst_ChannelSelector::hoverRunsForATenthOfASecond()
{
    ChannelSelector selector;
    selector.resize(selector.sizeHint());
    auto *animation = selector.findChild<QVariantAnimation *>();
    QCOMPARE(animation->duration(), 110);
    QCOMPARE(animation->easingCurve().type(), QEasingCurve::OutCubic);
    enter(selector);
    QCOMPARE(animation->state(), QAbstractAnimation::Running);
    QCOMPARE(animation->endValue().toDouble(), 1.0);
    holdAt(animation, 0.5);
    leave(selector);
    QCOMPARE(animation->startValue().toDouble(), 0.5);
    QCOMPARE(animation->endValue().toDouble(), 0.0);

    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    enter(selector);
    QCOMPARE(mismatch(snapshot(selector), boxExpectation(selector, selector.shownName(), 1.0)), QString());
}

void tst_ChannelSelector::hoveringRepaints()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    ChannelSelector selector;
    ChannelRow row(gameProfile().channels.first(), false, nullptr);
    for (QWidget *widget : std::initializer_list<QWidget *>{&selector, &row}) {
        widget->show();
        QVERIFY(QTest::qWaitForWindowExposed(widget));
        leave(*widget); // wherever the pointer is
        QCoreApplication::processEvents();
        PaintCounter paints(widget);
        enter(*widget);
        QTRY_VERIFY2(paints.count() > 0, widget->metaObject()->className());
        paints.reset();
        leave(*widget);
        QTRY_VERIFY2(paints.count() > 0, widget->metaObject()->className());
    }
}

/// Each step of the way repaints, with the pointer at rest.
void tst_ChannelSelector::hoverIsPaintedAsItRuns()
{
    ChannelSelector selector;
    selector.show();
    QVERIFY(QTest::qWaitForWindowExposed(&selector));
    QCoreApplication::processEvents();
    PaintCounter paints(&selector);
    for (const double step : {0.25, 0.5}) {
        paints.reset();
        holdAt(selector.findChild<QVariantAnimation *>(), step);
        QTRY_VERIFY(paints.count() > 0);
    }
}

void tst_ChannelSelector::nameOfTheSameWidthRepaints()
{
    ChannelSelector selector;
    selector.setChannelId(u"next"_s);
    selector.show();
    QVERIFY(QTest::qWaitForWindowExposed(&selector));
    leave(selector); // wherever the pointer is
    QTRY_COMPARE(selector.findChild<QVariantAnimation *>()->state(), QAbstractAnimation::Stopped);
    QCoreApplication::processEvents();
    const int width = selector.width();
    const PaintCounter paints(&selector);
    selector.setChannelId(u"beta"_s);
    QCOMPARE(selector.width(), width);
    QTRY_VERIFY(paints.count() > 0);
}

void tst_ChannelSelector::boxShowsAnotherBranchOnlyWhenTold()
{
    ChannelSelector selector;
    selector.show();
    const QString before = selector.shownName();
    const QSignalSpy selected(&selector, &ChannelSelector::channelSelected);
    QTest::mouseClick(&selector, Qt::LeftButton);
    QWidget *popup = popupOf(selector);
    QTest::mouseClick(popup, Qt::LeftButton, {}, rowsOf(*popup).at(1)->geometry().center());
    QCOMPARE(selected.size(), 1);
    QCOMPARE(selector.shownName(), before);
    selector.setChannelId(gameProfile().channels.at(1).id);
    QCOMPARE(selector.shownName(), gameProfile().channels.at(1).name.toUpper());
    QCOMPARE(selected.size(), 1); // being told is no choice
}

void tst_ChannelSelector::widthChangeReachesTheLayout()
{
    QWidget bar;
    auto *row = new QHBoxLayout(&bar);
    auto *selector = new ChannelSelector(&bar);
    auto *neighbour = new QWidget(&bar);
    row->addWidget(selector);
    row->addWidget(neighbour, 1);
    bar.resize(600, 40);
    bar.show();
    for (const GameChannel &channel : gameProfile().channels) {
        selector->setChannelId(channel.id);
        QTRY_COMPARE(neighbour->x(), selector->x() + selector->width() + row->spacing());
    }
}

void tst_ChannelSelector::clickOpensTheList_data()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<QPoint>("release");
    QTest::addColumn<bool>("opens");
    QTest::newRow("left") << Qt::LeftButton << QPoint(20, 13) << true;
    QTest::newRow("right") << Qt::RightButton << QPoint(20, 13) << false;
    QTest::newRow("middle") << Qt::MiddleButton << QPoint(20, 13) << false;
    QTest::newRow("released outside") << Qt::LeftButton << QPoint(20, 60) << false;
}

void tst_ChannelSelector::clickOpensTheList()
{
    QFETCH(const Qt::MouseButton, button);
    QFETCH(const QPoint, release);
    QFETCH(const bool, opens);
    ChannelSelector selector;
    selector.show();
    QTest::mousePress(&selector, button, {}, QPoint(20, 13));
    QVERIFY(!popupOf(selector));
    QTest::mouseRelease(&selector, button, {}, release);
    QCOMPARE(popupOf(selector) != nullptr, opens);
}

void tst_ChannelSelector::placeOfTheReleaseIsRounded_data()
{
    const double width = ChannelSelector().width();
    QTest::addColumn<QPointF>("release");
    QTest::addColumn<bool>("opens");
    QTest::newRow("still at the left edge") << QPointF(-0.4, 13) << true;
    QTest::newRow("beyond the left edge") << QPointF(-0.6, 13) << false;
    QTest::newRow("still at the right edge") << QPointF(width - 0.6, 13) << true;
    QTest::newRow("beyond the right edge") << QPointF(width - 0.4, 13) << false;
    QTest::newRow("still at the lower edge") << QPointF(20, 25.4) << true;
    QTest::newRow("beyond the lower edge") << QPointF(20, 25.6) << false;
}

void tst_ChannelSelector::placeOfTheReleaseIsRounded()
{
    QFETCH(const QPointF, release);
    QFETCH(const bool, opens);
    ChannelSelector selector;
    selector.show();
    releaseAt(selector, release);
    QCOMPARE(popupOf(selector) != nullptr, opens);
}

void tst_ChannelSelector::onlyTheLeftPressIsKept_data()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<QPoint>("release");
    QTest::addColumn<int>("presses");
    QTest::newRow("left") << Qt::LeftButton << QPoint(20, 13) << 0;
    QTest::newRow("left, released outside") << Qt::LeftButton << QPoint(20, 60) << 0;
    QTest::newRow("right") << Qt::RightButton << QPoint(20, 13) << 1;
    QTest::newRow("middle") << Qt::MiddleButton << QPoint(20, 13) << 1;
}

void tst_ChannelSelector::onlyTheLeftPressIsKept()
{
    QFETCH(const Qt::MouseButton, button);
    QFETCH(const QPoint, release);
    QFETCH(const int, presses);
    QWidget bar;
    bar.resize(300, 80);
    ChannelSelector selector(&bar);
    bar.show();
    const MouseCounter behind(&bar);
    QTest::mousePress(&selector, button, {}, QPoint(20, 13));
    QCOMPARE(behind.presses(), presses);
    QTest::mouseRelease(&selector, button, {}, release);
    QCOMPARE(behind.releases(), 1); // every one goes on
}

void tst_ChannelSelector::openListIsNotOpenedAgain()
{
    ChannelSelector selector;
    selector.show();
    QTest::mouseRelease(&selector, Qt::LeftButton, {}, QPoint(20, 13));
    const QWidget *first = popupOf(selector);
    QVERIFY(first);
    releaseAt(selector, QPointF(20, 13));
    QCOMPARE(popupOf(selector), first);
    QCOMPARE(selector.findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly).size(), 1);
}

void tst_ChannelSelector::closedListCanBeOpenedAgain()
{
    ChannelSelector selector;
    selector.show();
    for (int i = 0; i < 3; ++i) {
        QTest::mouseClick(&selector, Qt::LeftButton);
        const QPointer<QWidget> popup = popupOf(selector);
        QVERIFY(popup);
        popup->close();
        QTRY_VERIFY(!popup); // it deletes itself
    }
}

void tst_ChannelSelector::listStandsBelowTheBox()
{
    ChannelSelector selector;
    const QWidget *popup = openListAt(selector, QPoint(420, 100));
    QVERIFY(popup);
    QCOMPARE(selector.mapToGlobal(QPoint(0, 0)), QPoint(420, 100));
    QCOMPARE(placeOf(*popup), QPoint(420 + selector.width() - 372, 100 + 26 + 4));
}

void tst_ChannelSelector::listStaysOnTheScreen_data()
{
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    const int boxWidth = ChannelSelector().width();
    const int list = 31 + 54 * static_cast<int>(gameProfile().channels.size());
    const int leftmost = area.left() + 8 + 372 - boxWidth;
    const int rightmost = area.right() - 8 - boxWidth;
    const int lowest = area.bottom() - list - 30;
    QTest::addColumn<QPoint>("box");
    QTest::addColumn<QPoint>("place");
    QTest::newRow("left") << QPoint(area.left() + 4, 100) << QPoint(area.left() + 8, 130);
    QTest::newRow("just right of the left gap") << QPoint(leftmost + 1, 100) << QPoint(area.left() + 9, 130);
    QTest::newRow("at the right gap") << QPoint(rightmost, 100) << QPoint(area.right() - 380, 130);
    QTest::newRow("beyond the right gap") << QPoint(rightmost + 1, 100) << QPoint(area.right() - 380, 130);
    QTest::newRow("right") << QPoint(area.right() - 30, 100) << QPoint(area.right() - 380, 130);
    const int x = area.left() + 10;
    QTest::newRow("just fits below") << QPoint(leftmost + 2, lowest) << QPoint(x, lowest + 30);
    QTest::newRow("does not fit below") << QPoint(leftmost + 2, lowest + 1) << QPoint(x, lowest + 1 - 4 - list);
    QTest::newRow("bottom") << QPoint(leftmost + 2, area.bottom() - 40) << QPoint(x, area.bottom() - 44 - list);
}

void tst_ChannelSelector::listStaysOnTheScreen()
{
    QFETCH(const QPoint, box);
    QFETCH(const QPoint, place);
    ChannelSelector selector;
    const QWidget *popup = openListAt(selector, box);
    QVERIFY(popup);
    QCOMPARE(selector.mapToGlobal(QPoint(0, 0)), box);
    QCOMPARE(placeOf(*popup), place);
}

void tst_ChannelSelector::listHasARowForEachBranch()
{
    const ChannelPopup popup(
        u"beta"_s, [](const QString &) {}, nullptr);
    QCOMPARE(popup.windowType(), Qt::Popup);
    QVERIFY(popup.testAttribute(Qt::WA_DeleteOnClose));
    QCOMPARE(popup.minimumWidth(), 372);
    QCOMPARE(popup.maximumWidth(), 372);
    const auto count = static_cast<int>(gameProfile().channels.size());
    QCOMPARE(rowsOf(popup).size(), count);
    QCOMPARE(popup.sizeHint().height(), 31 + 54 * count);
    QCOMPARE(popup.layout()->contentsMargins(), QMargins(1, 30, 1, 1));
    QCOMPARE(popup.layout()->spacing(), 0);
    for (const QWidget *row : rowsOf(popup)) {
        QCOMPARE(row->minimumHeight(), 54);
        QCOMPARE(row->maximumHeight(), 54);
        QCOMPARE(row->cursor().shape(), Qt::PointingHandCursor);
    }
}

void tst_ChannelSelector::rowsStandInTheProfilesOrder()
{
    ChannelSelector selector;
    const QWidget *popup = openListAt(selector, QPoint(400, 100));
    QVERIFY(popup);
    QList<QWidget *> rows = rowsOf(*popup);
    QCOMPARE(rows.size(), gameProfile().channels.size());
    std::sort(rows.begin(), rows.end(), [](const QWidget *a, const QWidget *b) { return a->y() < b->y(); });
    int y = 30;
    for (const GameChannel &channel : gameProfile().channels) {
        const QWidget *row = rows.takeFirst();
        QCOMPARE(row->geometry(), QRect(1, y, 370, 54));
        QCOMPARE(row->accessibleName(), channel.name);
        y += 54;
    }
}

void tst_ChannelSelector::shownBranchIsTheActiveRow()
{
    for (const GameChannel &channel : gameProfile().channels) {
        ChannelSelector selector;
        selector.setChannelId(channel.id);
        const QWidget *popup = openListAt(selector, QPoint(400, 100));
        QVERIFY(popup);
        const QList<QWidget *> rows = rowsOf(*popup);
        QCOMPARE(rows.size(), gameProfile().channels.size());
        for (QWidget *row : rows) {
            const bool marked = colorAt(snapshot(*row), QPointF(1, 27)) == accent;
            QCOMPARE(marked, row->accessibleName() == channel.name);
        }
    }
}

void tst_ChannelSelector::listLook()
{
    ChannelPopup popup(
        u"none of them"_s, [](const QString &) {}, nullptr);
    popup.adjustSize();
    const QList<QWidget *> rows = rowsOf(popup);
    for (QWidget *row : rows) {
        row->hide();
    }
    QImage expected = canvas(popup);
    QPainter painter(&expected);
    painter.fillRect(popup.rect(), panel);
    painter.setPen(borderStrong);
    painter.drawRect(QRect(0, 0, 371, popup.height() - 1));
    painter.setPen(dim);
    painter.setFont(theme::displayFont(10, 600, 2.0));
    painter.drawText(QRect(16, 8, 340, 16), middleLeft, u"BUILD BRANCH"_s);
    painter.fillRect(QRect(0, 29, 372, 1), borderColor);
    painter.end();
    QCOMPARE(mismatch(snapshot(popup), expected), QString());
}

void tst_ChannelSelector::rowLook_data()
{
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("hovered");
    QTest::newRow("rest") << false << false;
    QTest::newRow("hovered") << false << true;
    QTest::newRow("active") << true << false;
    QTest::newRow("active and hovered") << true << true;
}

void tst_ChannelSelector::rowLook()
{
    QFETCH(const bool, active);
    QFETCH(const bool, hovered);
    const GameChannel channel{u"beta"_s, u"Closed beta"_s, u"For invited players."_s, u"https://x.example/m"_s};
    ChannelRow row(channel, active, nullptr);
    row.resize(370, 54);
    if (hovered) {
        enter(row);
    }
    QCOMPARE(mismatch(snapshot(row), rowExpectation(row, channel, active, hovered)), QString());
    leave(row);
    QCOMPARE(mismatch(snapshot(row), rowExpectation(row, channel, active, false)), QString());
}

void tst_ChannelSelector::longDescriptionIsElided()
{
    const GameChannel channel{u"x"_s, u"A name that never seems to come to any end at all, at all"_s, longText(), {}};
    ChannelRow row(channel, true, nullptr);
    row.resize(370, 54);
    const QFontMetrics metrics(theme::bodyFont(11, 400));
    QVERIFY(metrics.elidedText(longText(), Qt::ElideRight, 338) != longText());
    QCOMPARE(mismatch(snapshot(row), rowExpectation(row, channel, true, false)), QString());
}

void tst_ChannelSelector::releaseOnARowChoosesIt_data()
{
    QTest::addColumn<int>("row");
    QTest::newRow("the current one") << 0;
    QTest::newRow("another") << 1;
}

void tst_ChannelSelector::releaseOnARowChoosesIt()
{
    QFETCH(const int, row);
    ChannelSelector selector;
    selector.setChannelId(gameProfile().channels.at(0).id);
    selector.show();
    QTest::mouseClick(&selector, Qt::LeftButton);
    const QPointer<QWidget> popup = popupOf(selector);
    bool closedFirst = false;
    connect(&selector, &ChannelSelector::channelSelected, &selector, [&] { closedFirst = popup->isHidden(); });
    QSignalSpy selected(&selector, &ChannelSelector::channelSelected);
    QTest::mouseRelease(popup, Qt::LeftButton, {}, rowsOf(*popup).at(row)->geometry().center());
    QCOMPARE(selected.size(), 1);
    QCOMPARE(selected.first().first().toString(), gameProfile().channels.at(row).id);
    QVERIFY(closedFirst);
    QTRY_VERIFY(!popup);
}

void tst_ChannelSelector::placeOfTheChoiceIsRounded_data()
{
    QTest::addColumn<QPointF>("release");
    QTest::addColumn<int>("row"); // -1: none
    QTest::newRow("heading") << QPointF(100, 29.4) << -1;
    QTest::newRow("upper edge of the first") << QPointF(100, 29.6) << 0;
    QTest::newRow("lower edge of the first") << QPointF(100, 83.4) << 0;
    QTest::newRow("upper edge of the second") << QPointF(100, 83.6) << 1;
    QTest::newRow("left border") << QPointF(0.4, 60) << -1;
    QTest::newRow("left edge") << QPointF(0.6, 60) << 0;
    QTest::newRow("right edge") << QPointF(370.4, 60) << 0;
    QTest::newRow("right border") << QPointF(370.6, 60) << -1;
}

void tst_ChannelSelector::placeOfTheChoiceIsRounded()
{
    QFETCH(const QPointF, release);
    QFETCH(const int, row);
    ChannelSelector selector;
    QWidget *popup = openListAt(selector, QPoint(400, 100));
    QVERIFY(popup);
    QSignalSpy selected(&selector, &ChannelSelector::channelSelected);
    releaseAt(*popup, release);
    QVERIFY(popup->isHidden());
    QCOMPARE(selected.size(), row < 0 ? 0 : 1);
    if (row >= 0) {
        QCOMPARE(selected.first().first().toString(), gameProfile().channels.at(row).id);
    }
}

void tst_ChannelSelector::anyButtonChooses_data()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::newRow("left") << Qt::LeftButton;
    QTest::newRow("right") << Qt::RightButton;
    QTest::newRow("middle") << Qt::MiddleButton;
}

void tst_ChannelSelector::anyButtonChooses()
{
    QFETCH(const Qt::MouseButton, button);
    ChannelSelector selector;
    QWidget *popup = openListAt(selector, QPoint(400, 100));
    QVERIFY(popup);
    QSignalSpy selected(&selector, &ChannelSelector::channelSelected);
    releaseAt(*popup, QPointF(100, 100), button);
    QCOMPARE(selected.size(), 1);
    QCOMPARE(selected.first().first().toString(), gameProfile().channels.at(1).id);
}

void tst_ChannelSelector::releaseBesideTheRowsOnlyCloses()
{
    ChannelSelector selector;
    selector.show();
    const QSignalSpy selected(&selector, &ChannelSelector::channelSelected);
    for (const QPoint place : {QPoint(100, 15), QPoint(0, 60)}) {
        QTest::mouseClick(&selector, Qt::LeftButton);
        const QPointer<QWidget> popup = popupOf(selector);
        QVERIFY(popup);
        QTest::mouseRelease(popup, Qt::LeftButton, {}, place);
        QTRY_VERIFY(!popup);
    }
    QCOMPARE(selected.size(), 0);
}

void tst_ChannelSelector::escapeCloses()
{
    ChannelSelector selector;
    selector.show();
    QTest::mouseClick(&selector, Qt::LeftButton);
    const QPointer<QWidget> popup = popupOf(selector);
    QTest::keyClick(popup, Qt::Key_Escape);
    QTRY_VERIFY(!popup);
}

void tst_ChannelSelector::listGoesWithItsBox()
{
    auto selector = std::make_unique<ChannelSelector>();
    selector->show();
    QTest::mouseClick(selector.get(), Qt::LeftButton);
    const QPointer<QWidget> popup = popupOf(*selector);
    QVERIFY(popup);
    selector.reset();
    QVERIFY(!popup);
}

void tst_ChannelSelector::boxIsNamedByItsBranch()
{
    ChannelSelector selector;
    selector.setChannelId(gameProfile().channels.at(1).id);
    QCOMPARE(selector.accessibleDescription(), selector.shownName());
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_ChannelSelector>(argc, argv);
}

#include "tst_ChannelSelector.moc"
