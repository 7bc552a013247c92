#include "studio/Site.h"

#include "studio/HttpRequest.h"
#include "studio/Responder.h"

#include <QMutexLocker>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

void Site::open(const QString &root)
{
    const QMutexLocker lock(&mutex_);
    tree_ = ServedTree(root);
    plan_.restart();
}

void Site::setDocument(const QString &path, const QByteArray &body, const QByteArray &contentType)
{
    const QMutexLocker lock(&mutex_);
    documents_.insert(path, {body, contentType});
}

void Site::removeDocument(const QString &path)
{
    const QMutexLocker lock(&mutex_);
    documents_.remove(path);
}

void Site::setFile(const QString &path, const QString &fileName)
{
    const QMutexLocker lock(&mutex_);
    files_.insert(path, fileName);
}

void Site::addFault(const QString &path, const Fault &fault)
{
    const QMutexLocker lock(&mutex_);
    plan_.add(path, fault);
}

void Site::clearFaults()
{
    const QMutexLocker lock(&mutex_);
    plan_.clear();
}

Reply Site::answer(const HttpRequest &request, Request &record)
{
    const QMutexLocker lock(&mutex_);
    const FaultPlan::Attempt attempt = plan_.next(request.path);
    Reply reply = Responder(request, attempt.faults).answer(find(request));
    record = {request.method, request.path, request.headers, attempt.number, reply.status};
    return reply;
}

std::optional<Resource> Site::find(const HttpRequest &request) const
{
    const auto document = documents_.constFind(request.path);
    if (document != documents_.cend()) {
        return Resource::ofDocument(*document);
    }
    const auto fileName = files_.constFind(request.path);
    return fileName != files_.cend() ? Resource::ofFile(*fileName) : findInTree(request);
}

/// Beside a file may stand the same, packed. Who unpacks gets that, whatever its age, as other servers do it.
std::optional<Resource> Site::findInTree(const HttpRequest &request) const
{
    const QString fileName = tree_.find(request.path);
    std::optional<Resource> plain = fileName.isEmpty() ? std::nullopt : Resource::ofFile(fileName);
    const QString packedName = plain ? tree_.find(request.path + u".gz"_s) : QString();
    std::optional<Resource> packed = packedName.isEmpty() ? std::nullopt : Resource::ofFile(packedName);
    if (!packed) {
        return plain;
    }
    plain->hasPackedForm = true;
    if (request.takesGzip()) {
        plain->device = std::move(packed->device);
        plain->size = packed->size;
        plain->contentEncoding = "gzip"_ba;
    }
    return plain;
}

} // namespace velmo::studio
