#include "publish/DecodedName.h"

#include <QStringDecoder>

namespace velmo::publish {

DecodedName decodedName(const std::filesystem::path &name)
{
#ifdef Q_OS_WIN
    const QString text = QString::fromStdWString(name.native());
    return {text, text.isValidUtf16()};
#else
    QStringDecoder decoder(QStringDecoder::Utf8);
    const std::string &bytes = name.native();
    const QString text = decoder(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    return {text, !decoder.hasError()};
#endif
}

} // namespace velmo::publish
