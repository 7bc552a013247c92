#pragma once

#include "Fetch.h"
#include "RawClient.h"
#include "support/TestStudio.h"

#include <QNetworkAccessManager>

#include <memory>

namespace velmo::test {

/// The base of a test of the studio as its clients see it: each function has one of its own, which serves ten digits
/// at "/digits.txt".
class StudioTest : public QObject {
    Q_OBJECT

protected slots:
    void init();
    void cleanup();

protected:
    Answer fetch(const QString &path, const QByteArray &range = {});
    /// One exchange on a connection of its own.
    RawReply exchange(const QByteArray &method, const QByteArray &target, const QByteArray &headers = {});

    std::unique_ptr<TestStudio> studio_;
    std::unique_ptr<QNetworkAccessManager> network_;
};

} // namespace velmo::test
