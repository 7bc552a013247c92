#pragma once

#include <QPixmap>
#include <QString>

namespace velmo::demo {

/// Keeps pictures of the story as numbered PNG files in one folder.
class Album {
public:
    /// Removes what lies in \a folder; the first picture makes it anew.
    explicit Album(const QString &folder);

    /// False when the picture could not be written.
    bool keep(const QPixmap &picture, const QString &title);
    /// The whole screen as it stands.
    bool keepScreen(const QString &title);

private:
    QString folder_;
    int count_ = 0;
};

} // namespace velmo::demo
