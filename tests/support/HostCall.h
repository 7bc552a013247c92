#pragma once

#include "studio/StudioServer.h"

#include <QDataStream>

#include <concepts>
#include <tuple>
#include <type_traits>

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

template<typename Value, typename Type>
concept Is = std::same_as<std::remove_const_t<Value>, Type>;

template<Is<StudioServer::Options> Value>
auto fields(Value &options)
{
    return std::tie(options.root, options.certificateChain, options.privateKey, options.port, options.bytesPerSecond);
}

template<Is<Fault> Value>
auto fields(Value &fault)
{
    return std::tie(fault.kind, fault.status, fault.bytes, fault.location, fault.firstAttempt, fault.lastAttempt);
}

template<Is<Request> Value>
auto fields(Value &request)
{
    return std::tie(request.method, request.path, request.headers, request.attempt, request.status);
}

/// Stands for a field of any type, where it is counted how many a type has.
struct AnyField {
    template<typename Field>
    operator Field() const;
};

template<typename Value, typename... Counted>
constexpr std::size_t fieldCount()
{
    if constexpr (requires { Value{Counted{}..., AnyField{}}; }) {
        return fieldCount<Value, Counted..., AnyField>();
    }
    return sizeof...(Counted);
}

template<typename Value>
concept Crossing = requires(Value &value)
{
    fields(value);
};

template<Crossing Value>
QDataStream &operator<<(QDataStream &stream, const Value &value)
{
    static_assert(std::tuple_size_v<decltype(fields(value))> == fieldCount<Value>(),
                  "a field that fields() does not name is silently its default on the other side");
    std::apply([&stream](const auto &...field) { static_cast<void>((stream << ... << field)); }, fields(value));
    return stream;
}

template<Crossing Value>
QDataStream &operator>>(QDataStream &stream, Value &value)
{
    std::apply([&stream](auto &...field) { static_cast<void>((stream >> ... >> field)); }, fields(value));
    return stream;
}

} // namespace velmo::studio
