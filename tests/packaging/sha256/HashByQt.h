// What the launcher hashes by: the QCryptographicHash of the Qt that is found at run time.
#pragma once

#include "Check.h"

#include <QCryptographicHash>

#include <vector>

struct Way {
    const char *name;
};

inline std::vector<Way> ways()
{
    return {{"QCryptographicHash"}};
}

class Hash {
public:
    Hash(Kind kind, const Way &)
        : hash_(kind == Kind::Sha224 ? QCryptographicHash::Sha224 : QCryptographicHash::Sha256)
    {}

    void add(const uint8_t *bytes, size_t length)
    {
        hash_.addData(QByteArrayView(bytes, static_cast<qsizetype>(length)));
    }

    std::string finish() { return hash_.result().toHex().toStdString(); }

private:
    QCryptographicHash hash_;
};
