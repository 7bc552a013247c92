#pragma once

#include "studio/HttpRequest.h"
#include "studio/Reply.h"
#include "studio/Resource.h"
#include "studio/StudioServer.h"

#include <QList>

#include <optional>

namespace velmo::studio {

/// Works out the reply to one request, from what stands at its path and the faults that it meets.
class Responder {
public:
    Responder(const HttpRequest &request, const QList<Fault> &faults);

    /// \a resource is nothing when nothing stands at the path.
    Reply answer(std::optional<Resource> resource) const;

private:
    bool isRangeRequest() const;
    const Fault *decidingFault() const;
    const Fault *firstFault(std::initializer_list<Fault::Kind> kinds) const;
    Reply misdirect(const Fault &fault) const;
    Reply serve(Resource resource, const Fault *fault) const;
    Reply refuseRange(const Resource &resource) const;
    Reply sendPart(Resource resource, qint64 first, qint64 length) const;
    Reply sendWhole(Resource resource) const;
    void describe(Reply &reply, const Resource &resource) const;
    void corrupt(Reply &reply) const;
    void spoilHeaders(Reply &reply) const;
    void spoilBody(Reply &reply) const;

    const HttpRequest &request_;
    const QList<Fault> &faults_;
};

} // namespace velmo::studio
