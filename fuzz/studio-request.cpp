// What a client sends to velmo-studio: requests one after the other, as they are taken from a connection and answered.

#include "Target.h"
#include "studio/HttpRequest.h"
#include "studio/Site.h"

#include <QFile>
#include <QSet>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using velmo::fuzz::require;
using velmo::fuzz::scratchFolder;
using velmo::fuzz::writeFile;
using velmo::studio::HttpRequest;
using velmo::studio::Reply;
using velmo::studio::Request;
using velmo::studio::Site;

namespace {

const QByteArray secret = "what lies beside the content tree";

/// A tree with a file, a folder, and links that stay within it and that leave it.
void open(Site &site)
{
    const QString folder = scratchFolder();
    const QString tree = folder + u"/tree"_s;
    writeFile(folder + u"/secret"_s, secret);
    writeFile(folder + u"/tree2/secret"_s, secret);
    writeFile(tree + u"/a/file.pak"_s, "0123456789");
    QFile::link(u"a/file.pak"_s, tree + u"/inside"_s);
    QFile::link(u"../secret"_s, tree + u"/outside"_s);
    QFile::link(u".."_s, tree + u"/around"_s);
    site.open(tree);
    site.setDocument(u"/doc.json"_s, "{}", "application/json");
}

void checkRequest(const HttpRequest &request)
{
    require(!request.method.isEmpty() && !request.method.contains(' '), "a request has a method");
    require(request.path.startsWith(u'/') && !request.path.contains(QChar::Null), "a path begins with a slash");
    require(request.minorVersion >= 0 && request.minorVersion <= 9, "a version has one digit");
    require(request.bodyBytes >= 0, "no length is negative");
    for (auto header = request.headers.cbegin(); header != request.headers.cend(); ++header) {
        require(!header.key().isEmpty() && header.key() == header.key().toLower(), "header names are in lower case");
        require(!header.value().contains('\r') && !header.value().contains('\n'), "a header is one line");
    }
}

void checkReply(Reply reply)
{
    static const QSet<int> statuses = {200, 206, 404, 405, 416};
    require(statuses.contains(reply.status), "a reply has a status that the studio knows");
    const QByteArray head = reply.head(false);
    require(head.startsWith("HTTP/1.1 ") && head.indexOf("\r\n\r\n") == head.size() - 4, "a reply has one head");
    QByteArray body;
    while (reply.body.remaining() > 0) {
        const QByteArray block = reply.body.read(reply.body.remaining());
        require(!block.isEmpty(), "a body has the bytes that it promises");
        body += block;
    }
    require(body.isEmpty() || body.size() == reply.contentLength, "a body is as long as announced");
    require(!body.contains(secret), "no file outside of the content tree is served");
}

/// Everything that can be told about a request.
QByteArray summary(const HttpRequest &request)
{
    QByteArray text = request.method + ' ' + request.path.toUtf8() + ' ' + QByteArray::number(request.bodyBytes);
    QList<QByteArray> names = request.headers.keys();
    std::sort(names.begin(), names.end());
    for (const QByteArray &name : names) {
        text += '\n' + name + ": " + request.headers.value(name);
    }
    return text;
}

/// Takes what is whole out of \a input and says what it was. False when nothing more can be read.
bool takeAll(QByteArray &input, QList<QByteArray> &taken, Site *site)
{
    while (true) {
        const qsizetype before = input.size();
        HttpRequest request;
        switch (HttpRequest::take(input, request)) {
        case HttpRequest::Incomplete:
            return true;
        case HttpRequest::Malformed:
        case HttpRequest::TooLarge:
            taken.append("refused");
            return false;
        case HttpRequest::Complete:
            break;
        }
        require(input.size() < before, "a request that was taken is gone from the input");
        checkRequest(request);
        taken.append(summary(request));
        if (site) {
            Request record;
            checkReply(site->answer(request, record));
        }
    }
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    Site site;
    open(site);
    QList<QByteArray> atOnce;
    QByteArray whole = input;
    takeAll(whole, atOnce, &site);

    // However the line cuts them, the requests are the same; a head that is too long may be refused a little earlier.
    QList<QByteArray> inPieces;
    QByteArray arrived;
    constexpr qsizetype pieceBytes = 3;
    bool readable = true;
    for (qsizetype at = 0; readable && at < input.size(); at += pieceBytes) {
        arrived += input.mid(at, pieceBytes);
        readable = takeAll(arrived, inPieces, nullptr);
    }
    require(input.size() > HttpRequest::maximumHeadBytes || inPieces == atOnce, "how requests arrive changes nothing");
}
