#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Motion.h"
#include "widgets/Accessible.h"
#include "widgets/ModalDialog.h"
#include "widgets/PrimaryButton.h"
#include "widgets/ProgressTrack.h"
#include "widgets/StatusBadge.h"

#include <QAccessible>
#include <QApplication>
#include <QPlainTextEdit>

using namespace Qt::Literals::StringLiterals;
using velmo::ServiceStatus;

namespace {

QAccessibleInterface *interfaceOf(QObject *object)
{
    return QAccessible::queryAccessibleInterface(object);
}

} // namespace

class tst_Accessible : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void primaryButtonIsAButton();
    void statusBadgeIsAnIndicatorOfItsWord();
    void progressTrackIsAProgressBar();
    void progressTrackHasNoValueWhileIndeterminate();
    void progressTrackIsReadOnly();
    void dialogIsADialogOfItsTitle();
    void dialogDetailsHaveAName();
};

void tst_Accessible::initTestCase()
{
    velmo::installAccessibility();
    const velmo::test::LogCapture quiet;
    velmo::theme::setAnimationsEnabled(false);
}

void tst_Accessible::primaryButtonIsAButton()
{
    velmo::PrimaryButton button;
    button.setText(u"PLAY"_s);
    QAccessibleInterface *accessible = interfaceOf(&button);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::Button);
    QCOMPARE(accessible->text(QAccessible::Name), u"PLAY"_s);
    QVERIFY(accessible->state().focusable);
    QVERIFY(!accessible->state().disabled);
    QVERIFY(accessible->actionInterface()->actionNames().contains(QAccessibleActionInterface::pressAction()));
    button.setBusy(true);
    QVERIFY(accessible->state().disabled);
}

void tst_Accessible::statusBadgeIsAnIndicatorOfItsWord()
{
    velmo::StatusBadge badge;
    QAccessibleInterface *accessible = interfaceOf(&badge);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::Indicator);
    QCOMPARE(accessible->text(QAccessible::Name), u"CONNECTING"_s);
    badge.setStatus(ServiceStatus::Degraded, u"One server is slow"_s);
    QCOMPARE(accessible->text(QAccessible::Name), u"DEGRADED"_s);
    QCOMPARE(accessible->text(QAccessible::Description), u"One server is slow"_s);
    badge.setStatus(ServiceStatus::Online, QString());
    QCOMPARE(accessible->text(QAccessible::Name), u"ONLINE"_s);
    QCOMPARE(badge.accessibleDescription(), QString());
}

void tst_Accessible::progressTrackIsAProgressBar()
{
    velmo::ProgressTrack track;
    track.setAccessibleName(u"Download"_s);
    QAccessibleInterface *accessible = interfaceOf(&track);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::ProgressBar);
    QCOMPARE(accessible->text(QAccessible::Name), u"Download"_s);
    QAccessibleValueInterface *value = accessible->valueInterface();
    QVERIFY(value);
    QCOMPARE(value->minimumValue(), QVariant(0.0));
    QCOMPARE(value->maximumValue(), QVariant(1.0));
    QCOMPARE(value->currentValue(), QVariant(0.0));
    track.setFraction(0.426);
    QCOMPARE(value->currentValue(), QVariant(0.426));
    QCOMPARE(accessible->text(QAccessible::Value), u"43%"_s);
    QVERIFY(!accessible->state().busy);
}

void tst_Accessible::progressTrackHasNoValueWhileIndeterminate()
{
    velmo::ProgressTrack track;
    track.setFraction(0.5);
    track.setIndeterminate(true);
    QAccessibleInterface *accessible = interfaceOf(&track);
    QVERIFY(accessible->state().busy);
    QVERIFY(!accessible->valueInterface()->currentValue().isValid());
    QCOMPARE(accessible->text(QAccessible::Value), QString());
    track.setIndeterminate(false);
    QCOMPARE(accessible->text(QAccessible::Value), u"50%"_s);
}

void tst_Accessible::progressTrackIsReadOnly()
{
    velmo::ProgressTrack track;
    QAccessibleInterface *accessible = interfaceOf(&track);
    QVERIFY(accessible->state().readOnly);
    accessible->valueInterface()->setCurrentValue(0.9);
    QCOMPARE(track.fraction(), 0.0);
    QVERIFY(!accessible->valueInterface()->minimumStepSize().isValid());
}

void tst_Accessible::dialogIsADialogOfItsTitle()
{
    velmo::ModalDialog dialog(velmo::ModalDialog::Confirm, u"Remove the game?"_s, u"It can be installed again."_s);
    QAccessibleInterface *accessible = interfaceOf(&dialog);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::Dialog);
    QCOMPARE(accessible->text(QAccessible::Name), u"Remove the game?"_s);
}

void tst_Accessible::dialogDetailsHaveAName()
{
    const velmo::ModalDialog dialog(velmo::ModalDialog::Error, u"Failed"_s, u"It failed."_s);
    QAccessibleInterface *accessible = interfaceOf(dialog.findChild<QPlainTextEdit *>());
    QVERIFY(accessible);
    QCOMPARE(accessible->text(QAccessible::Name), u"Technical details"_s);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Accessible, QApplication>(argc, argv);
}

#include "tst_Accessible.moc"
