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
    QByteArray contentEncoding = {}; ///< how it is packed; empty when it is not
    bool hasPackedForm = false;      ///< whether clients that unpack get something else than those that do not

    /// Nothing when the file cannot be read.
    static std::optional<Resource> ofFile(const QString &fileName);
    static Resource ofDocument(const Document &document);
};

} // namespace velmo::studio
