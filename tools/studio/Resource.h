#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QIODevice>
#include <QString>

#include <memory>
#include <optional>

namespace velmo::studio {

/// What stands in memory at a path.
struct Document {
    QByteArray body;
    QByteArray contentType;
    QByteArray etag;
    QDateTime lastModified;
};

/// Something that the studio serves, opened for one reply.
struct Resource {
    std::unique_ptr<QIODevice> device;
    qint64 size = 0;
    QByteArray contentType;
    QByteArray etag; ///< quoted
    QDateTime lastModified;

    /// Nothing when the file cannot be read.
    static std::optional<Resource> ofFile(const QString &fileName, const QByteArray &contentType);
    static Resource ofDocument(const Document &document);
};

/// A document that came into being now.
Document makeDocument(const QByteArray &body, const QByteArray &contentType);
/// The content type that a file name's suffix says.
QByteArray contentTypeOf(const QString &fileName);

} // namespace velmo::studio
