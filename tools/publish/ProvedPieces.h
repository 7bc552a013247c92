#pragma once

#include "publish/ContentHash.h"
#include "publish/Gzip.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

namespace velmo::publish {

/// Where a channel's manifest stands, packed too, and the list of its pieces.
struct ProvedPaths {
    QString manifest;
    QString packed;
    QString list;
};

/// A piece of a manifest that the launcher's parser has read back as it was meant. Sizes are in bytes.
struct ProvedPiece {
    ContentHash text;
    ContentHash packed;
    qint64 size = 0;
    qint64 packedSize = 0;
    qint64 checksum = 0; ///< of the text, as Gzip has it

    static ProvedPiece of(QByteArrayView text, const PackedPart &part);
};

/// The pieces of a channel's manifest as they were when it was put in place, each read back by the launcher's parser.
/// What still stands there, to the last byte, need be neither read by the parser nor packed once more. From any thread.
class ProvedPieces {
public:
    /// Of what stands at \a paths. A list that is missing, damaged or of another version of this program knows nothing.
    explicit ProvedPieces(const ProvedPaths &paths);

    /// How many there are; 0 when nothing is known, and also when the manifest has another size by now.
    qsizetype count() const { return static_cast<qsizetype>(pieces_.size()); }
    const ProvedPiece &piece(qsizetype number) const { return pieces_.at(static_cast<std::size_t>(number)); }
    /// The bytes of a piece as they stand; nothing when they are not those that were put there.
    std::optional<QByteArray> text(qsizetype number) const;
    /// The same of the packed one.
    std::optional<PackedPart> packed(qsizetype number) const;

    /// Makes the list that takes the place of the one at \a path.
    class Writer {
    public:
        explicit Writer(const QString &path)
            : path_(path)
        {}
        /// The next piece, which was put in place.
        void add(const ProvedPiece &piece);
        /// A sentence when that fails; no list stands then.
        [[nodiscard]] QString finish() const;

    private:
        QString path_;
        QByteArray bytes_;
    };

private:
    void read(const QByteArray &list);

    ProvedPaths paths_;
    std::vector<ProvedPiece> pieces_;
    std::vector<qint64> begins_; ///< of the text of each piece
    std::vector<qint64> packedBegins_;
};

} // namespace velmo::publish
