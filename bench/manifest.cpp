// Reads two long manifests and finds what changed between them, as a check for updates does. Prints how long that took,
// and how long to parse them as JSON alone; bench/growth counts its instructions.

#include "data/Manifest.h"
#include "game/UpdateManager.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <cstdlib>

namespace {

/// The manifest of build \a number; \a digit makes up the hash of each second file.
QByteArray longManifest(int number, int files, char digit)
{
    QByteArray json = "{\"version\": \"1.0\", \"build\": " + QByteArray::number(number) + ", \"files\": [";
    for (int index = 0; index < files; ++index) {
        json += index > 0 ? ",\n" : "\n";
        json += "{\"path\": \"Content/Chapter " + QByteArray::number(index / 1000) + "/asset_" +
                QByteArray::number(index) + ".pak\", \"sha256\": \"" + QByteArray(64, index % 2 == 0 ? digit : '0') +
                "\", \"size\": " + QByteArray::number(index) + '}';
    }
    return json + "]}";
}

} // namespace

/// From the bytes of both manifests to the number of files to fetch. bench/growth knows it by this name.
extern "C" Q_NEVER_INLINE qsizetype countChangedFiles(const QByteArray &installed, const QByteArray &latest)
{
    const auto read = [](const QByteArray &json) {
        return velmo::Manifest::fromJson(QJsonDocument::fromJson(json).object(), nullptr);
    };
    return velmo::UpdateManager::changedFiles(read(installed), read(latest)).size();
}

int main(int argc, char **argv)
{
    const int files = argc == 2 ? std::atoi(argv[1]) : 0;
    if (files < 2) {
        std::fputs("usage: velmo-bench-manifest FILES     how many files each manifest names, 2 at least\n", stderr);
        return 2;
    }
    const QByteArray installed = longManifest(7, files, '1');
    const QByteArray latest = longManifest(8, files, '2');
    QElapsedTimer clock;
    clock.start();
    const qsizetype changed = countChangedFiles(installed, latest);
    const double whole = static_cast<double>(clock.nsecsElapsed()) / 1e9;
    clock.start();
    const bool isJson = QJsonDocument::fromJson(installed).isObject() && QJsonDocument::fromJson(latest).isObject();
    const double parse = static_cast<double>(clock.nsecsElapsed()) / 1e9;
    std::printf("files %d changed %lld seconds %.6f parse %.6f\n", files, static_cast<long long>(changed), whole,
                parse);
    return isJson && changed == (files + 1) / 2 ? 0 : 1;
}
