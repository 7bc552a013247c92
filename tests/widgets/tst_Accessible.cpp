#include "data/GameProfile.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Motion.h"
#include "widgets/Accessible.h"
#include "widgets/ChannelPopup.h"
#include "widgets/ChannelSelector.h"
#include "widgets/LogoView.h"
#include "widgets/ModalDialog.h"
#include "widgets/NewsCard.h"
#include "widgets/PrimaryButton.h"
#include "widgets/ProgressTrack.h"
#include "widgets/StatusBadge.h"

#include <QAccessible>
#include <QApplication>
#include <QPlainTextEdit>
#include <QPointer>
#include <QSignalSpy>

using namespace Qt::Literals::StringLiterals;
using velmo::ServiceStatus;

namespace {

QAccessibleInterface *interfaceOf(QObject *object)
{
    return QAccessible::queryAccessibleInterface(object);
}

void press(QAccessibleInterface *accessible)
{
    accessible->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
}

} // namespace

class tst_Accessible : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void primaryButtonIsAButton();
    void statusBadgeIsATextOfItsWord();
    void progressTrackIsAProgressBar();
    void progressTrackHasNoValueWhileIndeterminate();
    void progressTrackIsReadOnly();
    void cardIsAButtonOfItsTitle();
    void pressedCardIsActivated();
    void disabledCardIsNotActivated();
    void pressDoesNotPassAnOpenDialog();
    void pressWithinTheDialogArrives();
    void cardTakesTheFocusWhenAsked();
    void selectorIsAButtonThatOpensAList();
    void openListHangsBelowItsBox();
    void pressedRowChoosesItsBranch();
    void closedListHearsNoSecondPress();
    void activeRowIsChecked();
    void logoIsAGraphic();
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

void tst_Accessible::statusBadgeIsATextOfItsWord()
{
    velmo::StatusBadge badge;
    QAccessibleInterface *accessible = interfaceOf(&badge);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::StaticText);
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

void tst_Accessible::cardIsAButtonOfItsTitle()
{
    velmo::NewsArticle article;
    article.title = u"Lanterns"_s;
    article.summary = u"They burn longer."_s;
    velmo::NewsCard card(article, true);
    QAccessibleInterface *accessible = interfaceOf(&card);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::Button);
    QCOMPARE(accessible->text(QAccessible::Name), u"Lanterns"_s);
    QCOMPARE(accessible->text(QAccessible::Description), u"They burn longer."_s);
    QVERIFY(accessible->actionInterface()->actionNames().contains(QAccessibleActionInterface::pressAction()));
}

void tst_Accessible::pressedCardIsActivated()
{
    velmo::NewsArticle article;
    article.id = u"lanterns"_s;
    velmo::NewsCard card(article, false);
    card.show();
    QSignalSpy activated(&card, &velmo::NewsCard::activated);
    interfaceOf(&card)->actionInterface()->doAction(QAccessibleActionInterface::increaseAction());
    press(interfaceOf(&card));
    QCOMPARE(activated.size(), 0); // the reader has its answer first
    QVERIFY(activated.wait());
    QCOMPARE(activated, QList<QVariantList>{{u"lanterns"_s}});
}

void tst_Accessible::disabledCardIsNotActivated()
{
    velmo::NewsCard card({}, false);
    card.show();
    card.setEnabled(false);
    const QSignalSpy activated(&card, &velmo::NewsCard::activated);
    press(interfaceOf(&card));
    QCoreApplication::processEvents();
    QCOMPARE(activated.size(), 0);
}

void tst_Accessible::pressDoesNotPassAnOpenDialog()
{
    velmo::NewsCard card({}, false);
    card.show();
    QSignalSpy activated(&card, &velmo::NewsCard::activated);
    velmo::ModalDialog dialog(velmo::ModalDialog::Confirm, u"Remove the game?"_s, QString());
    dialog.show();
    QCOMPARE(QApplication::activeModalWidget(), &dialog);
    press(interfaceOf(&card));
    QCoreApplication::processEvents();
    QCOMPARE(activated.size(), 0);
    dialog.reject();
    press(interfaceOf(&card));
    QVERIFY(activated.wait());
    QCOMPARE(activated.size(), 1);
}

void tst_Accessible::pressWithinTheDialogArrives()
{
    velmo::ModalDialog dialog(velmo::ModalDialog::Confirm, u"Which branch?"_s, QString());
    velmo::ChannelSelector selector(&dialog);
    dialog.show();
    QCOMPARE(QApplication::activeModalWidget(), &dialog);
    press(interfaceOf(&selector));
    QTRY_VERIFY(selector.popup()); // a window of its own, which belongs to the dialog
    QSignalSpy selected(&selector, &velmo::ChannelSelector::channelSelected);
    press(interfaceOf(&selector)->child(0)->child(0));
    QVERIFY(selected.wait());
}

