#pragma once

#include <QByteArray>
#include <QHashFunctions>
#include <QSet>
#include <QString>

#include <array>
#include <cstdint>

namespace velmo::publish {

/// A SHA-256 as its bytes, which take a fifth of the memory of its digits; there are a million of them.
class ContentHash {
public:
    ContentHash() = default; ///< of nothing that is known
    /// \a digits are 64 in lower case.
    explicit ContentHash(const QString &digits);

    bool isKnown() const { return *this != ContentHash(); }
    QString digits() const;
    std::uint8_t firstByte() const { return static_cast<std::uint8_t>(bytes_.front()); }

    bool operator==(const ContentHash &) const = default;
    friend std::size_t qHash(const ContentHash &hash, std::size_t seed = 0)
    {
        return qHashBits(hash.bytes_.data(), hash.bytes_.size(), seed);
    }

private:
    std::array<char, 32> bytes_{};
};

/// Everything in \a text that may be the hash of a content file, whoever wrote it and however.
QSet<ContentHash> hashesIn(const QByteArray &text);

} // namespace velmo::publish
