#include "studio/Responder.h"

#include "studio/ByteRange.h"

#include <QRegularExpression>

#include <algorithm>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

namespace {

/// What lies in the folder of content files is named after its hash and never changes. Anything else may.
QByteArray cacheControlOf(const QString &path)
{
    static const QRegularExpression content(u"/files/[0-9a-f]{2}/[0-9a-f]{64}\\z"_s);
    return content.match(path).hasMatch() ? "public, max-age=31536000, immutable"_ba : "no-cache"_ba;
}

} // namespace

Responder::Responder(const HttpRequest &request, const QList<Fault> &faults)
    : request_(request)
    , faults_(faults)
{}

Reply Responder::answer(std::optional<Resource> resource) const
{
    if (request_.method != "GET" && request_.method != "HEAD") {
        Reply reply = Reply::page(405);
        reply.addHeader("Allow", "GET, HEAD");
        return reply;
    }
    const Fault *fault = decidingFault();
    Reply reply;
    if (fault && (fault->kind == Fault::Status || fault->kind == Fault::Redirect)) {
        reply = misdirect(*fault);
    } else {
        reply = resource ? serve(std::move(*resource), fault) : Reply::page(404);
    }
    spoilHeaders(reply);
    spoilBody(reply);
    return reply;
}

bool Responder::isRangeRequest() const
{
    return request_.method == "GET" && request_.headers.contains("range");
}

/// The one fault that says what kind of reply this is.
const Fault *Responder::decidingFault() const
{
    if (isRangeRequest()) {
        return firstFault({Fault::Status, Fault::Redirect, Fault::IgnoreRange, Fault::WrongRange, Fault::RangeRefused});
    }
    return firstFault({Fault::Status, Fault::Redirect});
}

const Fault *Responder::firstFault(std::initializer_list<Fault::Kind> kinds) const
{
    const auto found = std::find_if(faults_.cbegin(), faults_.cend(), [kinds](const Fault &fault) {
        return std::find(kinds.begin(), kinds.end(), fault.kind) != kinds.end();
    });
    return found == faults_.cend() ? nullptr : &*found;
}

Reply Responder::misdirect(const Fault &fault) const
{
    if (fault.kind == Fault::Status) {
        return Reply::page(fault.status);
    }
    Reply reply = Reply::page(302);
    reply.addHeader("Location", fault.location.toUtf8());
    return reply;
}

Reply Responder::serve(Resource resource, const Fault *fault) const
{
    if (!isRangeRequest() || (fault && fault->kind == Fault::IgnoreRange)) {
        return sendWhole(std::move(resource));
    }
    if (fault && fault->kind == Fault::RangeRefused) {
        return refuseRange(resource);
    }
    const ByteRange range = ByteRange::parse(request_.headers.value("range"), resource.size);
    if (range.outcome == ByteRange::Whole) {
        return sendWhole(std::move(resource));
    }
    if (range.outcome == ByteRange::Unsatisfiable) {
        return refuseRange(resource);
    }
    return sendPart(std::move(resource), fault ? 0 : range.first, range.length());
}

Reply Responder::refuseRange(const Resource &resource) const
{
    Reply reply = Reply::page(416);
    reply.addHeader("Content-Range", "bytes */" + QByteArray::number(resource.size));
    return reply;
}

Reply Responder::sendPart(Resource resource, qint64 first, qint64 length) const
{
    Reply reply;
    reply.status = 206;
    describe(reply, resource);
    reply.addHeader("Content-Range", "bytes " + QByteArray::number(first) + '-' +
                                         QByteArray::number(first + length - 1) + '/' +
                                         QByteArray::number(resource.size));
    reply.contentLength = length;
    reply.body = Body(std::move(resource.device), first, length);
    corrupt(reply);
    return reply;
}

Reply Responder::sendWhole(Resource resource) const
{
    Reply reply;
    describe(reply, resource);
    reply.contentLength = resource.size;
    reply.body = Body(std::move(resource.device), 0, resource.size);
    corrupt(reply);
    return reply;
}

void Responder::describe(Reply &reply, const Resource &resource) const
{
    reply.addHeader("Accept-Ranges", "bytes");
    reply.addHeader("Content-Type", resource.contentType);
    reply.addHeader("Cache-Control", cacheControlOf(request_.path));
    if (!resource.contentEncoding.isEmpty()) {
        reply.addHeader("Content-Encoding", resource.contentEncoding);
    }
    if (resource.hasPackedForm) {
        reply.addHeader("Vary", "Accept-Encoding");
    }
}

void Responder::corrupt(Reply &reply) const
{
    for (const Fault &fault : faults_) {
        if (fault.kind == Fault::Corrupt) {
            reply.body.corrupt(fault.bytes);
        }
    }
}

void Responder::spoilHeaders(Reply &reply) const
{
    for (const Fault &fault : faults_) {
        if (fault.kind != Fault::Header) {
            continue;
        }
        const QByteArray name = fault.location.section(u':', 0, 0).trimmed().toUtf8();
        const QByteArray value = fault.location.section(u':', 1).trimmed().toUtf8();
        reply.headers.removeIf(
            [&name](const auto &header) { return header.first.compare(name, Qt::CaseInsensitive) == 0; });
        if (!value.isEmpty()) {
            reply.addHeader(name, value);
        }
    }
}

/// The faults that concern a body, whatever the body is. A reply that has none is left whole, but for its length.
void Responder::spoilBody(Reply &reply) const
{
    const Fault *length = firstFault({Fault::LengthOffset});
    if (length && reply.contentLength >= 0) {
        reply.contentLength = std::max<qint64>(reply.contentLength + length->bytes, 0);
        reply.ending = Reply::Linger;
    }
    if (const Fault *cut = firstFault({Fault::CloseAfter, Fault::Stall})) {
        reply.body.cut(cut->bytes);
        reply.ending = cut->kind == Fault::Stall ? Reply::Stall : Reply::Close;
    }
    if (request_.method == "HEAD" || reply.contentLength < 0) {
        reply.body.cut(0);
        reply.ending = Reply::KeepOpen;
    }
}

} // namespace velmo::studio