void tst_Accessible::cardTakesTheFocusWhenAsked()
{
    velmo::NewsCard card({}, false);
    card.show();
    QVERIFY(QTest::qWaitForWindowActive(&card));
    card.clearFocus();
    QAccessibleActionInterface *actions = interfaceOf(&card)->actionInterface();
    QVERIFY(actions->actionNames().contains(QAccessibleActionInterface::setFocusAction()));
    actions->doAction(QAccessibleActionInterface::setFocusAction());
    QVERIFY(card.hasFocus());
}

void tst_Accessible::selectorIsAButtonThatOpensAList()
{
    velmo::ChannelSelector selector;
    selector.setAccessibleName(u"Build branch"_s);
    selector.show();
    QAccessibleInterface *accessible = interfaceOf(&selector);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::ButtonMenu);
    QCOMPARE(accessible->text(QAccessible::Name), u"Build branch"_s);
    QCOMPARE(accessible->text(QAccessible::Description), selector.shownName());
    QVERIFY(accessible->state().hasPopup && accessible->state().expandable);
    QVERIFY(accessible->state().collapsed && !accessible->state().expanded);
    QCOMPARE(accessible->childCount(), 0);
    press(accessible);
    QTRY_VERIFY(selector.popup());
    QVERIFY(accessible->state().expanded && !accessible->state().collapsed);
}

void tst_Accessible::openListHangsBelowItsBox()
{
    velmo::ChannelSelector selector;
    selector.show();
    QAccessibleInterface *box = interfaceOf(&selector);
    QVERIFY(!box->child(0));
    press(box);
    QTRY_VERIFY(selector.popup());
    QCOMPARE(box->childCount(), 1);
    QAccessibleInterface *list = box->child(0);
    QVERIFY(list);
    QVERIFY(!box->child(1));
    QCOMPARE(list->role(), QAccessible::PopupMenu);
    QCOMPARE(list->text(QAccessible::Name), u"Build branch"_s);
    QCOMPARE(list->parent(), box);
    QCOMPARE(box->indexOfChild(list), 0);
    QCOMPARE(box->indexOfChild(box), -1);
    const QList<velmo::GameChannel> channels = velmo::gameProfile().channels;
    QCOMPARE(list->childCount(), channels.size());
    for (int i = 0; i < list->childCount(); ++i) {
        QCOMPARE(list->child(i)->role(), QAccessible::MenuItem);
        QCOMPARE(list->child(i)->text(QAccessible::Name), channels.at(i).name);
        QCOMPARE(list->child(i)->text(QAccessible::Description), channels.at(i).description);
    }
}

void tst_Accessible::pressedRowChoosesItsBranch()
{
    velmo::ChannelSelector selector;
    selector.show();
    QSignalSpy selected(&selector, &velmo::ChannelSelector::channelSelected);
    const QList<velmo::GameChannel> channels = velmo::gameProfile().channels;
    for (int i = 0; i < channels.size(); ++i) {
        press(interfaceOf(&selector));
        QTRY_VERIFY(selector.popup());
        press(interfaceOf(&selector)->child(0)->child(i));
        QVERIFY(selected.wait());
        QCOMPARE(selected.takeFirst(), QVariantList{channels.at(i).id});
        QTRY_VERIFY(!selector.popup());
        QCOMPARE(interfaceOf(&selector)->childCount(), 0);
    }
}

void tst_Accessible::closedListHearsNoSecondPress()
{
    velmo::ChannelSelector selector;
    selector.show();
    const QSignalSpy selected(&selector, &velmo::ChannelSelector::channelSelected);
    press(interfaceOf(&selector));
    QTRY_VERIFY(selector.popup());
    QAccessibleInterface *row = interfaceOf(&selector)->child(0)->child(0);
    press(row);
    press(row); // the first one ends the list
    QTRY_VERIFY(!selector.popup());
    QCOMPARE(selected.size(), 1);
}

void tst_Accessible::activeRowIsChecked()
{
    const QList<velmo::GameChannel> channels = velmo::gameProfile().channels;
    QVERIFY(channels.size() > 1);
    velmo::ChannelPopup popup(
        channels.at(1).id, [](const QString &) {}, nullptr);
    for (int i = 0; i < channels.size(); ++i) {
        const QAccessible::State state = interfaceOf(&popup)->child(i)->state();
        QVERIFY(state.checkable);
        QCOMPARE(bool(state.checked), i == 1);
    }
}

void tst_Accessible::logoIsAGraphic()
{
    velmo::LogoView logo;
    logo.setAccessibleName(u"Velmo Games"_s);
    QAccessibleInterface *accessible = interfaceOf(&logo);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::Graphic);
    QCOMPARE(accessible->text(QAccessible::Name), u"Velmo Games"_s);
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
