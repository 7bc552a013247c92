#include "support/PixelTest.h"
#include "theme/Fonts.h"
#include "widgets/ModalDialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::ModalDialog;
namespace theme = velmo::theme;

namespace {

const QString title = u"Something happened"_s;
const QString message = u"It can be tried again."_s;

/// The parts of a dialog, found as a player sees them.
struct Parts {
    explicit Parts(ModalDialog &dialog)
        : column(qobject_cast<QVBoxLayout *>(dialog.layout()))
        , title(qobject_cast<QLabel *>(column->itemAt(0)->widget()))
        , message(qobject_cast<QLabel *>(column->itemAt(2)->widget()))
        , toggle(qobject_cast<QPushButton *>(column->itemAt(4)->widget()))
        , details(qobject_cast<QPlainTextEdit *>(column->itemAt(5)->widget()))
        , row(qobject_cast<QHBoxLayout *>(column->itemAt(7)->layout()))
        , cancel(qobject_cast<QPushButton *>(row->itemAt(1)->widget()))
        , primary(qobject_cast<QPushButton *>(row->itemAt(2)->widget()))
    {}

    QVBoxLayout *column;
    QLabel *title;
    QLabel *message;
    QPushButton *toggle;
    QPlainTextEdit *details;
    QHBoxLayout *row;
    QPushButton *cancel;
    QPushButton *primary;
};

/// Runs \a act on the dialog that opens next, once it is on screen and active, and closes what it left open.
void onceOpen(const std::function<void(ModalDialog &, const Parts &)> &act)
{
    auto *timer = new QTimer(qApp);
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, act] {
        timer->deleteLater();
        auto *dialog = qobject_cast<ModalDialog *>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        const auto closed = qScopeGuard([dialog] {
            if (dialog->isVisible()) {
                dialog->reject();
            }
        });
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        act(*dialog, Parts(*dialog));
    });
    timer->start(0);
}

void addKinds()
{
    QTest::addColumn<ModalDialog::Kind>("kind");
    QTest::addColumn<QColor>("accent");
    QTest::addColumn<QString>("primaryText");
    QTest::addColumn<QString>("primaryRole");
    QTest::addColumn<bool>("hasCancel");
    const QColor outline(0x30, 0x3a, 0x49);
    QTest::newRow("info") << ModalDialog::Info << outline << u"Close"_s << u"secondary"_s << false;
    QTest::newRow("warning") << ModalDialog::Warning << QColor(0xc8, 0x8a, 0x52) << u"Close"_s << u"secondary"_s
                             << false;
    QTest::newRow("error") << ModalDialog::Error << QColor(0xc2, 0x50, 0x48) << u"Close"_s << u"danger"_s << false;
    QTest::newRow("confirm") << ModalDialog::Confirm << outline << u"Confirm"_s << u"secondary"_s << true;
}

void press(QWidget *widget, QPoint local, QPoint global, Qt::MouseButton button = Qt::LeftButton)
{
    QMouseEvent event(QEvent::MouseButtonPress, local, global, button, button, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &event);
}

void drag(QWidget *widget, QPointF global, Qt::MouseButtons buttons = Qt::LeftButton)
{
    QMouseEvent event(QEvent::MouseMove, widget->mapFromGlobal(global), global, Qt::NoButton, buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &event);
}

} // namespace

class tst_ModalDialog : public PixelTest {
    Q_OBJECT

private slots:
    void kindsHaveTheirNumbers();
    void windowIsFramelessAndModal();
    void columnHasItsMeasures();
    void labelsHaveTheirLook();
    void textIsNeverMarkup();
    void detailsWaitHidden();
    void buttonsFollowTheKind_data();
    void buttonsFollowTheKind();
    void borderAndBandAreInTheKindsColour_data();
    void borderAndBandAreInTheKindsColour();
    void borderStandsAtExactPixels();
    void confirmAsks();
    void confirmTellsWhichButton_data();
    void confirmTellsWhichButton();
    void confirmTextReplacesThePrimaryButtons_data();
    void confirmTextReplacesThePrimaryButtons();
    void enterConfirms();
    void escapeRejects();
    void errorShowsItsDetailsOnDemand_data();
    void errorShowsItsDetailsOnDemand();
    void errorWithoutDetailsHasNoToggle();
    void errorButtonIsDangerAndCloses();
    void enterClosesAnErrorWithDetails();
    void helpersLeaveNothingBehind();
    void longMessageWrapsAndHeightFollows_data();
    void longMessageWrapsAndHeightFollows();
    void longDetailsKeepTheirHeight();
    void bodyDragsTheDialog();
    void labelsDragTheDialog();
    void otherButtonsDoNotDrag();
    void anotherPressLeavesTheDragAsItIs();
    void mouseIsHandedOn();
    void childrenThatTakeTheMouseDoNotDrag();
    void keyboardGoesThroughItAsItIsSeen_data();
    void keyboardGoesThroughItAsItIsSeen();
    void nothingIsPaintedAtRest();
};

