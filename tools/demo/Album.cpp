#include "Album.h"

#include <QDir>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QScreen>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

Album::Album(const QString &folder)
    : folder_(folder)
{
    QDir(folder_).removeRecursively();
}

bool Album::keep(const QPixmap &picture, const QString &title)
{
    static const QRegularExpression separators(u"[^a-z0-9]+"_s);
    const QString slug = title.toLower().replace(separators, u"-"_s);
    const QString name = u"%1-%2.png"_s.arg(QString::number(++count_).rightJustified(3, u'0'), slug);
    return QDir().mkpath(folder_) && picture.save(QDir(folder_).filePath(name));
}

bool Album::keepScreen(const QString &title)
{
    return keep(QGuiApplication::primaryScreen()->grabWindow(0), title);
}

} // namespace velmo::demo
