#include "widgets/SettingRow.h"

#include "support/PixelTest.h"
#include "theme/Fonts.h"

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

/// A row of the settings page's width with its labels at hand.
struct Fixture {
    explicit Fixture(const QString &description = u"What it does."_s)
        : row(u"A setting"_s, description)
        , labels(row.findChildren<QLabel *>())
    {
        Q_ASSERT(labels.size() == 3);
        row.resize(700, row.sizeHint().height());
    }

    QLabel *with(const QString &text) const
    {
        for (QLabel *label : labels) {
            if (label->text() == text) {
                return label;
            }
        }
        qFatal("No label %s", qPrintable(text));
    }

    SettingRow row;
    QList<QLabel *> labels;
};

/// The letters and signs of \a text in an order of their own: lines and runs come in whichever the script has.
QString letters(QString text)
{
    text.removeIf([](QChar sign) { return sign.isSpace(); });
    std::sort(text.begin(), text.end());
    return text;
}

} // namespace

class tst_SettingRow : public PixelTest {
    Q_OBJECT

private slots:
    void rowHasItsMarginsAndPolicy();
    void labelsHaveTheirFontsAndColours();
    void textsStandBelowEachOther();
    void emptyDescriptionMakesALowerRow();
    void controlStandsAtTheRight();
    void controlBelongsToTheRowAndIsNamedByIt();
    void controlWithPartsIsNamedItself();
    void groupIsNamedAtWhatThePlayerUses();
    void groupWithoutFocusIsNamedItself();
    void labelAsControlKeepsItsValue();
    void noControlIsNoControl();
    void plannedRowIsTaggedAndDisabled();
    void tagStandsBesideTheLabel();
    void plannedBeforeTheControlLeavesItEnabled();
    void noLongerPlannedKeepsItsToolTip();
    void hairlineRunsBelow();
    void rowHasNoGroundOfItsOwn();
    void anyTextIsShownAsItIs_data();
    void anyTextIsShownAsItIs();
};

void tst_SettingRow::rowHasItsMarginsAndPolicy()
{
    const Fixture f;
    QCOMPARE(f.row.sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed));
    QCOMPARE(f.row.layout()->contentsMargins(), QMargins(0, 14, 0, 14));
    QCOMPARE(f.row.layout()->spacing(), 24);
    const auto *texts = qobject_cast<QVBoxLayout *>(f.row.layout()->itemAt(0)->layout());
    QCOMPARE(texts->spacing(), 3);
    QCOMPARE(qobject_cast<QHBoxLayout *>(f.row.layout())->stretch(0), 1);
    QCOMPARE(texts->itemAt(0)->layout()->spacing(), 8);
}

void tst_SettingRow::labelsHaveTheirFontsAndColours()
{
    const Fixture f;
    const QLabel *label = f.with(u"A setting"_s);
    QCOMPARE(label->font(), theme::bodyFont(13, 600));
    QCOMPARE(label->styleSheet(), u"color: #e8ebf0;"_s);
    const QLabel *tag = f.with(u"Planned"_s);
    QCOMPARE(tag->font(), theme::displayFont(9, 600, 1.4));
    QCOMPARE(tag->styleSheet(), u"color: #677181; border: 1px solid #677181; border-radius: 7px; padding: 1px 7px;"_s);
    QVERIFY(tag->isHidden());
    const QLabel *description = f.with(u"What it does."_s);
    QCOMPARE(description->font(), theme::bodyFont(12, 400));
    QCOMPARE(description->styleSheet(), u"color: #9aa4b4;"_s);
    QVERIFY(description->wordWrap());
    QVERIFY(!description->isHidden());
}

void tst_SettingRow::textsStandBelowEachOther()
{
    Fixture f;
    f.row.show();
    const QLabel *label = f.with(u"A setting"_s);
    const QLabel *description = f.with(u"What it does."_s);
    QCOMPARE(label->x(), 0);
    QCOMPARE(label->y(), 14);
    QCOMPARE(description->x(), 0);
    QCOMPARE(description->y(), label->y() + label->height() + 3);
    QCOMPARE(f.row.height(), description->y() + description->height() + 14);
}

void tst_SettingRow::emptyDescriptionMakesALowerRow()
{
    const Fixture with;
    const Fixture without{QString()};
    QVERIFY(without.with(QString())->isHidden());
    QVERIFY(without.row.sizeHint().height() < with.row.sizeHint().height());
    QCOMPARE(without.row.sizeHint().height(), 28 + without.with(u"A setting"_s)->sizeHint().height());
}

void tst_SettingRow::controlStandsAtTheRight()
{
    Fixture f;
    auto *button = new QPushButton(u"Do it"_s);
    f.row.setControl(button);
    f.row.resize(700, 100);
    f.row.show();
    QCOMPARE(button->x() + button->width(), 700);
    QCOMPARE(button->width(), button->sizeHint().width());
    QVERIFY(std::abs(2 * button->y() + button->height() - 100) <= 1);
    const QLabel *description = f.with(u"What it does."_s);
    QCOMPARE(description->x() + description->width(), button->x() - 24);
}

void tst_SettingRow::controlBelongsToTheRowAndIsNamedByIt()
{
    Fixture f;
    QWidget elsewhere;
    auto *box = new QCheckBox(&elsewhere);
    f.row.setControl(box);
    QCOMPARE(box->parentWidget(), &f.row);
    QCOMPARE(box->accessibleName(), u"A setting"_s);
}

void tst_SettingRow::controlWithPartsIsNamedItself()
{
    Fixture f;
    auto *box = new QComboBox;
    box->setEditable(true);
    f.row.setControl(box);
    QCOMPARE(box->accessibleName(), u"A setting"_s);
    QCOMPARE(box->lineEdit()->accessibleName(), QString());
}