void tst_ModalDialog::kindsHaveTheirNumbers()
{
    QCOMPARE(static_cast<int>(ModalDialog::Info), 0);
    QCOMPARE(static_cast<int>(ModalDialog::Warning), 1);
    QCOMPARE(static_cast<int>(ModalDialog::Error), 2);
    QCOMPARE(static_cast<int>(ModalDialog::Confirm), 3);
    QCOMPARE(sizeof(ModalDialog::Kind), sizeof(qint32));
}

void tst_ModalDialog::windowIsFramelessAndModal()
{
    const ModalDialog dialog(ModalDialog::Info, title, message);
    QCOMPARE(dialog.windowFlags() & Qt::WindowType_Mask, Qt::Dialog);
    QVERIFY(dialog.windowFlags().testFlag(Qt::FramelessWindowHint));
    QVERIFY(!dialog.testAttribute(Qt::WA_DeleteOnClose));
    QVERIFY(dialog.isModal());
    QCOMPARE(dialog.windowModality(), Qt::ApplicationModal);
    QCOMPARE(dialog.minimumWidth(), 460);
    QCOMPARE(dialog.maximumWidth(), 460);
}

void tst_ModalDialog::columnHasItsMeasures()
{
    ModalDialog dialog(ModalDialog::Confirm, title, message);
    const Parts parts(dialog);
    QCOMPARE(parts.column->contentsMargins(), QMargins(28, 26, 28, 22));
    QCOMPARE(parts.column->spacing(), 0);
    QCOMPARE(parts.column->count(), 8);
    const auto gap = [&](int index) { return parts.column->itemAt(index)->spacerItem()->sizeHint().height(); };
    QCOMPARE(gap(1), 14);
    QCOMPARE(gap(3), 12);
    QCOMPARE(gap(6), 22);
    QCOMPARE(parts.row->spacing(), 10);
    QCOMPARE(parts.row->count(), 3);
    QCOMPARE(parts.row->stretch(0), 1);
    QVERIFY(parts.row->itemAt(0)->spacerItem());

    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QCOMPARE(dialog.width(), 460);
    QCOMPARE(parts.title->pos(), QPoint(28, 26));
    QCOMPARE(parts.message->y(), parts.title->geometry().bottom() + 1 + 14);
    QCOMPARE(parts.primary->y(), parts.message->geometry().bottom() + 1 + 12 + 22);
    QCOMPARE(parts.primary->geometry().right() + 1, 460 - 28);
    QCOMPARE(parts.primary->geometry().bottom() + 1, dialog.height() - 22);
    QCOMPARE(parts.cancel->geometry().right() + 1 + 10, parts.primary->x());
}

void tst_ModalDialog::labelsHaveTheirLook()
{
    ModalDialog dialog(ModalDialog::Info, title, message);
    const Parts parts(dialog);
    QCOMPARE(parts.title->text(), title);
    QCOMPARE(parts.title->font(), theme::displayFont(15, 600, 1.2));
    QCOMPARE(parts.title->styleSheet(), u"color: #e8ebf0;"_s);
    QCOMPARE(parts.message->text(), message);
    QCOMPARE(parts.message->font(), theme::bodyFont(13, 400));
    QCOMPARE(parts.message->styleSheet(), u"color: #9aa4b4;"_s);
    QVERIFY(parts.message->wordWrap());
    parts.title->ensurePolished();
    QCOMPARE(parts.title->font().pixelSize(), 15);
    QCOMPARE(parts.title->palette().color(QPalette::WindowText), QColor(0xe8, 0xeb, 0xf0));
}

