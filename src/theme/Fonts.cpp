#include "theme/Fonts.h"

#include "core/Logging.h"
#include "theme/ResourcePath.h"

#include <QDir>
#include <QFontDatabase>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::theme {

namespace {

const QStringList sans = {u"Inter"_s,    u"Inter Display"_s, u"Segoe UI Variable Text"_s,
                          u"Segoe UI"_s, u"Roboto"_s,        u"Arial"_s};
const QStringList mono = {u"JetBrains Mono"_s, u"IBM Plex Mono"_s, u"Cascadia Mono"_s, u"Consolas"_s};

constexpr double negligible = 1e-12;
constexpr double trackingStep = 0.18; // px for a tracking of 1
constexpr double widestTracking = 0.35;
constexpr int largeTitle = 28; // px, from which titles are set tighter

QString resolve(const QStringList &chain, const QString &lastResort)
{
    return pickFamily(chain, QFontDatabase::families(), lastResort);
}

QFont font(const QString &family, int pixelSize, int weight)
{
    QFont result(family);
    result.setPixelSize(pixelSize);
    result.setWeight(static_cast<QFont::Weight>(weight));
    return result;
}

} // namespace

QString titleFamily()
{
    static const QString family = resolve(sans, u"Arial"_s);
    return family;
}

QString displayFamily()
{
    static const QString family = resolve(sans, u"Segoe UI"_s);
    return family;
}

QString bodyFamily()
{
    static const QString family = resolve(sans, u"Arial"_s);
    return family;
}

QString monoFamily()
{
    static const QString family = resolve(mono, u"Courier New"_s);
    return family;
}

QFont bodyFont(int pixelSize, int weight)
{
    return font(bodyFamily(), pixelSize, weight);
}

QFont displayFont(int pixelSize, int weight, double tracking)
{
    QFont result = font(displayFamily(), pixelSize, weight);
    const double spacing = std::clamp(tracking * trackingStep, 0.0, widestTracking);
    if (spacing > negligible) {
        result.setLetterSpacing(QFont::AbsoluteSpacing, spacing);
    }
    return result;
}

QFont titleFont(int pixelSize)
{
    QFont result = font(titleFamily(), pixelSize, QFont::Bold);
    result.setLetterSpacing(QFont::AbsoluteSpacing, pixelSize < largeTitle ? -0.2 : -0.8);
    return result;
}

QFont monoFont(int pixelSize, int weight, double spacing)
{
    QFont result = font(monoFamily(), pixelSize, weight);
    if (std::abs(spacing) > negligible) {
        result.setLetterSpacing(QFont::AbsoluteSpacing, spacing);
    }
    return result;
}

const QStringList &sansChain()
{
    return sans;
}

const QStringList &monoChain()
{
    return mono;
}

QString pickFamily(const QStringList &chain, const QStringList &installed, const QString &lastResort)
{
    for (const QString &family : chain) {
        if (installed.contains(family, Qt::CaseInsensitive)) {
            return family;
        }
    }
    return lastResort;
}

void loadBundledFonts()
{
    const QString folder = resolveResourcePath(u"fonts"_s);
    if (folder.isEmpty()) {
        return;
    }
    const QDir directory(folder);
    const QStringList files = directory.entryList({u"*.ttf"_s, u"*.otf"_s}, QDir::Files, QDir::Unsorted);
    for (const QString &file : files) {
        const int id = QFontDatabase::addApplicationFont(directory.filePath(file));
        if (id < 0) {
            qCWarning(lcUi) << "Could not load bundled font" << file;
        } else {
            qCInfo(lcUi) << "Loaded bundled font" << file << QFontDatabase::applicationFontFamilies(id);
        }
    }
}

} // namespace velmo::theme
