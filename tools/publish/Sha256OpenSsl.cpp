#include "publish/Sha256.h"

#include <QByteArray>

#include <openssl/evp.h>

namespace velmo::publish {

namespace {

/// Looked for once: each look takes a lock of the library that all threads share.
const EVP_MD *algorithm()
{
    static const EVP_MD *const found = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return found;
}

/// The library fails for want of memory alone.
void expectDone(int result)
{
    if (result != 1) {
        qFatal("OpenSSL has no SHA-256");
    }
}

} // namespace

struct Sha256::Library {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(), &EVP_MD_CTX_free};

    void begin() const { expectDone(EVP_DigestInit_ex(context.get(), algorithm(), nullptr)); }
};

Sha256::Sha256()
    : library_(std::make_unique<Library>())
{
    library_->begin();
}

Sha256::~Sha256() = default;

void Sha256::add(QByteArrayView bytes)
{
    expectDone(EVP_DigestUpdate(library_->context.get(), bytes.data(), static_cast<std::size_t>(bytes.size())));
}

QString Sha256::take()
{
    constexpr qsizetype digestBytes = 32;
    QByteArray digest(digestBytes, Qt::Uninitialized);
    expectDone(EVP_DigestFinal_ex(library_->context.get(), reinterpret_cast<unsigned char *>(digest.data()), nullptr));
    library_->begin();
    return QString::fromLatin1(digest.toHex());
}

} // namespace velmo::publish
