#include "publish/Sha256.h"

#include <QCryptographicHash>

namespace velmo::publish {

struct Sha256::Library {
    QCryptographicHash hash{QCryptographicHash::Sha256};
};

Sha256::Sha256()
    : library_(std::make_unique<Library>())
{}

Sha256::~Sha256() = default;

void Sha256::add(QByteArrayView bytes)
{
    library_->hash.addData(bytes);
}

QString Sha256::take()
{
    const QString digits = QString::fromLatin1(library_->hash.result().toHex());
    library_->hash.reset();
    return digits;
}

} // namespace velmo::publish
