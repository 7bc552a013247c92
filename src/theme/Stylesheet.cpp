#include "theme/Stylesheet.h"

#include "core/Logging.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"

#include <QFile>
#include <QHash>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::theme {

namespace {

const QHash<QString, QColor> &colorByToken()
{
    static const QHash<QString, QColor> colors = {
        {u"@ink"_s, color::ink},
        {u"@panel"_s, color::panel},
        {u"@panelRaised"_s, color::panelRaised},
        {u"@panelSunken"_s, color::panelSunken},
        {u"@border"_s, color::border},
        {u"@borderStrong"_s, color::borderStrong},
        {u"@text"_s, color::text},
        {u"@textMuted"_s, color::textMuted},
        {u"@textDim"_s, color::textDim},
        {u"@accent"_s, color::accent},
        {u"@accentBright"_s, color::accentBright},
        {u"@accentDim"_s, color::accentDim},
        {u"@action"_s, color::action},
        {u"@actionHover"_s, color::actionHover},
        {u"@online"_s, color::online},
        {u"@warning"_s, color::warning},
        {u"@danger"_s, color::danger},
        {u"@dangerHover"_s, color::dangerHover},
    };
    return colors;
}

} // namespace

QString loadStylesheet()
{
    QFile file(u":/styles/velmo.qss"_s);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qCWarning(lcUi) << "Stylesheet resource missing; falling back to bare palette";
        return {};
    }
    return expandTokens(QString::fromUtf8(file.readAll()));
}

QString colorRule(const QColor &labelColor)
{
    return u"color: %1;"_s.arg(colorName(labelColor));
}

QString expandTokens(QString text)
{
    // Longest first, since one token begins another: "@panel" and "@panelRaised".
    QStringList tokens = colorByToken().keys();
    std::sort(tokens.begin(), tokens.end(), [](const QString &a, const QString &b) { return a.size() > b.size(); });
    for (const QString &token : std::as_const(tokens)) {
        text.replace(token, colorByToken().value(token).name());
    }
    text.replace("@displayFamily"_L1, displayFamily());
    text.replace("@bodyFamily"_L1, bodyFamily());
    text.replace("@monoFamily"_L1, monoFamily());
    return text;
}

} // namespace velmo::theme
