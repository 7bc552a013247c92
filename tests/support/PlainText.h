#pragma once

#include <QByteArray>

namespace velmo::test {

/// \a text with "\n" as its line end, whichever a text file or stream has on this platform.
inline QByteArray plainText(QByteArray text)
{
#ifdef Q_OS_WIN
    text.replace("\r\n", "\n");
#endif
    return text;
}

} // namespace velmo::test
