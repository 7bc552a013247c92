#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QList>

#include <memory>

namespace velmo::studio {

/// The bytes of one reply, read piece by piece as the client takes them.
class Body {
public:
    Body() = default;
    /// \a length bytes of \a device, which is open, from \a offset on.
    Body(std::unique_ptr<QIODevice> device, qint64 offset, qint64 length);
    /// A short body in memory.
    explicit Body(const QByteArray &text);

    /// Ends the body early, after \a length bytes at most.
    void cut(qint64 length);
    /// Flips the bits of the byte at \a position of the device, when it is among those read.
    void corrupt(qint64 position);

    qint64 remaining() const { return remaining_; }
    /// The next bytes, \a most at most. Empty while some remain means that the device broke its promise.
    QByteArray read(qint64 most);

private:
    std::unique_ptr<QIODevice> device_;
    qint64 position_ = 0;
    qint64 remaining_ = 0;
    QList<qint64> corrupted_;
};

/// \a bytes as a device to read from.
std::unique_ptr<QIODevice> openBytes(const QByteArray &bytes);

} // namespace velmo::studio