void tst_ModalDialog::textIsNeverMarkup()
{
    ModalDialog dialog(ModalDialog::Info, u"<b>Title</b>"_s, u"<img src='http://127.0.0.1/x'>"_s);
    const Parts parts(dialog);
    QCOMPARE(parts.title->textFormat(), Qt::PlainText);
    QCOMPARE(parts.message->textFormat(), Qt::PlainText);
}

void tst_ModalDialog::detailsWaitHidden()
{
    ModalDialog dialog(ModalDialog::Error, title, message);
    const Parts parts(dialog);
    QVERIFY(parts.toggle->isHidden());
    QCOMPARE(parts.toggle->text(), u"Show technical details"_s);
    QCOMPARE(parts.toggle->property("role"), QVariant(u"link"_s));
    QCOMPARE(parts.toggle->cursor().shape(), Qt::PointingHandCursor);
    QVERIFY(parts.toggle->isFlat());
    QVERIFY(parts.details->isHidden());
    QVERIFY(parts.details->isReadOnly());
    QCOMPARE(parts.details->font().family(), u"Consolas"_s);
    QCOMPARE(parts.details->font().pointSize(), 9);
    QCOMPARE(parts.details->minimumHeight(), 110);
    QCOMPARE(parts.details->maximumHeight(), 110);
}

void tst_ModalDialog::buttonsFollowTheKind_data()
{
    addKinds();
}

void tst_ModalDialog::buttonsFollowTheKind()
{
    QFETCH(const ModalDialog::Kind, kind);
    QFETCH(const QString, primaryText);
    QFETCH(const QString, primaryRole);
    QFETCH(const bool, hasCancel);
    ModalDialog dialog(kind, title, message);
    const Parts parts(dialog);
    QCOMPARE(parts.primary->text(), primaryText);
    QCOMPARE(parts.primary->property("role"), QVariant(primaryRole));
    QCOMPARE(parts.primary->cursor().shape(), Qt::PointingHandCursor);
    QVERIFY(parts.primary->isDefault());
    QCOMPARE(parts.cancel->text(), u"Cancel"_s);
    QCOMPARE(parts.cancel->property("role"), QVariant(u"secondary"_s));
    QCOMPARE(parts.cancel->cursor().shape(), Qt::PointingHandCursor);
    QCOMPARE(parts.cancel->isHidden(), !hasCancel);
    dialog.show();
    QCOMPARE(parts.cancel->isVisible(), hasCancel);
}

void tst_ModalDialog::borderAndBandAreInTheKindsColour_data()
{
    addKinds();
}

void tst_ModalDialog::borderAndBandAreInTheKindsColour()
{
    QFETCH(const ModalDialog::Kind, kind);
    QFETCH(const QColor, accent);
    ModalDialog dialog(kind, QString(), QString());
    const Parts parts(dialog);
    parts.primary->hide();
    parts.cancel->hide();
    dialog.resize(460, 200);
    QImage expected = canvas(dialog);
    QPainter painter(&expected);
    painter.fillRect(0, 0, 460, 200, QColor(0x12, 0x17, 0x1f));
    painter.setPen(accent);
    painter.drawRect(0, 0, 459, 199);
    painter.fillRect(0, 0, 460, 2, accent);
    painter.end();
    QCOMPARE(mismatch(snapshot(dialog), expected), QString());
}

void tst_ModalDialog::borderStandsAtExactPixels()
{
    ModalDialog dialog(ModalDialog::Error, QString(), QString());
    Parts(dialog).primary->hide();
    dialog.resize(460, 200);
    const QImage look = snapshot(dialog);
    const QColor accent(0xc2, 0x50, 0x48);
    const QColor ground(0x12, 0x17, 0x1f);
    for (const double x : {3.0, 230.0, 456.0}) {
        QCOMPARE(colorAt(look, {x, 0.1}), accent);
        QCOMPARE(colorAt(look, {x, 1.9}), accent);
        QCOMPARE(colorAt(look, {x, 2.1}), ground);
        QCOMPARE(colorAt(look, {x, 197.5}), ground);
        QCOMPARE(colorAt(look, {x, 199.1}), accent);
    }
    for (const double y : {3.0, 100.0, 197.0}) {
        QCOMPARE(colorAt(look, {0.1, y}), accent);
        QCOMPARE(colorAt(look, {2.1, y}), ground);
        QCOMPARE(colorAt(look, {457.5, y}), ground);
        QCOMPARE(colorAt(look, {459.1, y}), accent);
    }
}

