#include "publish/PathRules.h"

#include "data/Manifest.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

struct Holder {
    QString name; ///< a path or one of its folders, as written
    QString path; ///< the path that brought it in
};

bool isDownloadInFlight(QStringView segment)
{
    return segment.endsWith(".part"_L1, Qt::CaseInsensitive);
}

/// One letter for one letter, as file systems fold: "ß" and "ss" stay two names.
QString foldedLetters(const QString &text)
{
    QList<uint> letters = text.toUcs4();
    for (uint &letter : letters) {
        letter = QChar::toCaseFolded(char32_t{letter});
    }
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(letters.constData()), letters.size());
}

/// "a/b/c" gives "a", "a/b" and "a/b/c".
QStringList foldersAndPath(const QString &path)
{
    QStringList names;
    for (qsizetype slash = path.indexOf(u'/'); slash >= 0; slash = path.indexOf(u'/', slash + 1)) {
        names.append(path.first(slash));
    }
    names.append(path);
    return names;
}

QString clashOf(const QString &path, QHash<QString, Holder> &taken)
{
    for (const QString &name : foldersAndPath(path)) {
        const QString key = foldedLetters(name);
        const auto holder = taken.constFind(key);
        if (holder == taken.constEnd()) {
            taken.insert(key, {name, path});
        } else if (holder->name != name) {
            return u"\"%1\" cannot stand beside \"%2\": Windows takes \"%3\" and \"%4\" for one name."_s.arg(
                path, holder->path, name, holder->name);
        }
    }
    return {};
}

/// What a build puts on a player's drive, each name as Windows looks it up and as it is written.
struct NamesOnDrive {
    QHash<QString, QString> files;
    QHash<QString, QString> folders;
};

NamesOnDrive namesOnDrive(const QStringList &paths)
{
    NamesOnDrive names;
    for (const QString &path : paths) {
        names.files.insert(foldedLetters(path), path);
        const QStringList around = foldersAndPath(path);
        for (qsizetype level = 0; level + 1 < around.size(); ++level) {
            names.folders.insert(foldedLetters(around.at(level)), around.at(level));
        }
    }
    return names;
}

/// What becomes of \a path, which leaves the build, where \a next holds its name in another way; empty if it does not.
QString departureClash(const QString &path, const NamesOnDrive &next)
{
    const QString key = foldedLetters(path);
    if (const QString file = next.files.value(key); !file.isEmpty()) {
        return u"\"%1\" is \"%2\" in the published build: Windows takes them for one file, which would be deleted "
               "after the update. Keep the old name, or first publish a build without this file."_s.arg(file, path);
    }
    if (const QString folder = next.folders.value(key); !folder.isEmpty()) {
        return u"The folder \"%1\" is the file \"%2\" in the published build, and nothing can be put into a file. "
               u"First "
               "publish a build without \"%2\", or give the folder another name."_s.arg(folder, path);
    }
    return {};
}

} // namespace

/// Whatever stands behind the first dot.
bool isReservedByWindows(QStringView name)
{
    static const QRegularExpression pattern(u"^(con|prn|aux|nul|conin\\$|conout\\$|(com|lpt)[1-9¹²³]) *(\\.|$)"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    return pattern.match(name.toString()).hasMatch();
}

QString pathRefusal(const QString &path)
{
    if (!Manifest::isSafeManifestPath(path)) {
        return u"\"%1\" is not a path that the launcher takes: it allows at most 260 characters, none of "
               "\\ < > : \" | ? * and no control character, and no name that ends in a blank or a dot."_s.arg(path);
    }
    const QList<QStringView> segments = QStringView(path).split(u'/');
    if (std::any_of(segments.begin(), segments.end(), isReservedByWindows)) {
        return u"\"%1\" holds a name that Windows reserves for a device."_s.arg(path);
    }
    if (std::any_of(segments.begin(), segments.end(), isDownloadInFlight)) {
        return u"\"%1\" holds a name that ends in \".part\", which the launcher keeps for downloads in flight."_s.arg(
            path);
    }
    return {};
}

QStringList caseClashes(const QStringList &paths)
{
    QHash<QString, Holder> taken;
    QStringList clashes;
    for (const QString &path : paths) {
        const QString clash = clashOf(path, taken);
        if (!clash.isEmpty()) {
            clashes.append(clash);
        }
    }
    return clashes;
}

QStringList updateClashes(const QStringList &published, const QStringList &next)
{
    const NamesOnDrive before = namesOnDrive(published);
    const NamesOnDrive after = namesOnDrive(next);
    const QSet<QString> kept(next.begin(), next.end());
    QStringList clashes;
    for (const QString &path : published) {
        const QString clash = kept.contains(path) ? QString() : departureClash(path, after);
        if (!clash.isEmpty()) {
            clashes.append(clash);
        }
    }
    for (const QString &path : next) {
        if (const QString folder = before.folders.value(foldedLetters(path)); !folder.isEmpty()) {
            clashes.append(
                u"The file \"%1\" is the folder \"%2\" in the published build, and the launcher leaves a folder "
                "standing even when it is empty. Give the file another name."_s.arg(path, folder));
        }
    }
    return clashes;
}

} // namespace velmo::publish
