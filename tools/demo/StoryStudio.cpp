#include "StoryStudio.h"

#include "BuildFolder.h"
#include "Problem.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

/// One of the studio's branches, as the profile tells of it.
struct Branch {
    QStringView id;
    QStringView name;
    QStringView description;
};

constexpr std::array<Branch, 2> branches = {{
    {u"release", u"Release", u"What everyone plays."},
    {u"beta", u"Beta", u"The next build, a week early."},
}};

} // namespace

StoryStudio::StoryStudio(const QString &folder)
    : tree_(folder)
{
    server_.setDocument(u"/api/v1/news"_s, contentOf(u":/demo/news.json"_s));
}

void StoryStudio::publish(const QString &folder, const QString &branch, const QString &version, int build,
                          const QString &program) const
{
    QProcess publisher;
    publisher.setProcessChannelMode(QProcess::ForwardedChannels);
    publisher.start(QStringLiteral(VELMO_PUBLISH_PROGRAM),
                    {u"--source"_s, folder, u"--out"_s, tree_, u"--channel"_s, branch, u"--version"_s, version,
                     u"--build"_s, QString::number(build), u"--executable"_s, program});
    publisher.waitForFinished(-1);
    expect(publisher.exitStatus() == QProcess::NormalExit && publisher.exitCode() == 0, u"velmo-publish failed."_s);
}

void StoryStudio::serve()
{
    studio::StudioServer::Options options;
    options.root = tree_;
    options.certificateChain = contentOf(u":/certificates/server-chain.pem"_s);
    options.privateKey = contentOf(u":/certificates/server.key"_s);
    options.port = port_;
    const QString problem = server_.start(options);
    expect(problem.isEmpty(), problem);
    port_ = server_.port();
}

void StoryStudio::stop()
{
    server_.stop();
}

void StoryStudio::writeProfile(const QString &folder, const QString &program) const
{
    QJsonArray channels;
    for (const Branch &branch : branches) {
        channels.append(QJsonObject{{u"id"_s, branch.id.toString()},
                                    {u"name"_s, branch.name.toString()},
                                    {u"description"_s, branch.description.toString()},
                                    {u"manifest"_s, manifestAddress(branch.id.toString())}});
    }
    writeFile(QDir(folder).filePath(u"game.json"_s),
              QJsonDocument(QJsonObject{{u"executable"_s, program},
                                        {u"channels"_s, channels},
                                        {u"endpoints"_s, QJsonObject{{u"news"_s, newsAddress()}}}})
                  .toJson());
}

QString StoryStudio::manifestAddress(const QString &branch) const
{
    return u"https://127.0.0.1:%1/harrowfen/%2/manifest.json"_s.arg(QString::number(port_), branch);
}

QString StoryStudio::newsAddress() const
{
    return u"https://127.0.0.1:%1/api/v1/news"_s.arg(port_);
}

QByteArray StoryStudio::authority()
{
    return contentOf(u":/certificates/authority.pem"_s);
}

} // namespace velmo::demo
