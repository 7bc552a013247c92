#include "RawClient.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

constexpr int patienceMs = 60'000;

} // namespace

RawClient::RawClient(quint16 port)
{
    socket_.connectToHostEncrypted(u"127.0.0.1"_s, port);
    socket_.waitForEncrypted(patienceMs);
    socket_.flush(); // no event loop sends the end of the handshake, for which the studio waits five seconds
}

void RawClient::request(const QByteArray &method, const QByteArray &target, const QByteArray &headers)
{
    write(method + ' ' + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + headers + "\r\n");
}

void RawClient::write(const QByteArray &bytes)
{
    socket_.write(bytes);
    socket_.flush();
}

RawReply RawClient::read(bool bodiless)
{
    qsizetype end = input_.indexOf("\r\n\r\n");
    while (end < 0 && waitForInput()) {
        end = input_.indexOf("\r\n\r\n");
    }
    RawReply reply;
    if (end < 0) {
        return reply;
    }
    QList<QByteArray> lines = input_.left(end).split('\n');
    input_.remove(0, end + 4);
    reply.status = lines.takeFirst().mid(9, 3).toInt();
    for (const QByteArray &line : std::as_const(lines)) {
        const qsizetype colon = line.indexOf(':');
        reply.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    if (!bodiless) {
        reply.body = readBytes(reply.headers.value("content-length").toLongLong());
        input_ = reply.body.mid(reply.headers.value("content-length").toLongLong());
        reply.body.chop(input_.size());
    }
    return reply;
}

RawReply RawClient::exchange(const QByteArray &method, const QByteArray &target, const QByteArray &headers)
{
    request(method, target, headers);
    return read(method == "HEAD");
}

QByteArray RawClient::readBytes(qint64 bytes)
{
    while (input_.size() < bytes && waitForInput()) {
    }
    return std::exchange(input_, {});
}

QByteArray RawClient::readToEnd(bool &closed)
{
    while (waitForInput()) {
    }
    closed = socket_.state() == QAbstractSocket::UnconnectedState;
    return std::exchange(input_, {});
}

bool RawClient::waitForClose()
{
    bool closed = false;
    return readToEnd(closed).isEmpty() && closed;
}

bool RawClient::waitForInput()
{
    if (socket_.bytesAvailable() == 0) {
        socket_.waitForReadyRead(patienceMs);
    }
    const QByteArray more = socket_.readAll();
    input_ += more;
    return !more.isEmpty();
}

} // namespace velmo::test
