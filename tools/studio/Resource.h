#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>

#include <memory>
#include <optional>

namespace velmo::studio {

/// What stands in memory at a path.
struct Document {
    QByteArray body;
    QByteArray contentType;
};

/// Something that the studio serves, opened for one reply.
struct Resource {
    std::unique_ptr<QIODevice> device;
    qint64 size = 0;
    QByteArray contentType;

    /// Nothing when the file cannot be read.
    static std::optional<Resource> ofFile(const QString &fileName);
    static Resource ofDocument(const Document &document);
};

} // namespace velmo::studio
