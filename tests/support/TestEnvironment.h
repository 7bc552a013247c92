#pragma once

#include "support/Patience.h"

#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QtTest>

#ifdef Q_OS_WIN
#include "support/WindowsSkips.h"
#endif

namespace velmo::test {

/// Redirects everything that the launcher keeps for a user into a temporary folder. Make it before the application
/// object.
class TestEnvironment {
public:
    TestEnvironment();

    /// Moves what the launcher keeps for a user below \a folder, from now on and in this process.
    static void redirect(const QString &folder);
    /// This process's environment, for a launcher that keeps what it keeps below \a folder.
    static QProcessEnvironment redirected(const QString &folder);
    /// Where such a launcher has the data directories of programs: below \a folder, or below this test run's own.
    static QString dataLocation(const QString &folder = ownFolder());
    /// The folder of this test run.
    static QString ownFolder();

private:
    QTemporaryDir folder_;
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
#ifdef Q_OS_WIN
    const QStringList functions = functionsForWindows(Test::staticMetaObject);
    if (argc == 1 && !functions.isEmpty()) {
        return QTest::qExec(&test, QCoreApplication::arguments() + functions);
    }
#endif
    return QTest::qExec(&test, argc, argv);
}

} // namespace velmo::test