void tst_ModalDialog::confirmAsks()
{
    bool seen = false;
    onceOpen([&](ModalDialog &dialog, const Parts &parts) {
        seen = true;
        QCOMPARE(parts.title->text(), title);
        QCOMPARE(parts.message->text(), message);
        QVERIFY(parts.cancel->isVisible());
        QVERIFY(!parts.toggle->isVisible());
        QVERIFY(!parts.details->isVisible());
        QVERIFY(parts.primary->hasFocus());
        QCOMPARE(parts.primary->property("role"), QVariant(u"secondary"_s));
        QCOMPARE(dialog.width(), 460);
    });
    QVERIFY(!ModalDialog::confirm(nullptr, title, message, u"Remove"_s));
    QVERIFY(seen);
}

void tst_ModalDialog::confirmTellsWhichButton_data()
{
    QTest::addColumn<bool>("primary");
    QTest::newRow("primary") << true;
    QTest::newRow("cancel") << false;
}

void tst_ModalDialog::confirmTellsWhichButton()
{
    QFETCH(const bool, primary);
    onceOpen([primary](ModalDialog & /*dialog*/, const Parts &parts) {
        QTest::mouseClick(primary ? parts.primary : parts.cancel, Qt::LeftButton);
    });
    QCOMPARE(ModalDialog::confirm(nullptr, title, message, QString()), primary);
}

void tst_ModalDialog::confirmTextReplacesThePrimaryButtons_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("shown");
    QTest::newRow("given") << u"Remove"_s << u"Remove"_s;
    QTest::newRow("empty") << QString() << u"Confirm"_s;
}

void tst_ModalDialog::confirmTextReplacesThePrimaryButtons()
{
    QFETCH(const QString, given);
    QFETCH(const QString, shown);
    QString text;
    onceOpen([&text](ModalDialog & /*dialog*/, const Parts &parts) { text = parts.primary->text(); });
    ModalDialog::confirm(nullptr, title, message, given);
    QCOMPARE(text, shown);
}

void tst_ModalDialog::enterConfirms()
{
    onceOpen([](ModalDialog &dialog, const Parts & /*parts*/) { QTest::keyClick(&dialog, Qt::Key_Return); });
    QVERIFY(ModalDialog::confirm(nullptr, title, message, QString()));
    onceOpen([](ModalDialog &dialog, const Parts & /*parts*/) { QTest::keyClick(&dialog, Qt::Key_Enter); });
    QVERIFY(ModalDialog::confirm(nullptr, title, message, QString()));
}

void tst_ModalDialog::escapeRejects()
{
    bool open = true;
    onceOpen([&open](ModalDialog &dialog, const Parts & /*parts*/) {
        QTest::keyClick(&dialog, Qt::Key_Escape);
        open = dialog.isVisible();
    });
    QVERIFY(!ModalDialog::confirm(nullptr, title, message, QString()));
    QVERIFY(!open);
}

void tst_ModalDialog::errorShowsItsDetailsOnDemand_data()
{
    QTest::addColumn<QString>("message");
    QTest::newRow("short message") << message;
    QTest::newRow("long message") << u"The server did not answer in time. "_s.repeated(5);
}

void tst_ModalDialog::errorShowsItsDetailsOnDemand()
{
    QFETCH(const QString, message);
    bool seen = false;
    onceOpen([&](ModalDialog &dialog, const Parts &parts) {
        seen = true;
        QCOMPARE(parts.title->text(), title);
        QCOMPARE(parts.message->text(), message);
        QVERIFY(parts.toggle->isVisible());
        QVERIFY(!parts.details->isVisible());
        QCOMPARE(parts.details->toPlainText(), u"code 5 <b>at</b> line 7"_s);
        QCOMPARE(parts.toggle->y(), parts.message->geometry().bottom() + 1 + 12);
        const int closed = dialog.height();
        for (int round = 0; round < 2; ++round) {
            QTest::mouseClick(parts.toggle, Qt::LeftButton);
            QVERIFY(parts.details->isVisible());
            QCOMPARE(parts.toggle->text(), u"Hide technical details"_s);
            QCOMPARE(dialog.height(), closed + 110);
            QCOMPARE(dialog.width(), 460);
            QTRY_COMPARE(parts.details->y(), parts.toggle->geometry().bottom() + 1);
            QCOMPARE(parts.details->width(), 460 - 56);
            QTest::mouseClick(parts.toggle, Qt::LeftButton);
            QVERIFY(!parts.details->isVisible());
            QCOMPARE(parts.toggle->text(), u"Show technical details"_s);
            QCOMPARE(dialog.height(), closed);
        }
    });
    ModalDialog::showError(nullptr, title, message, u"code 5 <b>at</b> line 7"_s);
    QVERIFY(seen);
}

