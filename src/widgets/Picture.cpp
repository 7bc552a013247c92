#include "widgets/Picture.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>

#include <array>

namespace velmo {

namespace {

/// Named one by one to the reader, which otherwise asks whatever plugin is there.
constexpr std::array<const char *, 5> pixelFormats = {"png", "jpeg", "gif", "bmp", "webp"};

} // namespace

QPixmap loadPicture(const QString &path)
{
    const QFileInfo info(path);
    QFile file(path);
    // On Windows a device such as COM1 passes for an empty file.
    if (!info.isFile() || info.size() == 0 || !file.open(QIODevice::ReadOnly)) {
        return {};
    }
    for (const char *format : pixelFormats) {
        file.seek(0); // a look of some readers leaves it elsewhere
        QImageReader reader(&file, format);
        reader.setAutoDetectImageFormat(false);
        if (reader.canRead()) {
            QPixmap picture = QPixmap::fromImageReader(&reader);
            picture.setDevicePixelRatio(1.0); // a name in "@2x" sets another
            return picture;
        }
    }
    return {};
}

} // namespace velmo
