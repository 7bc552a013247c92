#include "widgets/RoleButton.h"

#include "support/PixelTest.h"
#include "theme/Palette.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
namespace theme = velmo::theme;

namespace {

const QColor panel(0x12, 0x17, 0x1f);
const QColor light(0xe8, 0xeb, 0xf0);
const QColor dark(0x0b, 0x0e, 0x14);

/// Three buttons on a ground of the launcher's, shown in an active window.
struct Fixture {
    Fixture()
    {
        auto *row = new QHBoxLayout(&window);
        for (QPushButton *button : {secondary, danger, link}) {
            row->addWidget(button);
        }
        elsewhere->setFocusPolicy(Qt::StrongFocus);
        row->addWidget(elsewhere);
        window.show();
        window.activateWindow();
    }

    bool isActive() { return QTest::qWaitForWindowActive(&window); }
    QPushButton *of(const QString &role) const
    {
        return role == u"secondary" ? secondary : role == u"danger" ? danger : link;
    }

    QWidget window;
    QPushButton *secondary = velmo::makeRoleButton(u"Cancel"_s, u"secondary"_s, &window);
    QPushButton *danger = velmo::makeRoleButton(u"Reset"_s, u"danger"_s, &window);
    QPushButton *link = velmo::makeRoleButton(u"Show technical details"_s, u"link"_s, &window);
    QWidget *elsewhere = new QWidget(&window);
};

/// \a look with a ring of \a ringColor inside \a rect.
QImage ringed(QImage look, const QRect &rect, const QColor &ringColor)
{
    QPainter painter(&look);
    painter.setPen(theme::withAlpha(ringColor, 0.5));
    painter.drawRect(rect);
    return look;
}

void addRoles()
{
    QTest::addColumn<QString>("role");
    QTest::newRow("secondary") << u"secondary"_s;
    QTest::newRow("danger") << u"danger"_s;
    QTest::newRow("link") << u"link"_s;
}

} // namespace

class tst_RoleButton : public PixelTest {
    Q_OBJECT

private slots:
    void buttonHasItsRoleAndBelongsToItsParent_data();
    void buttonHasItsRoleAndBelongsToItsParent();
    void focusIsSeen_data();
    void focusIsSeen();
    void focusIsSeenWhileHeldDownOrUnderThePointer_data();
    void focusIsSeenWhileHeldDownOrUnderThePointer();
    void focusMovesTheRing();
};

void tst_RoleButton::buttonHasItsRoleAndBelongsToItsParent_data()
{
    addRoles();
}

void tst_RoleButton::buttonHasItsRoleAndBelongsToItsParent()
{
    QFETCH(const QString, role);
    QWidget parent;
    const QPushButton *button = velmo::makeRoleButton(u"Do it"_s, role, &parent);
    QCOMPARE(button->text(), u"Do it"_s);
    QCOMPARE(button->property("role").toString(), role);
    QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
    QCOMPARE(button->parentWidget(), &parent);
    QVERIFY(button->styleSheet().isEmpty());
}

void tst_RoleButton::focusIsSeen_data()
{
    addRoles();
}

void tst_RoleButton::focusIsSeen()
{
    QFETCH(const QString, role);
    Fixture f;
    QVERIFY(f.isActive());
    QPushButton *button = f.of(role);
    f.elsewhere->setFocus();
    const QImage without = snapshot(*button, panel);
    button->setFocus();
    QVERIFY(button->hasFocus());
    const QRect inside(3, 3, button->width() - 7, button->height() - 7);
    const QRect around(0, 0, button->width() - 1, button->height() - 1);
    QCOMPARE(mismatch(snapshot(*button, panel), ringed(without, role == u"link" ? around : inside, light)), QString());
}

void tst_RoleButton::focusIsSeenWhileHeldDownOrUnderThePointer_data()
{
    QTest::addColumn<QString>("role");
    QTest::addColumn<QColor>("ring");
    QTest::addColumn<bool>("heldDown");
    QTest::newRow("held down, dark on the light fill") << u"secondary"_s << dark << true;
    QTest::newRow("held down, light on the dark fill") << u"danger"_s << light << true;
    QTest::newRow("under the pointer, dark on the light fill") << u"secondary"_s << dark << false;
    QTest::newRow("under the pointer, light on the dark fill") << u"danger"_s << light << false;
}

void tst_RoleButton::focusIsSeenWhileHeldDownOrUnderThePointer()
{
    QFETCH(const QString, role);
    QFETCH(const QColor, ring);
    QFETCH(const bool, heldDown);
    Fixture f;
    QVERIFY(f.isActive());
    QPushButton *button = f.of(role);
    f.elsewhere->setFocus();
    button->setDown(heldDown);
    button->setAttribute(Qt::WA_UnderMouse, !heldDown);
    const QImage without = snapshot(*button, panel);
    button->setFocus();
    QVERIFY(button->hasFocus());
    QCOMPARE(button->isDown(), heldDown);
    const QRect inside(3, 3, button->width() - 7, button->height() - 7);
    QCOMPARE(mismatch(snapshot(*button, panel), ringed(without, inside, ring)), QString());
}

void tst_RoleButton::focusMovesTheRing()
{
    Fixture f;
    QVERIFY(f.isActive());
    f.secondary->setFocus();
    QCoreApplication::processEvents();
    PaintCounter left(f.secondary);
    PaintCounter reached(f.danger);
    f.danger->setFocus();
    QTRY_VERIFY(left.count() > 0 && reached.count() > 0);
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_RoleButton>(argc, argv);
}

#include "tst_RoleButton.moc"