void tst_ModalDialog::errorWithoutDetailsHasNoToggle()
{
    bool seen = false;
    onceOpen([&seen](ModalDialog & /*dialog*/, const Parts &parts) {
        seen = true;
        QVERIFY(!parts.toggle->isVisible());
        QVERIFY(!parts.details->isVisible());
        QCOMPARE(parts.primary->y(), parts.message->geometry().bottom() + 1 + 12 + 22);
    });
    ModalDialog::showError(nullptr, title, message, QString());
    QVERIFY(seen);
}

void tst_ModalDialog::errorButtonIsDangerAndCloses()
{
    bool open = true;
    onceOpen([&open](ModalDialog &dialog, const Parts &parts) {
        QCOMPARE(parts.primary->text(), u"Close"_s);
        QCOMPARE(parts.primary->property("role"), QVariant(u"danger"_s));
        QVERIFY(!parts.cancel->isVisible());
        QTest::mouseClick(parts.primary, Qt::LeftButton);
        open = dialog.isVisible();
    });
    ModalDialog::showError(nullptr, title, message, QString());
    QVERIFY(!open);
}

void tst_ModalDialog::enterClosesAnErrorWithDetails()
{
    bool open = true;
    onceOpen([&open](ModalDialog &dialog, const Parts &parts) {
        QVERIFY(parts.primary->hasFocus());
        QTest::keyClick(&dialog, Qt::Key_Return);
        open = dialog.isVisible();
    });
    ModalDialog::showError(nullptr, title, message, u"code 5"_s);
    QVERIFY(!open);
}

