#pragma once

#include <QByteArrayView>
#include <QString>

#include <memory>

namespace velmo::publish {

/// The SHA-256 of bytes that come in pieces, by the quickest library that a system has at hand. Not for two threads at
/// a time.
class Sha256 {
public:
    Sha256();
    ~Sha256();
    Q_DISABLE_COPY_MOVE(Sha256)

    void add(QByteArrayView bytes);
    /// 64 digits in lower case. What is added later begins the next hash.
    QString take();

private:
    struct Library;
    std::unique_ptr<Library> library_;
};

} // namespace velmo::publish
