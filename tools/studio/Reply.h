#pragma once

#include "studio/Body.h"

#include <QByteArray>
#include <QList>

#include <utility>

namespace velmo::studio {

/// One answer, from its status line to what becomes of the connection behind its last byte.
struct Reply {
    enum Ending {
        KeepOpen, ///< the next request is read
        Close,
        Linger, ///< closed a while later, so that the client has met the whole body before it meets the end
        Stall,  ///< nothing more is sent, and the connection stays open
    };

    Reply() = default;
    /// A short page that says what \a status means.
    static Reply page(int status);

    void addHeader(const QByteArray &name, const QByteArray &value);
    /// What the client reads before the body. \a saysClose tells it that no further request will be read.
    QByteArray head(bool saysClose) const;

    int status = 200;
    QList<std::pair<QByteArray, QByteArray>> headers;
    Body body;
    qint64 contentLength = 0; ///< as announced; negative announces none
    Ending ending = KeepOpen;
};

} // namespace velmo::studio
