#pragma once

#include <QString>

#ifdef Q_OS_WIN
#include <QFile>
#endif

namespace velmo::publish {

/// A file that is read from end to end, by as few calls of the system as that takes: most files of a build are small,
/// and there are many.
class SourceFile {
public:
    explicit SourceFile(const QString &path);
    ~SourceFile();
    Q_DISABLE_COPY_MOVE(SourceFile)

    bool isOpen() const;
    /// Reads at most \a most bytes. How many there were, 0 at the end, or -1 if that fails.
    qint64 read(char *into, qint64 most);
    /// Why opening or reading has failed.
    QString errorString() const;

private:
#ifdef Q_OS_WIN
    QFile file_;
#else
    int descriptor_;
    int error_ = 0; ///< of the call that failed
#endif
};

} // namespace velmo::publish
