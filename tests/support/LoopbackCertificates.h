#pragma once

#include <QByteArray>
#include <QSslConfiguration>

namespace velmo::test {

/// PEM of the server that tests have on 127.0.0.1: its certificate first, then the authority's. This file's functions
/// need velmo_test_certificates.
QByteArray loopbackChain();
/// The same of another authority, which trustTestAuthority() leaves out. It ends earlier.
QByteArray otherChain();
/// PEM of the private key.
QByteArray loopbackKey();
/// What a TLS server on 127.0.0.1 is set up with; \a http2 lets a client choose HTTP/2 beside HTTP/1.1.
QSslConfiguration loopbackServerConfiguration(bool http2 = false);

} // namespace velmo::test
