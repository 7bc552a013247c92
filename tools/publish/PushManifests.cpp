#include "publish/ManifestFiles.h"
#include "publish/Push.h"

#include <QDir>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

/// The packed one first, as in the tree. Whichever a server hands out meanwhile, all of its files are there.
QList<Push::Placed> Push::manifestsOf(const QString &channel) const
{
    const QString plain = channel + u"/manifest.json"_s;
    const Placed packed{plain + u".gz"_s, snapshot_.gameFolder()};
    if (!remote_.tellsOfPacking()) {
        return {packed, {plain, snapshot_.gameFolder()}};
    }
    const Placed told{plain, packed_.path(), true};
    // One that came there by other means would tell of its build for good.
    return there_.manifests.contains(packed.path) ? QList<Placed>{packed, told} : QList<Placed>{told};
}

QList<Push::Placed> Push::manifestsThatDiffer() const
{
    const QDir before(work_.filePath(u"remote"_s));
    QList<Placed> manifests;
    for (const QString &channel : QDir(snapshot_.gameFolder()).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        manifests += manifestsOf(channel);
    }
    manifests.removeIf([&before](const Placed &manifest) {
        const QByteArray bytes = bytesOf(QDir(manifest.from).filePath(manifest.path));
        return !bytes.isEmpty() && bytes == bytesOf(before.filePath(manifest.path));
    });
    return manifests;
}

QStringList Push::pushManifests()
{
    if (!order_.dryRun) { // also where nothing differs: a store that has been moved may have lost what it was told
        const QString trial = QDir(packed_).entryList(QDir::Dirs | QDir::NoDotAndDotDot).constFirst();
        const QString problem = remote_.proveTellingOfPacking(trial + u"/manifest.json"_s, packed_.path());
        if (!problem.isEmpty()) {
            return {problem};
        }
    }
    const QList<Placed> manifests = manifestsThatDiffer();
    for (const Placed &manifest : manifests) {
        const QString channel = manifest.path.section(u'/', 0, 0);
        if (!result_.channels.contains(channel)) {
            result_.channels.append(channel);
            warnOfOlder(channel);
        }
    }
    return order_.dryRun ? QStringList() : replace(manifests);
}

/// Another machine may have pushed since; but going back to an old build is a wish that must be granted, too.
void Push::warnOfOlder(const QString &channel)
{
    const int there = buildsThere_.value(channel + u"/manifest.json"_s);
    const int ours = snapshot_.readManifest(channel).manifest.build;
    if (there > ours) {
        result_.warnings.append(u"The channel \"%1\" of \"%2\" has build %3, and gets the older build %4."_s.arg(
            channel, order_.remote.shown(), QString::number(there), QString::number(ours)));
    }
}

QStringList Push::replace(const QList<Placed> &manifests)
{
    QStringList paths;
    for (const Placed &manifest : manifests) {
        if (const QString problem = remote_.replace(manifest.path, manifest.from, manifest.isPacked);
            !problem.isEmpty()) {
            return {problem};
        }
        paths.append(manifest.path);
    }
    const QDir after(work_.filePath(u"after"_s));
    if (const QString problem = remote_.fetch(paths, after.path()); !problem.isEmpty()) {
        return {problem};
    }
    for (const Placed &manifest : manifests) { // rclone may unpack what is told to be packed
        if (manifestText(bytesOf(after.filePath(manifest.path))) !=
            manifestText(bytesOf(QDir(manifest.from).filePath(manifest.path)))) {
            return {u"\"%1\" did not arrive at \"%2\" as it is."_s.arg(manifest.path, order_.remote.shown())};
        }
    }
    return {};
}

} // namespace velmo::publish
