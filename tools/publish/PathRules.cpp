#include "publish/PathRules.h"

#include "data/Manifest.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <vector>

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

bool anySegment(QStringView path, bool (*is)(QStringView))
{
    for (const QStringView segment : QStringTokenizer(path, u'/')) {
        if (is(segment)) {
            return true;
        }
    }
    return false;
}

/// Stands for a name in lists of a million, where the names themselves would take the memory of the whole build. Equal
/// names have equal marks; what equal marks say is looked into by the names.
class Mark {
public:
    void add(char32_t letter)
    {
        constexpr quint64 prime = 0x100000001b3; // of the hash named after Fowler, Noll and Vo
        value_ = (value_ ^ letter) * prime;
    }
    quint64 value() const { return value_; }

private:
    quint64 value_ = 0xcbf29ce484222325;
};

/// The marks of a path or of one of its folders: as it is written, and as Windows looks it up.
struct Marks {
    quint64 written = 0;
    quint64 folded = 0;
};

char32_t folded(char32_t letter)
{
    constexpr char32_t firstBeyondAscii = 0x80;
    if (letter < firstBeyondAscii) {
        return letter >= U'A' && letter <= U'Z' ? letter + (U'a' - U'A') : letter;
    }
    return QChar::toCaseFolded(letter);
}

/// Calls \a report with the marks of each folder of \a path that begins behind \a known characters, and last with
/// those of the path.
template<typename Report>
void forEachName(QStringView path, qsizetype known, const Report &report)
{
    Mark written;
    Mark foldedMark;
    for (qsizetype position = 0; position < path.size(); ++position) {
        char32_t letter = path.at(position).unicode();
        if (path.at(position).isHighSurrogate() && position + 1 < path.size()) {
            letter = QChar::surrogateToUcs4(path.at(position), path.at(position + 1));
            ++position;
        } else if (letter == U'/' && position > known) {
            report(Marks{written.value(), foldedMark.value()}, true);
        }
        written.add(letter);
        foldedMark.add(folded(letter));
    }
    report(Marks{written.value(), foldedMark.value()}, false);
}

/// How many characters of \a path are folders that \a before has too.
qsizetype sharedFolders(QStringView path, QStringView before)
{
    const auto difference = std::mismatch(path.begin(), path.end(), before.begin(), before.end()).first;
    const qsizetype shared = difference - path.begin();
    return path.first(shared).lastIndexOf(u'/');
}

/// Whether two names of \a paths may be one to Windows.
bool mayClash(const PathList &paths)
{
    std::vector<Marks> names;
    names.reserve(static_cast<std::size_t>(paths.size()));
    QStringView before;
    for (qsizetype index = 0; index < paths.size(); ++index) {
        const QString &path = paths.at(index);
        forEachName(path, sharedFolders(path, before), [&names](const Marks &marks, bool) { names.push_back(marks); });
        before = path;
    }
    std::sort(names.begin(), names.end(), [](const Marks &a, const Marks &b) { return a.folded < b.folded; });
    const auto isOneWrittenTwice = [](const Marks &a, const Marks &b) {
        return a.folded == b.folded && a.written != b.written;
    };
    return std::adjacent_find(names.begin(), names.end(), isOneWrittenTwice) != names.end();
}

Marks marksOf(const QString &path)
{
    Marks marks;
    forEachName(path, path.size(), [&marks](const Marks &name, bool) { marks = name; });
    return marks;
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

NamesOnDrive namesOnDrive(const PathList &paths)
{
    NamesOnDrive names;
    for (qsizetype index = 0; index < paths.size(); ++index) {
        const QString &path = paths.at(index);
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
    constexpr qsizetype shortest = 3;
    constexpr qsizetype longest = 7;
    const auto end = std::find_if(name.begin(), name.end(), [](QChar c) { return c == u' ' || c == u'.'; });
    if (const qsizetype letters = end - name.begin(); letters < shortest || letters > longest) {
        return false; // as most names
    }
    if (!u"acnlp"_s.contains(name.front().toLower())) {
        return false; // as almost every other
    }
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
    if (anySegment(path, isReservedByWindows)) {
        return u"\"%1\" holds a name that Windows reserves for a device."_s.arg(path);
    }
    if (anySegment(path, isDownloadInFlight)) {
        return u"\"%1\" holds a name that ends in \".part\", which the launcher keeps for downloads in flight."_s.arg(
            path);
    }
    return {};
}

QStringList caseClashes(const PathList &paths)
{
    QHash<QString, Holder> taken;
    QStringList clashes;
    if (!mayClash(paths)) {
        return clashes;
    }
    for (qsizetype index = 0; index < paths.size(); ++index) {
        const QString clash = clashOf(paths.at(index), taken);
        if (!clash.isEmpty()) {
            clashes.append(clash);
        }
    }
    return clashes;
}

QStringList updateClashes(const PathList &published, const PathList &next)
{
    UpdateLook look(next);
    look.addPublished(published);
    QStringList clashes;
    if (!look.mayClash()) {
        return clashes;
    }
    const NamesOnDrive before = namesOnDrive(published);
    const NamesOnDrive after = namesOnDrive(next);
    QSet<QString> kept;
    for (qsizetype index = 0; index < next.size(); ++index) {
        kept.insert(next.at(index));
    }
    for (qsizetype index = 0; index < published.size(); ++index) {
        const QString &path = published.at(index);
        const QString clash = kept.contains(path) ? QString() : departureClash(path, after);
        if (!clash.isEmpty()) {
            clashes.append(clash);
        }
    }
    for (qsizetype index = 0; index < next.size(); ++index) {
        const QString &path = next.at(index);
        if (const QString folder = before.folders.value(foldedLetters(path)); !folder.isEmpty()) {
            clashes.append(
                u"The file \"%1\" is the folder \"%2\" in the published build, and the launcher leaves a folder "
                "standing even when it is empty. Give the file another name."_s.arg(path, folder));
        }
    }
    return clashes;
}

UpdateLook::UpdateLook(const PathList &next)
    : next_(next)
{
    QStringView before;
    for (qsizetype index = 0; index < next.size(); ++index) {
        const QString &path = next.at(index);
        forEachName(path, sharedFolders(path, before), [this](const Marks &name, bool isFolder) {
            (isFolder ? folders_ : files_).add(name.folded);
            if (!isFolder) {
                written_.add(name.written);
            }
        });
        before = path;
    }
    for (MarkSet *const set : {&written_, &files_, &folders_}) {
        set->sort();
    }
}

void UpdateLook::addPublished(const PathList &paths)
{
    QStringView before;
    for (qsizetype index = 0; index < paths.size(); ++index) {
        const QString &path = paths.at(index);
        forEachName(path, sharedFolders(path, before), [this](const Marks &name, bool isFolder) {
            if (isFolder) {
                publishedFolders_.add(name.folded);
            } else if (!written_.contains(name.written)) {
                departureMayClash_ =
                    departureMayClash_ || files_.contains(name.folded) || folders_.contains(name.folded);
            }
        });
        before = path;
    }
}

bool UpdateLook::mayClash()
{
    publishedFolders_.sort();
    bool found = departureMayClash_;
    for (qsizetype index = 0; index < next_.size() && !found; ++index) {
        found = publishedFolders_.contains(marksOf(next_.at(index)).folded);
    }
    return found;
}

void UpdateLook::MarkSet::sort()
{
    std::sort(marks_.begin(), marks_.end());
}

bool UpdateLook::MarkSet::contains(quint64 mark) const
{
    return std::binary_search(marks_.begin(), marks_.end(), mark);
}

} // namespace velmo::publish
