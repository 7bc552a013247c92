#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QString>

namespace velmo::publish {

/// A copy on its way into a store of content files, under a name of its own. The first bytes stay in memory until more
/// come or it is kept, so that of a small file nothing is written before its hash is known. Goes away unless kept.
class IncomingFile {
public:
    explicit IncomingFile(const QString &path);
    ~IncomingFile();
    Q_DISABLE_COPY_MOVE(IncomingFile)

    QString path() const { return file_.fileName(); }

    // Each gives the reason why it fails, or nothing.
    QString add(QByteArrayView bytes);
    /// Writes what is still in memory and closes the file, which then stays.
    [[nodiscard]] QString keep();

    /// Has the file share the bytes of \a source on the drive instead of adding them. False when that cannot be done.
    bool clone(const QString &source);

private:
    QString write(QByteArrayView bytes);

    QFile file_;
    QByteArray first_;
    bool kept_ = false;
};

} // namespace velmo::publish
