#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

class QIODevice;

namespace velmo::publish {

/// A part of a text, packed for itself, so that several can be packed at a time.
struct PackedPart {
    QByteArray bytes;
    qint64 size = 0;      ///< of the text
    quint32 checksum = 0; ///< of the text
};

/// Packs \a text. The bytes are the same every time, for the same version of zlib.
///
/// Qt's client gives up a reply that unpacks to more than 10 MiB and to more than 40 times its size, as a bomb would. A
/// list of a great many equal files comes to more than that, so nothing here is packed to less than a part in 32: what
/// is missing is filled with blocks that hold nothing.
PackedPart pack(QByteArrayView text);

/// What stands around the parts: a gzip file is begin(), each part in its order, and end().
class GzipFrame {
public:
    /// Tells neither a name nor a time.
    static QByteArray begin();
    void add(const PackedPart &part);
    QByteArray end() const;

private:
    quint32 checksum_ = 0;
    qint64 size_ = 0;
};

/// Whether \a bytes begin as a gzip file does.
bool isPacked(QByteArrayView bytes);
/// What the gzip file \a packed holds; nothing when it is no whole one or holds more than \a mostBytes.
std::optional<QByteArray> unpack(const QByteArray &packed, qint64 mostBytes);

/// Whether \a packed is one whole gzip file that holds the bytes of \a plain. Reads both from where they stand.
bool holdsTheSame(QIODevice &packed, QIODevice &plain);

} // namespace velmo::publish
