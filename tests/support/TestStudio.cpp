#include "support/TestStudio.h"

#include "support/LoopbackCertificates.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

studio::StudioServer::Options TestStudio::loopbackOptions()
{
    studio::StudioServer::Options options;
    options.certificateChain = loopbackChain();
    options.privateKey = loopbackKey();
    return options;
}

TestStudio::TestStudio(studio::StudioServer::Options options)
    : options_(std::move(options))
{
    static const bool trusted = (trustTestAuthority(), true);
    Q_UNUSED(trusted)
    options_.root = tree_.path();
    options_.certificateChain = loopbackChain();
    options_.privateKey = loopbackKey();
    start();
    options_.port = server_.port();
}

QByteArray TestStudio::readFile(const QString &path) const
{
    return test::readFile(tree_.path() + u'/' + path, {});
}

void TestStudio::writeFile(const QString &path, const QByteArray &bytes)
{
    test::writeFile(tree_.path() + u'/' + path, bytes);
}

void TestStudio::restart()
{
    server_.stop();
    start();
}

void TestStudio::start()
{
    if (const QString problem = server_.start(options_); !problem.isEmpty()) {
        qFatal("The studio does not start: %s", qPrintable(problem));
    }
}

} // namespace velmo::test
