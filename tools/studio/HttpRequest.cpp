#include "studio/HttpRequest.h"

#include <QList>

#include <algorithm>

namespace velmo::studio {

namespace {

bool isTokenCharacter(char c)
{
    constexpr QByteArrayView others("!#$%&'*+-.^_`|~");
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || others.contains(c);
}

bool isToken(const QByteArray &text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool isHexDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool hasOnlyWholeEscapes(const QByteArray &text)
{
    for (qsizetype at = text.indexOf('%'); at >= 0; at = text.indexOf('%', at + 1)) {
        if (at + 2 >= text.size() || !isHexDigit(text.at(at + 1)) || !isHexDigit(text.at(at + 2))) {
            return false;
        }
    }
    return true;
}

/// "https://host/path" is as good as "/path", which is what clients send that talk to no proxy.
QByteArray withoutAuthority(const QByteArray &target)
{
    const QByteArray lower = target.left(8).toLower();
    if (!lower.startsWith("http://") && !lower.startsWith("https://")) {
        return target;
    }
    const qsizetype path = target.indexOf('/', target.indexOf("//") + 2);
    return path < 0 ? QByteArrayLiteral("/") : target.mid(path);
}

} // namespace

HttpRequest::Outcome HttpRequest::take(QByteArray &input, HttpRequest &request)
{
    while (input.startsWith("\r\n")) { // some clients end a body with one too many
        input.remove(0, 2);
    }
    const qsizetype end = input.indexOf("\r\n\r\n");
    if (end > maximumHeadBytes || (end < 0 && input.size() > maximumHeadBytes)) {
        return TooLarge;
    }
    if (end < 0) {
        return Incomplete;
    }
    const QByteArray head = input.left(end);
    input.remove(0, end + 4);
    request = {};
    return request.parse(head) ? Complete : Malformed;
}

bool HttpRequest::wantsKeepAlive() const
{
    return minorVersion >= 1 && !headers.value("connection").toLower().contains("close");
}

bool HttpRequest::takesGzip() const
{
    const QByteArrayList codings = headers.value("accept-encoding").toLower().split(',');
    return std::any_of(codings.begin(), codings.end(), [](const QByteArray &coding) {
        const QByteArrayList words = coding.simplified().replace(' ', QByteArray()).split(';');
        const bool isRefused =
            words.size() > 1 && words.at(1).startsWith("q=") && words.at(1).sliced(2).toDouble() == 0;
        return words.first() == "gzip" && !isRefused;
    });
}

bool HttpRequest::hasChunkedBody() const
{
    return headers.contains("transfer-encoding");
}

bool HttpRequest::parse(const QByteArray &head)
{
    QList<QByteArray> lines;
    for (qsizetype from = 0; from <= head.size();) {
        const qsizetype end = head.indexOf("\r\n", from);
        lines.append(head.mid(from, end < 0 ? -1 : end - from));
        from = end < 0 ? head.size() + 1 : end + 2;
    }
    if (!parseRequestLine(lines.takeFirst())) {
        return false;
    }
    const bool understood =
        std::all_of(lines.cbegin(), lines.cend(), [this](const QByteArray &line) { return parseHeader(line); });
    const bool hostIsClear = minorVersion == 0 || (headers.contains("host") && !headers.value("host").contains(','));
    return understood && hostIsClear && parseBodyLength();
}

bool HttpRequest::parseRequestLine(const QByteArray &line)
{
    const QList<QByteArray> parts = line.split(' ');
    if (parts.size() != 3 || !isToken(parts.at(0))) {
        return false;
    }
    const QByteArray &version = parts.at(2);
    if (version.size() != 8 || !version.startsWith("HTTP/1.") || version.at(7) < '0' || version.at(7) > '9') {
        return false;
    }
    method = parts.at(0);
    minorVersion = version.at(7) - '0';
    return parseTarget(parts.at(1));
}

bool HttpRequest::parseTarget(QByteArray target)
{
    if (std::any_of(target.begin(), target.end(), isControl)) {
        return false;
    }
    if (const qsizetype query = target.indexOf('?'); query >= 0) {
        target.truncate(query);
    }
    target = withoutAuthority(target);
    if (!target.startsWith('/') || !hasOnlyWholeEscapes(target)) {
        return false;
    }
    path = QString::fromUtf8(QByteArray::fromPercentEncoding(target));
    return !path.contains(QChar::Null);
}

bool HttpRequest::parseHeader(const QByteArray &line)
{
    const qsizetype colon = line.indexOf(':');
    if (colon < 0) {
        return false;
    }
    const QByteArray name = line.left(colon).toLower();
    const QByteArray value = line.mid(colon + 1).trimmed();
    const auto isForbidden = [](char c) { return isControl(c) && c != '\t'; };
    if (!isToken(name) || std::any_of(value.begin(), value.end(), isForbidden)) {
        return false;
    }
    const auto known = headers.find(name);
    if (known == headers.end()) {
        headers.insert(name, value);
    } else {
        *known += ", " + value;
    }
    return true;
}

bool HttpRequest::parseBodyLength()
{
    const QByteArray text = headers.value("content-length", "0");
    const bool isNumber = std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    bool fits = false;
    bodyBytes = text.toLongLong(&fits);
    return isNumber && fits;
}

} // namespace velmo::studio
