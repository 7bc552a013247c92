#include "publish/ContentHash.h"

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

QSet<ContentHash> hashesIn(const QByteArray &text)
{
    const auto isDigit = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    };
    constexpr qsizetype digits = 64;
    QSet<ContentHash> hashes;
    qsizetype run = 0;
    for (qsizetype at = 0; at < text.size(); ++at) {
        run = isDigit(text.at(at)) ? run + 1 : 0;
        if (run >= digits) {
            hashes.insert(ContentHash(QString::fromLatin1(text.sliced(at + 1 - digits, digits)).toLower()));
        }
    }
    return hashes;
}

} // namespace velmo::publish
