#include "core/SaveFile.h"

#include <QByteArray>
#include <QSaveFile>

namespace velmo {

void writeAll(QSaveFile &file, const QByteArray &bytes)
{
    qint64 written = 0;
    while (written < bytes.size()) {
        const qint64 count = file.write(bytes.constData() + written, bytes.size() - written);
        if (count < 0) {
            return; // remembered by the file
        }
        if (count == 0) {
            file.cancelWriting();
            return;
        }
        written += count; // a short write; the next one tells why
    }
}

} // namespace velmo
