#include "PageProbe.h"

#include "support/TestFiles.h"
#include "theme/Stylesheet.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

template<typename Widget>
Widget *onlyOneReading(const QWidget &root, const QString &text)
{
    Widget *found = nullptr;
    const QList<Widget *> candidates = root.findChildren<Widget *>();
    for (Widget *candidate : candidates) {
        if (candidate->text() != text) {
            continue;
        }
        if (found) {
            return nullptr;
        }
        found = candidate;
    }
    return found;
}

QString lookText(const QFont &font, const QString &styleSheet)
{
    return u"%1 | %2 | %3 %4 | %5"_s.arg(font.family(), QString::number(font.pixelSize()),
                                         QString::number(font.weight()), QString::number(font.letterSpacing()),
                                         styleSheet);
}

QString wordFor(QLayoutItem *item, int stretch)
{
    if (const QSpacerItem *spacer = item->spacerItem()) {
        return stretch > 0 ? u"stretch %1"_s.arg(stretch)
                           : u"gap %1"_s.arg(qMax(spacer->sizeHint().width(), spacer->sizeHint().height()));
    }
    if (item->layout()) {
        return u"row"_s;
    }
    if (const auto *label = qobject_cast<QLabel *>(item->widget())) {
        return label->text();
    }
    if (const auto *button = qobject_cast<QAbstractButton *>(item->widget())) {
        return button->text();
    }
    return QString::fromLatin1(item->widget()->metaObject()->className());
}

} // namespace

void writeGameProfile(const QJsonObject &profile)
{
    writeFile(QDir(QCoreApplication::applicationDirPath()).filePath(u"game.json"_s), QJsonDocument(profile).toJson());
}

QLabel *labelReading(const QWidget &root, const QString &text)
{
    return onlyOneReading<QLabel>(root, text);
}

QPushButton *buttonReading(const QWidget &root, const QString &text)
{
    return onlyOneReading<QPushButton>(root, text);
}

QLabel *emptyNewsLabel(const QWidget &page)
{
    return labelReading(page, u"There is nothing to show yet.\nNews will appear here once the launcher can reach the "
                              "Velmo Games servers."_s);
}

QString look(const QLabel &label)
{
    const QString text = lookText(label.font(), label.styleSheet());
    return label.textFormat() == Qt::PlainText ? text : text + u" | may be markup"_s;
}

QString plainLook(const QFont &font, const QColor &color)
{
    return lookText(font, theme::colorRule(color));
}

QStringList itemsOf(const QBoxLayout &layout)
{
    QStringList words;
    for (int i = 0; i < layout.count(); ++i) {
        words.append(wordFor(layout.itemAt(i), layout.stretch(i)));
    }
    return words;
}

UrlCatcher::UrlCatcher(const QStringList &schemes)
    : schemes_(schemes)
{
    for (const QString &scheme : schemes_) {
        QDesktopServices::setUrlHandler(scheme, this, "take");
    }
}

UrlCatcher::~UrlCatcher()
{
    for (const QString &scheme : schemes_) {
        QDesktopServices::unsetUrlHandler(scheme);
    }
}

void UrlCatcher::take(const QUrl &url)
{
    urls_.append(url);
}

} // namespace velmo::test
