#include "studio/Resource.h"

#include "studio/Body.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

namespace {

struct SuffixType {
    QLatin1StringView suffix;
    QByteArrayView type;
};

constexpr std::array suffixTypes{
    SuffixType{"css"_L1, "text/css; charset=utf-8"},
    SuffixType{"gif"_L1, "image/gif"},
    SuffixType{"html"_L1, "text/html; charset=utf-8"},
    SuffixType{"ico"_L1, "image/vnd.microsoft.icon"},
    SuffixType{"jpeg"_L1, "image/jpeg"},
    SuffixType{"jpg"_L1, "image/jpeg"},
    SuffixType{"js"_L1, "text/javascript; charset=utf-8"},
    SuffixType{"json"_L1, "application/json"},
    SuffixType{"md"_L1, "text/markdown; charset=utf-8"},
    SuffixType{"png"_L1, "image/png"},
    SuffixType{"svg"_L1, "image/svg+xml"},
    SuffixType{"txt"_L1, "text/plain; charset=utf-8"},
    SuffixType{"webp"_L1, "image/webp"},
    SuffixType{"xml"_L1, "application/xml"},
    SuffixType{"zip"_L1, "application/zip"},
};

constexpr qint64 largestDigestedBytes = 64LL * 1024;

QByteArray etagOf(const QByteArray &bytes)
{
    return '"' + QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().left(32) + '"';
}

/// A file system may give two writes in quick succession the same time, so small files are told apart by what they
/// hold.
QByteArray etagOf(QFile &file)
{
    if (file.size() <= largestDigestedBytes) {
        return etagOf(file.readAll());
    }
    const QDateTime time = file.fileTime(QFileDevice::FileModificationTime);
    return '"' + QByteArray::number(time.toMSecsSinceEpoch(), 16) + '-' + QByteArray::number(file.size(), 16) + '"';
}

} // namespace

std::optional<Resource> Resource::ofFile(const QString &fileName, const QByteArray &contentType)
{
    auto file = std::make_unique<QFile>(fileName);
    if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return std::nullopt;
    }
    Resource resource;
    resource.size = file->size();
    resource.contentType = contentType;
    resource.lastModified = file->fileTime(QFileDevice::FileModificationTime);
    resource.etag = etagOf(*file);
    resource.device = std::move(file);
    return resource;
}

Resource Resource::ofDocument(const Document &document)
{
    return {openBytes(document.body), document.body.size(), document.contentType, document.etag, document.lastModified};
}

Document makeDocument(const QByteArray &body, const QByteArray &contentType)
{
    return {body, contentType, etagOf(body), QDateTime::currentDateTimeUtc()};
}

QByteArray contentTypeOf(const QString &fileName)
{
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    const auto found = std::find_if(suffixTypes.begin(), suffixTypes.end(),
                                    [&suffix](const SuffixType &known) { return known.suffix == suffix; });
    return found == suffixTypes.end() ? QByteArrayLiteral("application/octet-stream") : found->type.toByteArray();
}

} // namespace velmo::studio
