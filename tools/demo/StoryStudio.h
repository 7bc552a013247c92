#pragma once

#include "studio/StudioServer.h"

#include <QString>

namespace velmo::demo {

/// The studio of the story: builds go into a content tree by the publishing tool, and the tree is served over TLS on
/// loopback, with news. Its branches are "release" and "beta".
class StoryStudio {
public:
    /// \a folder is for the content tree.
    explicit StoryStudio(const QString &folder);

    /// Publishes the build in \a folder. \a program is the game's, a path in it.
    void publish(const QString &folder, const QString &branch, const QString &version, int build,
                 const QString &program) const;
    /// Listens; after stop() at the same port again.
    void serve();
    void stop();
    /// Lets a launcher in \a folder find this studio, through a profile beside the program, as a tester's would.
    void writeProfile(const QString &folder, const QString &program) const;

    QString manifestAddress(const QString &branch) const;
    QString newsAddress() const;
    studio::StudioServer &server() { return server_; }
    /// The certificate authority that a launcher must trust.
    static QByteArray authority();

private:
    QString tree_;
    quint16 port_ = 0;
    studio::StudioServer server_;
};

} // namespace velmo::demo
