#include "publish/DecodedName.h"

#include <QStringDecoder>

namespace velmo::publish {

DecodedName decodedName(NativeName name)
{
#ifdef Q_OS_WIN
    const QString text = QString::fromWCharArray(name.data(), static_cast<qsizetype>(name.size()));
    return {text, text.isValidUtf16()};
#else
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(QByteArrayView(name.data(), static_cast<qsizetype>(name.size())));
    return {text, !decoder.hasError()};
#endif
}

} // namespace velmo::publish
