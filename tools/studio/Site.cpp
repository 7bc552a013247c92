#include "studio/Site.h"

#include "studio/HttpRequest.h"
#include "studio/Responder.h"

#include <QMutexLocker>

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
    Reply reply = Responder(request, attempt.faults).answer(find(request.path));
    record = {request.method, request.path, request.headers, attempt.number, reply.status};
    return reply;
}

std::optional<Resource> Site::find(const QString &path) const
{
    const auto document = documents_.constFind(path);
    if (document != documents_.cend()) {
        return Resource::ofDocument(*document);
    }
    const QString fileName = files_.contains(path) ? files_.value(path) : tree_.find(path);
    return fileName.isEmpty() ? std::nullopt : Resource::ofFile(fileName);
}

} // namespace velmo::studio
