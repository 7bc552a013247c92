#include "Faults.h"

namespace velmo::test {

using studio::Fault;

Fault fault(Fault::Kind kind, qint64 bytes)
{
    Fault fault;
    fault.kind = kind;
    fault.bytes = bytes;
    return fault;
}

Fault statusFault(int status, int firstAttempt, int lastAttempt)
{
    Fault fault;
    fault.kind = Fault::Status;
    fault.status = status;
    fault.firstAttempt = firstAttempt;
    fault.lastAttempt = lastAttempt;
    return fault;
}

Fault redirectFault(const QString &location)
{
    Fault fault;
    fault.kind = Fault::Redirect;
    fault.location = location;
    return fault;
}

} // namespace velmo::test
