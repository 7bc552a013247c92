#include "StudioTest.h"

namespace velmo::test {

void StudioTest::init()
{
    studio_ = std::make_unique<TestStudio>();
    network_ = std::make_unique<QNetworkAccessManager>();
    studio_->writeFile(QStringLiteral("/digits.txt"), "0123456789");
}

void StudioTest::cleanup()
{
    network_.reset();
    studio_.reset();
}

Answer StudioTest::fetch(const QString &path, const QByteArray &range)
{
    return test::fetch(*network_, studio_->url(path), range);
}

RawReply StudioTest::exchange(const QByteArray &method, const QByteArray &target, const QByteArray &headers)
{
    RawClient client(studio_->server().port());
    return client.exchange(method, target, headers);
}

} // namespace velmo::test
