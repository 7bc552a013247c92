#include "publish/ManifestFiles.h"
#include "publish/Push.h"

#include <QDir>
#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

/// The packed one first: whoever is cut off between the two leaves the old build's number standing, so that the next
/// push goes on.
QList<Push::Placed> Push::manifestsOf(const QString &channel) const
{
    const QString plain = channel + u"/manifest.json"_s;
    const QString packed = plain + u".gz"_s;
    if (!remote_.tellsOfPacking()) {
        return {{packed, snapshot_.gameFolder()}, {plain, snapshot_.gameFolder()}};
    }
    QList<Placed> placed{{plain, stagePacked(channel), true}};
    if (there_.manifests.contains(packed)) { // by other means; it would tell of its build for good
        placed.prepend({packed, snapshot_.gameFolder()});
    }
    return placed;
}

/// The packed manifest under the name of the plain one. The folder that it lies below; what fails, those tell who find
/// nothing there.
QString Push::stagePacked(const QString &channel) const
{
    const QDir folder(work_.filePath(u"packed"_s));
    QDir().mkpath(folder.filePath(channel));
    QFile::copy(snapshot_.packedManifestPath(channel), folder.filePath(channel + u"/manifest.json"_s));
    return folder.path();
}

QStringList Push::pushManifests()
{
    const QDir before(work_.filePath(u"remote"_s));
    const QStringList channels = QDir(snapshot_.gameFolder()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    if (!order_.dryRun) {
        const QString &first = channels.constFirst();
        if (const QString problem = remote_.proveTellingOfPacking(first + u"/manifest.json"_s, stagePacked(first));
            !problem.isEmpty()) {
            return {problem};
        }
    }
    QList<Placed> replaced;
    for (const QString &channel : channels) {
        for (const Placed &manifest : manifestsOf(channel)) {
            const QByteArray bytes = bytesOf(QDir(manifest.from).filePath(manifest.path));
            if (!bytes.isEmpty() && bytesOf(before.filePath(manifest.path)) == bytes) {
                continue;
            }
            if (!result_.channels.contains(channel)) {
                result_.channels.append(channel);
                warnOfOlder(channel);
            }
            replaced.append(manifest);
        }
    }
    return order_.dryRun ? QStringList() : replace(replaced);
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
