#pragma once

#include <QTemporaryDir>
#include <QtTest>

namespace velmo::test {

/// Redirects everything that the launcher keeps for a user into a temporary folder. Make it before the application
/// object.
class TestEnvironment {
public:
    TestEnvironment();

    /// The home folder of this test run.
    static QString home();

private:
    QTemporaryDir home_;
};

/// Lets every TLS connection of this process trust the loopback test authority. Needs velmo_test_certificates.
void trustTestAuthority();

/// The main function of a test program: redirected folders, an application of type \a App with the launcher's name and
/// version, then the test.
template<typename Test, typename App = QCoreApplication>
int runTest(int argc, char **argv)
{
    const TestEnvironment environment;
    App app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("VelmoLauncher"));
    QCoreApplication::setApplicationVersion(QStringLiteral("0.1.0"));
    Test test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace velmo::test
