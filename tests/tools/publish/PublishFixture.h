#pragma once

#include "publish/Publisher.h"
#include "support/TestFiles.h"

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

namespace velmo::test {

/// A build folder and a content tree beside it, both in a temporary folder. The tree is not made.
class PublishFixture {
public:
    PublishFixture();

    QString folder() const; ///< around both
    QString build() const;
    QString tree() const;

    /// Writes a file of the build, with its folders.
    void write(const QString &path, const QByteArray &bytes) const;
    void link(const QString &target, const QString &path) const;
    /// A good order for the build: channel "release", version "1.0", build 1.
    publish::PublishOrder order() const;
    publish::PublishResult publish() const;

    publish::ContentTree contentTree() const;
    Manifest manifest(const QString &channel = QStringLiteral("release")) const;
    /// Where the tree keeps \a bytes.
    QString storedPath(const QByteArray &bytes) const;
    /// Every file below \a folder, relative and sorted; unfinished copies and locks too.
    static QStringList filesBelow(const QString &folder);

private:
    QTemporaryDir folder_;
};

QByteArray contentOf(const QString &path);

/// Whether one of \a sentences holds \a text.
bool anyContains(const QStringList &sentences, const QString &text);

// What the system says of a file that is not there, of one in a folder that is not there, and of a FullDrive.
QString noSuchFile();
QString noSuchFolder();
QString driveIsFull();

/// Gives what lies at \a path the permissions \a mode, as chmod does. Unix alone.
bool setMode(const QString &path, unsigned mode);
/// Makes a pipe with a name. Unix alone.
bool makePipe(const QByteArray &nativePath);

/// Lets every user look into \a folder, as threads do that open files as someone else.
void openToAll(const QString &folder);

/// While it lives, this thread opens files as nobody in particular, so that permissions hold for root as well.
class UnprivilegedFileAccess {
public:
    UnprivilegedFileAccess();
    ~UnprivilegedFileAccess();
    Q_DISABLE_COPY_MOVE(UnprivilegedFileAccess)

private:
    int previous_;
};

/// \a bytes, up to 64 KiB, in Brotli's form, as they are.
QByteArray brotliOf(const QByteArray &bytes);

} // namespace velmo::test
