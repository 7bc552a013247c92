// A style sheet whose tokens are replaced.

#include "theme/Stylesheet.h"
#include "Target.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"

#include <QGuiApplication>
#include <QMap>

using namespace Qt::Literals::StringLiterals;

namespace color = velmo::theme::color;

namespace {

const QMap<QString, QString> &values()
{
    static const QMap<QString, QString> table = {
        {u"@ink"_s, color::ink.name()},
        {u"@panel"_s, color::panel.name()},
        {u"@panelRaised"_s, color::panelRaised.name()},
        {u"@panelSunken"_s, color::panelSunken.name()},
        {u"@border"_s, color::border.name()},
        {u"@borderStrong"_s, color::borderStrong.name()},
        {u"@text"_s, color::text.name()},
        {u"@textMuted"_s, color::textMuted.name()},
        {u"@textDim"_s, color::textDim.name()},
        {u"@accent"_s, color::accent.name()},
        {u"@accentBright"_s, color::accentBright.name()},
        {u"@accentDim"_s, color::accentDim.name()},
        {u"@action"_s, color::action.name()},
        {u"@actionHover"_s, color::actionHover.name()},
        {u"@online"_s, color::online.name()},
        {u"@warning"_s, color::warning.name()},
        {u"@danger"_s, color::danger.name()},
        {u"@dangerHover"_s, color::dangerHover.name()},
        {u"@displayFamily"_s, velmo::theme::displayFamily()},
        {u"@bodyFamily"_s, velmo::theme::bodyFamily()},
        {u"@monoFamily"_s, velmo::theme::monoFamily()},
    };
    return table;
}

/// The longest token that \a text begins with; empty when there is none.
QString tokenAt(QStringView text)
{
    QString longest;
    const QStringList tokens = values().keys();
    for (const QString &token : tokens) {
        if (text.startsWith(token) && token.size() > longest.size()) {
            longest = token;
        }
    }
    return longest;
}

/// In one pass from the left, each time by the longest token: what replacing one token after the other has to give.
QString expanded(const QString &text)
{
    QString result;
    for (qsizetype at = 0; at < text.size();) {
        const QString token = text.at(at) == u'@' ? tokenAt(QStringView(text).sliced(at)) : QString();
        result += token.isEmpty() ? QString(text.at(at)) : values().value(token);
        at += token.isEmpty() ? 1 : token.size();
    }
    return result;
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    makeApplication<QGuiApplication>();
    const QString text = QString::fromUtf8(input);
    const QString result = theme::expandTokens(text);
    require(result == expanded(text), "every token becomes its value, and nothing else changes");
    require(theme::expandTokens(result) == result, "no value holds a token");
}
