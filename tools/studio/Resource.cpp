#include "studio/Resource.h"

#include "studio/Body.h"

#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

std::optional<Resource> Resource::ofFile(const QString &fileName)
{
    auto file = std::make_unique<QFile>(fileName);
    if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return std::nullopt;
    }
    const qint64 size = file->size();
    return Resource{std::move(file), size,
                    fileName.endsWith(".json"_L1) ? "application/json"_ba : "application/octet-stream"_ba};
}

Resource Resource::ofDocument(const Document &document)
{
    return {openBytes(document.body), document.body.size(), document.contentType};
}

} // namespace velmo::studio
