#include "support/TestStudio.h"

#include "support/LoopbackCertificates.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

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
    QFile file(tree_.path() + u'/' + path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestStudio::writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(tree_.path() + u'/' + path);
    if (!QDir().mkpath(QFileInfo(file).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(bytes) != bytes.size()) {
        qFatal("Cannot write %s: %s", qPrintable(file.fileName()), qPrintable(file.errorString()));
    }
}

void TestStudio::restart()
{
    server_.stop();
    start();
}

void TestStudio::start()
{
    QString error;
    if (!server_.start(options_, &error)) {
        qFatal("The studio does not start: %s", qPrintable(error));
    }
}

} // namespace velmo::test