void tst_SettingRow::groupIsNamedAtWhatThePlayerUses()
{
    Fixture f;
    auto *group = new QWidget;
    auto *line = new QHBoxLayout(group);
    line->addWidget(new QLabel(u"in"_s, group));
    auto *edit = new QLineEdit(group);
    auto *button = new QPushButton(u"Browse"_s, group);
    line->addWidget(edit);
    line->addWidget(button);
    f.row.setControl(group);
    QCOMPARE(edit->accessibleName(), u"A setting"_s);
    QCOMPARE(group->accessibleName(), QString());
    QCOMPARE(button->accessibleName(), QString()); // its own text says more
}

void tst_SettingRow::groupWithoutFocusIsNamedItself()
{
    Fixture f;
    auto *group = new QWidget;
    auto *inner = new QWidget(group);
    f.row.setControl(group);
    QCOMPARE(group->accessibleName(), u"A setting"_s);
    QCOMPARE(inner->accessibleName(), QString());
}

void tst_SettingRow::labelAsControlKeepsItsValue()
{
    Fixture f;
    auto *label = new QLabel(u"150%"_s);
    f.row.setControl(label);
    const QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(label);
    QCOMPARE(accessible->text(QAccessible::Name), u"150%"_s);
    QCOMPARE(accessible->text(QAccessible::Description), u"A setting"_s);
}

void tst_SettingRow::noControlIsNoControl()
{
    Fixture f;
    f.row.setControl(nullptr);
    QCOMPARE(f.row.layout()->count(), 1);
    f.row.setPlanned(true);
    QVERIFY(!f.with(u"Planned"_s)->isHidden());
}

void tst_SettingRow::plannedRowIsTaggedAndDisabled()
{
    Fixture f;
    auto *box = new QCheckBox;
    f.row.setControl(box);
    f.row.setPlanned(true);
    QVERIFY(!f.with(u"Planned"_s)->isHidden());
    QVERIFY(!box->isEnabled());
    QCOMPARE(f.row.toolTip(), u"Not implemented yet."_s);
    QVERIFY(f.row.isEnabled());
}

void tst_SettingRow::tagStandsBesideTheLabel()
{
    Fixture f;
    f.row.setControl(new QCheckBox);
    f.row.setPlanned(true);
    f.row.resize(700, f.row.sizeHint().height());
    f.row.show();
    const QLabel *label = f.with(u"A setting"_s);
    const QLabel *tag = f.with(u"Planned"_s);
    QCOMPARE(label->x(), 0);
    QCOMPARE(label->width(), label->sizeHint().width()); // the rest of the line is empty
    QCOMPARE(tag->x(), label->width() + 8);
    QCOMPARE(tag->width(), tag->sizeHint().width());
    QVERIFY(std::abs(2 * tag->y() + tag->height() - 2 * label->y() - label->height()) <= 1);
    const auto *title = f.row.layout()->itemAt(0)->layout()->itemAt(0)->layout();
    QCOMPARE(title->count(), 3);
    QVERIFY(title->itemAt(2)->spacerItem());
}

void tst_SettingRow::plannedBeforeTheControlLeavesItEnabled()
{
    Fixture f;
    f.row.setPlanned(true);
    auto *box = new QCheckBox;
    f.row.setControl(box);
    QVERIFY(box->isEnabled());
}

void tst_SettingRow::noLongerPlannedKeepsItsToolTip()
{
    Fixture f;
    auto *box = new QCheckBox;
    f.row.setControl(box);
    f.row.setPlanned(false);
    QCOMPARE(f.row.toolTip(), QString());
    f.row.setPlanned(true);
    f.row.setPlanned(false);
    QVERIFY(f.with(u"Planned"_s)->isHidden());
    QVERIFY(box->isEnabled());
    QCOMPARE(f.row.toolTip(), u"Not implemented yet."_s);
}

void tst_SettingRow::hairlineRunsBelow()
{
    Fixture f(u""_s);
    f.with(u"A setting"_s)->hide();
    f.row.resize(700, 60);
    QImage expected = canvas(f.row);
    QPainter painter(&expected);
    painter.setPen(QColor(0x20, 0x27, 0x33));
    painter.drawLine(0, 59, 700, 59);
    painter.end();
    QCOMPARE(mismatch(snapshot(f.row), expected), QString());
}

void tst_SettingRow::rowHasNoGroundOfItsOwn()
{
    Fixture f;
    const QColor ground(10, 200, 30);
    const QImage image = snapshot(f.row, ground);
    QCOMPARE(colorAt(image, QPointF(690, 5)), ground);
    QCOMPARE(colorAt(image, QPointF(350, 12)), ground);
}

void tst_SettingRow::anyTextIsShownAsItIs_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("markup") << u"<h1>Big</h1> <img src='x'> & <b>bold</b>"_s;
    QTest::newRow("right to left") << u"שלום עולם العربية"_s;
    QTest::newRow("emoji") << u"🕯🌲🌫"_s;
    QTest::newRow("huge") << QString(10000, u'w');
}

void tst_SettingRow::anyTextIsShownAsItIs()
{
    QFETCH(const QString, text);
    SettingRow row(text, text);
    row.setControl(new QCheckBox);
    row.resize(700, row.sizeHint().height());
    int shown = 0;
    const QList<QLabel *> labels = row.findChildren<QLabel *>();
    for (const QLabel *label : labels) {
        if (label->text() == text) {
            QCOMPARE(label->textFormat(), Qt::PlainText);
            ++shown;
        }
    }
    QCOMPARE(shown, 2);
    QCOMPARE(letters(drawnText(row)), letters(text + text));
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_SettingRow>(argc, argv);
}

#include "tst_SettingRow.moc"
