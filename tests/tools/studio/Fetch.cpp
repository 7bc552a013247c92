#include "Fetch.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>

#include <memory>

namespace velmo::test {

namespace {

constexpr int patienceMs = 60'000;

} // namespace

Answer fetch(QNetworkAccessManager &network, const QUrl &url, const QByteArray &range)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    if (!range.isEmpty()) {
        request.setRawHeader("Range", range);
    }
    const std::unique_ptr<QNetworkReply> reply(network.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!finished.wait(patienceMs)) {
        return {};
    }
    return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->error(), reply->readAll(),
            reply->rawHeader("Content-Type"), reply->header(QNetworkRequest::LocationHeader).toUrl()};
}

} // namespace velmo::test
