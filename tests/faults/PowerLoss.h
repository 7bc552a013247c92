#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

class QRandomGenerator;

namespace velmo::faults {

/// The disk after the power went, from what a program did until then.
///
/// Modelled is a drive with a journal for names and sizes and none for contents, as ext4, XFS and NTFS keep it: the
/// changes of names reach the disk in their order, all that came before a sync for certain, the later ones up to some
/// moment. What was written to a file is there for certain when the file, or the whole drive, was synced after it. Of
/// the rest there is, file by file, everything, nothing, or some pages, and zeros behind them or an end. Not modelled
/// are drives that lie about a sync and drives that change the order of names.
class PowerLoss {
public:
    /// Takes down what stands in \a folders, all of which counts as being on the disk.
    explicit PowerLoss(const QStringList &folders);

    /// Replaces what stands in the folders, files whose names end in ".log" aside, by what is left after the deeds in
    /// the journal at \a journalFile.
    void strike(const QString &journalFile, QRandomGenerator &random);

private:
    struct Entry;
    struct Fate;

    static QList<Entry> readJournal(const QString &fileName);
    static QHash<quint64, qsizetype> syncedUntil(const QList<Entry> &entries);
    void applyNames(const QList<Entry> &entries, qsizetype end);
    void applyContents(const QList<Entry> &entries, qsizetype end, QRandomGenerator &random);
    void takeDown(const QString &path);
    void rebuild() const;
    void clear() const;

    bool isWithin(const QString &path) const;

    QStringList tops_;
    QHash<QString, quint64> files_; ///< by path
    QHash<QString, QString> links_;
    QStringList folders_;
    QHash<QString, quint32> modes_;
    QHash<quint64, QByteArray> contents_; ///< by file
};

} // namespace velmo::faults
