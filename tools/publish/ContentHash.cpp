#include "publish/ContentHash.h"

#include <QByteArray>

#include <algorithm>

namespace velmo::publish {

ContentHash::ContentHash(const QString &digits)
{
    const QByteArray bytes = QByteArray::fromHex(digits.toLatin1());
    std::copy_n(bytes.begin(), std::min<std::size_t>(static_cast<std::size_t>(bytes.size()), bytes_.size()),
                bytes_.begin());
}

QString ContentHash::digits() const
{
    return QString::fromLatin1(QByteArray::fromRawData(bytes_.data(), sizeof bytes_).toHex());
}

} // namespace velmo::publish
