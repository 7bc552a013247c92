#include "publish/OneLine.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

bool breaksTheLine(QChar character)
{
    const QChar::Category category = character.category();
    return category == QChar::Other_Control || category == QChar::Separator_Line ||
           category == QChar::Separator_Paragraph;
}

QString escaped(QChar character)
{
    const uint code = character.unicode();
    switch (code) {
    case u'\n':
        return u"\\n"_s;
    case u'\r':
        return u"\\r"_s;
    case u'\t':
        return u"\\t"_s;
    default:
        return code <= 0xff ? u"\\x%1"_s.arg(code, 2, 16, QChar(u'0')) : u"\\u%1"_s.arg(code, 4, 16, QChar(u'0'));
    }
}

} // namespace

QString onOneLine(const QString &text)
{
    QString line;
    line.reserve(text.size());
    for (const QChar character : text) {
        line += breaksTheLine(character) ? escaped(character) : QString(character);
    }
    return line;
}

} // namespace velmo::publish
