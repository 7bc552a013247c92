#pragma once

#include "studio/StudioServer.h"

#include <QDataStream>

namespace velmo::test {

/// What a test program under Wine asks of velmo-studio-host on the Linux side. A message on the connection is a
/// QByteArray of one call and its arguments; it is answered by a QByteArray of the result, empty where there is none.
/// One connection has one studio and one TLS front, which end with it.
enum class HostCall : quint8 {
    StartStudio,        ///< options -> port (0 on failure), error
    StopStudio,         ///< nothing -> nothing
    SetDocument,        ///< path, body, content type -> nothing
    RemoveDocument,     ///< path -> nothing
    AddFault,           ///< path, fault -> nothing
    ClearFaults,        ///< nothing -> nothing
    SetBytesPerSecond,  ///< bytes per second -> nothing
    Requests,           ///< nothing -> list of requests
    ClearRequests,      ///< nothing -> nothing
    StartTlsFront,      ///< port of the plain server behind it, whether to offer HTTP/2 -> port (0 on failure), error
    NegotiatedProtocol, ///< nothing -> protocol
};

/// The byte stream's format on both sides.
constexpr QDataStream::Version hostStreamVersion = QDataStream::Qt_6_4;

} // namespace velmo::test

// Beside the types, where every stream finds them.
namespace velmo::studio {

inline QDataStream &operator<<(QDataStream &stream, const StudioServer::Options &options)
{
    return stream << options.root << options.certificateChain << options.privateKey << options.port
                  << options.bytesPerSecond << options.etags;
}

inline QDataStream &operator>>(QDataStream &stream, StudioServer::Options &options)
{
    return stream >> options.root >> options.certificateChain >> options.privateKey >> options.port >>
           options.bytesPerSecond >> options.etags;
}

inline QDataStream &operator<<(QDataStream &stream, const Fault &fault)
{
    return stream << fault.kind << fault.status << fault.bytes << fault.location << fault.firstAttempt
                  << fault.lastAttempt;
}

inline QDataStream &operator>>(QDataStream &stream, Fault &fault)
{
    return stream >> fault.kind >> fault.status >> fault.bytes >> fault.location >> fault.firstAttempt >>
           fault.lastAttempt;
}

inline QDataStream &operator<<(QDataStream &stream, const Request &request)
{
    return stream << request.method << request.path << request.headers << request.attempt << request.status;
}

inline QDataStream &operator>>(QDataStream &stream, Request &request)
{
    return stream >> request.method >> request.path >> request.headers >> request.attempt >> request.status;
}

} // namespace velmo::studio
