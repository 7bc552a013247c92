#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/TestEnvironment.h"
#include "theme/Motion.h"
#include "widgets/Accessible.h"
#include "widgets/ChannelPopup.h"
#include "widgets/ChannelSelector.h"
#include "widgets/ProgressTrack.h"

#include <QAccessible>
#include <QApplication>

using namespace Qt::Literals::StringLiterals;
using velmo::ProgressTrack;

namespace {

/// Keeps what is announced to assistive technology while it lives, one text for each event.
class Announcements {
public:
    Announcements()
        : older_(QAccessible::installUpdateHandler(hear))
    {
        heard.clear();
    }
    ~Announcements() { QAccessible::installUpdateHandler(older_); }
    Q_DISABLE_COPY_MOVE(Announcements)

    static inline QStringList heard;

private:
    static void hear(QAccessibleEvent *event)
    {
        if (event->type() == QAccessible::ValueChanged) {
            heard.append(u"value %1"_s.arg(static_cast<QAccessibleValueChangeEvent *>(event)->value().toDouble()));
        } else if (event->type() == QAccessible::StateChanged &&
                   static_cast<QAccessibleStateChangeEvent *>(event)->changedStates().busy) {
            heard.append(event->accessibleInterface()->state().busy ? u"busy"_s : u"not busy"_s);
        } else if (event->type() == QAccessible::StateChanged) {
            const QAccessible::State changed = static_cast<QAccessibleStateChangeEvent *>(event)->changedStates();
            if (changed.expanded && changed.collapsed) {
                heard.append(event->accessibleInterface()->state().expanded ? u"expanded"_s : u"collapsed"_s);
            }
        }
    }

    QAccessible::UpdateHandler older_;
};

} // namespace

/// What the widgets announce of themselves, which they do only where somebody listens: below with-accessibility.
class tst_Announcements : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void trackAnnouncesItsValue();
    void trackAnnouncesThatItIsBusy();
    void selectorAnnouncesThatItsListOpensAndCloses();
};

void tst_Announcements::initTestCase()
{
    velmo::installAccessibility();
    const velmo::test::LogCapture quiet;
    velmo::theme::setAnimationsEnabled(false);
    QWidget window;
    window.show();
    QTRY_VERIFY2(QAccessible::isActive(), "this test needs an accessibility bus");
}

void tst_Announcements::trackAnnouncesItsValue()
{
    ProgressTrack track;
    const Announcements announcements;
    track.setFraction(0.25);
    track.setFraction(0.25);
    track.setFraction(0.75);
    track.setFraction(0.5);
    QCOMPARE(Announcements::heard, QStringList({u"value 0.25"_s, u"value 0.75"_s, u"value 0.5"_s}));
}

void tst_Announcements::trackAnnouncesThatItIsBusy()
{
    ProgressTrack track;
    const Announcements announcements;
    track.setFraction(0.25);
    track.setIndeterminate(true);
    track.setIndeterminate(true);
    track.setFraction(0.5); // which its interface does not tell either
    QCOMPARE(Announcements::heard, QStringList({u"value 0.25"_s, u"busy"_s}));
    track.setIndeterminate(false);
    QCOMPARE(Announcements::heard.sliced(2), QStringList({u"not busy"_s, u"value 0.5"_s}));
}

void tst_Announcements::selectorAnnouncesThatItsListOpensAndCloses()
{
    velmo::ChannelSelector selector;
    selector.show();
    const Announcements announcements;
    QTest::mouseClick(&selector, Qt::LeftButton);
    QCOMPARE(Announcements::heard, QStringList({u"expanded"_s}));
    selector.popup()->close();
    QTRY_VERIFY(!selector.popup());
    QCOMPARE(Announcements::heard, QStringList({u"expanded"_s, u"collapsed"_s}));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Announcements, QApplication>(argc, argv);
}

#include "tst_Announcements.moc"