void tst_ModalDialog::helpersLeaveNothingBehind()
{
    QWidget parent;
    bool hadParent = false;
    onceOpen([&](ModalDialog &dialog, const Parts & /*parts*/) { hadParent = dialog.parentWidget() == &parent; });
    ModalDialog::confirm(&parent, title, message, QString());
    QVERIFY(hadParent);
    onceOpen([](ModalDialog & /*dialog*/, const Parts & /*parts*/) {});
    ModalDialog::showError(&parent, title, message, u"code 5"_s);
    QVERIFY(parent.children().isEmpty());
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_ModalDialog::longMessageWrapsAndHeightFollows_data()
{
    QTest::addColumn<int>("sentences");
    for (const int sentences : {3, 5, 9, 12, 15}) {
        QTest::addRow("%d sentences", sentences) << sentences;
    }
}

void tst_ModalDialog::longMessageWrapsAndHeightFollows()
{
    QFETCH(const int, sentences);
    ModalDialog brief(ModalDialog::Info, title, message);
    brief.show();
    QVERIFY(QTest::qWaitForWindowExposed(&brief));
    const int lineHeight = Parts(brief).message->height();

    ModalDialog dialog(ModalDialog::Info, title, u"The quick launcher checks every file. "_s.repeated(sentences));
    const Parts parts(dialog);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QCOMPARE(dialog.width(), 460);
    QCOMPARE(parts.message->width(), 460 - 56);
    const int needed = parts.message->heightForWidth(460 - 56);
    QVERIFY(needed > lineHeight);
    QCOMPARE(parts.message->height(), needed);
    QCOMPARE(dialog.height() - brief.height(), needed - lineHeight);
}

void tst_ModalDialog::longDetailsKeepTheirHeight()
{
    int height = 0;
    onceOpen([&height](ModalDialog & /*dialog*/, const Parts &parts) {
        QTest::mouseClick(parts.toggle, Qt::LeftButton);
        height = parts.details->height();
    });
    ModalDialog::showError(nullptr, title, message, u"line\n"_s.repeated(200));
    QCOMPARE(height, 110);
}

void tst_ModalDialog::bodyDragsTheDialog()
{
    ModalDialog dialog(ModalDialog::Info, title, message);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.move(100, 80);
    press(&dialog, {10, 12}, {110, 92});
    drag(&dialog, {150, 132});
    QCOMPARE(dialog.pos(), QPoint(140, 120));
    drag(&dialog, {90.6, 60.4}); // rounded before it counts
    QCOMPARE(dialog.pos(), QPoint(81, 48));
}

void tst_ModalDialog::labelsDragTheDialog()
{
    ModalDialog dialog(ModalDialog::Info, title, message);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.move(100, 80);
    QLabel *label = Parts(dialog).message;
    const QPoint local = label->rect().center();
    const QPoint global = label->mapToGlobal(local);
    press(label, local, global);
    drag(label, global + QPoint(25, -15));
    QCOMPARE(dialog.pos(), QPoint(125, 65));
}

void tst_ModalDialog::otherButtonsDoNotDrag()
{
    ModalDialog dialog(ModalDialog::Info, title, message);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.move(100, 80);
    press(&dialog, {10, 12}, {110, 92}, Qt::RightButton);
    drag(&dialog, {150, 132}, Qt::RightButton);
    QCOMPARE(dialog.pos(), QPoint(100, 80));
    drag(&dialog, {150, 132}, Qt::NoButton);
    QCOMPARE(dialog.pos(), QPoint(100, 80));
}

void tst_ModalDialog::anotherPressLeavesTheDragAsItIs()
{
    ModalDialog dialog(ModalDialog::Info, title, message);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.move(100, 80);
    press(&dialog, {10, 12}, {110, 92});
    press(&dialog, {60, 50}, {160, 130}, Qt::RightButton);
    drag(&dialog, {120, 100}, Qt::LeftButton | Qt::RightButton);
    QCOMPARE(dialog.pos(), QPoint(110, 88));
}

void tst_ModalDialog::mouseIsHandedOn()
{
    ModalDialog dialog(ModalDialog::Info, title, message);
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseMove}) {
        QMouseEvent event(type, QPointF(10, 12), QPointF(110, 92), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        event.accept();
        QCoreApplication::sendEvent(&dialog, &event);
        QVERIFY(!event.isAccepted()); // which is what a dialog itself makes of it
    }
}

void tst_ModalDialog::childrenThatTakeTheMouseDoNotDrag()
{
    ModalDialog dialog(ModalDialog::Info, title, message);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.move(100, 80);
    QPushButton *button = Parts(dialog).primary;
    const QPoint local = button->rect().center();
    const QPoint global = button->mapToGlobal(local);
    press(button, local, global);
    drag(button, global + QPoint(25, 15));
    QCOMPARE(dialog.pos(), QPoint(100, 80));
}

void tst_ModalDialog::keyboardGoesThroughItAsItIsSeen_data()
{
    addKinds();
}

/// From the top to the bottom, and in a line from the left to the right.
void tst_ModalDialog::keyboardGoesThroughItAsItIsSeen()
{
    QFETCH(const ModalDialog::Kind, kind);
    ModalDialog dialog(kind, title, message);
    const Parts parts(dialog);
    parts.toggle->show();
    parts.details->show();
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QVERIFY(parts.primary->hasFocus()); // whatever stands before it
    QList<QPoint> places;
    for (const QWidget *next = dialog.nextInFocusChain(); next != &dialog; next = next->nextInFocusChain()) {
        if (next->isVisible() && (next->focusPolicy() & Qt::TabFocus) != 0 && next->parentWidget() == &dialog) {
            places.append(next->geometry().center());
        }
    }
    QCOMPARE(places.size(), kind == ModalDialog::Confirm ? 4 : 3);
    const auto isBefore = [](QPoint a, QPoint b) { return a.y() != b.y() ? a.y() < b.y() : a.x() < b.x(); };
    QVERIFY(std::is_sorted(places.begin(), places.end(), isBefore));
}

void tst_ModalDialog::nothingIsPaintedAtRest()
{
    ModalDialog dialog(ModalDialog::Confirm, title, message);
    QCOMPARE(problemAtRest(dialog), QString());
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_ModalDialog>(argc, argv);
}

#include "tst_ModalDialog.moc"
