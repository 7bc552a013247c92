#pragma once

#include "data/Manifest.h"
#include "publish/ProvedPieces.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

namespace velmo::publish {

/// Files of a manifest, wherever they stand.
struct ManifestFiles {
    qsizetype count = 0;
    std::function<ManifestFile(qsizetype)> at; ///< called from any thread

    /// Those of \a manifest, which outlives them.
    static ManifestFiles of(const Manifest &manifest);
    QList<ManifestFile> some(qsizetype from, qsizetype most) const;
};

/// The text of a manifest, made in pieces of some files each: as one document, a list of a million takes many times the
/// memory of the list. All pieces together are what Qt writes of the whole, compactly.
class ManifestText {
public:
    /// Of \a header, whose own files are none, and of \a files.
    ManifestText(const Manifest &header, const ManifestFiles &files);

    qsizetype pieces() const;
    QByteArray piece(qsizetype number) const;

    /// Has the launcher's parser read every piece's files as a document of their own. What it says, if that is not what
    /// was meant, where a bare difference is an empty text; nothing when all is well.
    /// Of the pieces that \a same has, those that only hold files are known to be read as they are meant.
    std::optional<QString> difference(const ProvedPieces *same = nullptr) const;

    /// The header of the manifest that \a standing knows, without files, if that lists just these files, byte by byte.
    /// Nothing when it does not, or when its bytes are not those that were put there.
    std::optional<Manifest> headerOf(const ProvedPieces &standing) const;
    /// Whether a piece holds files alone, so that it does not change with the header.
    bool holdsFilesAlone(qsizetype number) const { return number > 0 && number < pieces() - 1; }

private:
    QByteArray entries(qsizetype number) const;
    std::optional<QString> differenceIn(qsizetype number) const;

    Manifest header_;
    ManifestFiles files_;
    QByteArray head_; ///< up to the files
    QByteArray tail_; ///< behind them
};

/// What becomes of the pieces of a manifest: how many there are, the number of one, and its files with the header.
/// Called from any thread, for several at a time.
using PieceTaker = std::function<void(qsizetype pieces, qsizetype number, const Manifest &piece)>;

/// Reads the manifest at \a path in pieces, if it is written as ManifestText does, by the launcher's parser. False if
/// it is written otherwise or not good: then what was taken does not count, and the whole has to be read.
bool readPieces(const QString &path, const PieceTaker &take);

/// The whole by its pieces; nothing where readPieces is of no use.
std::optional<Manifest> manifestInPieces(const QString &path);

struct ParsedManifest {
    Manifest manifest; ///< invalid when it is not good
    QString problem;   ///< a sentence, then
};

/// Reads \a json as the launcher does.
ParsedManifest parsedManifest(const QByteArray &json);

} // namespace velmo::publish
