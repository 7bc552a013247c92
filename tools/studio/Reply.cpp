#include "studio/Reply.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

namespace {

struct StatusText {
    int status;
    QByteArrayView text;
};

constexpr std::array statusTexts{
    StatusText{200, "OK"},
    StatusText{204, "No Content"},
    StatusText{206, "Partial Content"},
    StatusText{301, "Moved Permanently"},
    StatusText{302, "Found"},
    StatusText{304, "Not Modified"},
    StatusText{307, "Temporary Redirect"},
    StatusText{308, "Permanent Redirect"},
    StatusText{400, "Bad Request"},
    StatusText{401, "Unauthorized"},
    StatusText{403, "Forbidden"},
    StatusText{404, "Not Found"},
    StatusText{405, "Method Not Allowed"},
    StatusText{408, "Request Timeout"},
    StatusText{410, "Gone"},
    StatusText{416, "Range Not Satisfiable"},
    StatusText{429, "Too Many Requests"},
    StatusText{431, "Request Header Fields Too Large"},
    StatusText{451, "Unavailable For Legal Reasons"},
    StatusText{500, "Internal Server Error"},
    StatusText{501, "Not Implemented"},
    StatusText{502, "Bad Gateway"},
    StatusText{503, "Service Unavailable"},
    StatusText{504, "Gateway Timeout"},
};

QByteArray textOf(int status)
{
    const auto found = std::find_if(statusTexts.begin(), statusTexts.end(),
                                    [status](const StatusText &known) { return known.status == status; });
    return found == statusTexts.end() ? QByteArrayLiteral("Status") : found->text.toByteArray();
}

bool hasNoBody(int status)
{
    return status < 200 || status == 204 || status == 304;
}

} // namespace

Reply Reply::page(int status)
{
    Reply reply;
    reply.status = status;
    if (hasNoBody(status)) {
        reply.contentLength = -1;
        return reply;
    }
    const QByteArray text = QByteArray::number(status) + ' ' + textOf(status) + '\n';
    reply.body = Body(text);
    reply.contentLength = text.size();
    reply.addHeader("Content-Type", "text/plain; charset=utf-8");
    return reply;
}

void Reply::addHeader(const QByteArray &name, const QByteArray &value)
{
    headers.append({name, value});
}

QByteArray Reply::head(bool saysClose) const
{
    QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + ' ' + textOf(status) + "\r\n";
    const QDateTime now = QDateTime::currentDateTimeUtc();
    head += "Date: " + QLocale::c().toString(now, u"ddd, dd MMM yyyy hh:mm:ss 'GMT'").toLatin1() + "\r\n";
    for (const auto &[name, value] : headers) {
        head += name + ": " + value + "\r\n";
    }
    if (contentLength >= 0) {
        head += "Content-Length: " + QByteArray::number(contentLength) + "\r\n";
    }
    head += saysClose ? "Connection: close\r\n\r\n" : "Connection: keep-alive\r\n\r\n";
    return head;
}

} // namespace velmo::studio
