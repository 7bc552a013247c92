#pragma once

#include <QPixmap>
#include <QString>

namespace velmo::demo {

/// Keeps pictures of the story as numbered PNG files in one folder.
class Album {
public:
    /// Makes the folder when the first picture comes.
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
