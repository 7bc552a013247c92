#pragma once

#include <QByteArray>
#include <QNetworkReply>
#include <QUrl>

class QNetworkAccessManager;

namespace velmo::test {

/// What a client of the launcher's kind sees of a reply.
struct Answer {
    int status = 0; ///< 0 when none came
    QNetworkReply::NetworkError error = QNetworkReply::UnknownNetworkError;
    QByteArray body;
    QByteArray contentType;
    QUrl location;
};

/// Gets \a url, with a Range header when \a range is not empty, and follows no redirect.
Answer fetch(QNetworkAccessManager &network, const QUrl &url, const QByteArray &range = {});

} // namespace velmo::test
