#include "publish/LiveCheck.h"

#include "publish/ContentTree.h"
#include "publish/LiveFiles.h"
#include "publish/ManifestText.h"

#include <QFile>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qint64 largestManifest = qint64{256} * 1024 * 1024; // that the launcher takes
constexpr qint64 largestPage = qint64{1024} * 1024;
constexpr int daysOfCertificates = 14;

/// What of a manifest's address says where its channel stands in a tree; else what the manifest says itself.
QString channelOf(const QUrl &address, const Manifest &manifest)
{
    const QString folder = address.path().section(u'/', -2, -2);
    return TreeLayout::isFolderName(folder) ? folder : manifest.channel;
}

QString buildOf(const Manifest &manifest)
{
    return u"build %1 (%2)"_s.arg(manifest.build).arg(manifest.version);
}

void lookWhetherSecure(const LiveOrder &order, const LiveReply &reply, LiveResult &result)
{
    LiveFindings findings(u"Everything comes over HTTPS"_s);
    if (reply.isInsecure) {
        findings.isBroken(u"\"%1\" leads to an address without HTTPS."_s.arg(order.manifest.toDisplayString()));
    } else if (reply.status != 0) {
        findings.isKept();
    }
    result.demands.append(findings.demand());
}

void lookAtCertificates(const LivePeer &peer, const QDateTime &now, LiveFindings &findings)
{
    if (!peer.reason.isEmpty()) {
        findings.isBroken(u"%1 cannot be reached: %2."_s.arg(peer.name(), peer.reason));
        return;
    }
    findings.isKept();
    for (const QSslCertificate &certificate : peer.certificates) {
        const QDateTime end = certificate.expiryDate();
        if (end < now.addDays(daysOfCertificates)) {
            findings.isBroken(u"The certificate of \"%1\", which %2 sends, ends on %3."_s.arg(
                certificate.subjectDisplayName(), peer.name(), end.toUTC().toString(Qt::ISODate)));
        }
    }
}

/// Where it sends whoever asks does not matter: that is a server of its own.
void askWithTls12(const LiveOrder &order, const LivePeer &peer, LiveFindings &findings)
{
    LiveServer server(order.trusted, QSsl::TlsV1_2);
    const LiveReply reply = server.answerTo({peer.url, "HEAD"_ba});
    const bool isConnected = !server.peers().isEmpty() && server.peers().constFirst().reason.isEmpty();
    findings.check(isConnected, u"Players on Windows 10 have nothing newer than TLS 1.2, and with it there is no "
                                "connection to %1: %2."_s.arg(peer.name(), reply.reason));
}

/// Every server that was met, also where content files lie elsewhere than the manifest, or somebody redirects to them.
QList<LiveDemand> lookAtServers(const LiveOrder &order, const QDateTime &now, const QList<LivePeer> &peers)
{
    LiveFindings certificates(u"The certificates are trusted, and good for the next %1 days"_s.arg(daysOfCertificates));
    LiveFindings protocol(u"TLS 1.2 is offered"_s);
    for (const LivePeer &peer : peers) {
        lookAtCertificates(peer, now, certificates);
        if (peer.reason.isEmpty()) {
            askWithTls12(order, peer, protocol);
        }
    }
    return {certificates.demand(), protocol.demand()};
}

/// The manifest as it comes where the launcher's Qt unpacks the least, which is on Windows.
LiveReply leastPacked(const LiveOrder &order, LiveServer &server)
{
    return server.answerTo(
        {order.manifest, "GET"_ba, {{"Accept-Encoding"_ba, "gzip, deflate"_ba}}, LiveRequest::Body::Ignored});
}

QByteArray encodingOf(const LiveReply &reply)
{
    const QByteArray encoding = reply.header("Content-Encoding").toLower();
    return encoding == "identity" ? QByteArray() : encoding;
}

void lookWhetherRead(const LiveOrder &order, const LiveReply &reply, const LiveReply &least, LiveResult &result)
{
    LiveFindings findings(u"The launcher reads the manifest"_s);
    QString reason;
    if (reply.isTooLong) {
        reason = u"It has more than %1 bytes."_s.arg(largestManifest);
    } else if (!reply.reason.isEmpty()) {
        reason = reply.reason + u'.';
    } else if (reply.status != 200) {
        reason = u"It is answered with %1."_s.arg(reply.status);
    } else {
        const ParsedManifest parsed = parsedManifest(reply.body);
        result.manifest = parsed.manifest;
        reason = parsed.problem;
    }
    if (result.manifest.valid && least.status != 200) {
        findings.isBroken(u"To the launcher on Windows, which takes gzip and deflate, it is answered with %1."_s.arg(
            least.status == 0 ? least.reason : QString::number(least.status)));
    } else if (result.manifest.valid) {
        const QByteArray encoding = encodingOf(least);
        findings.check(encoding.isEmpty() || encoding == "gzip" || encoding == "deflate",
                       u"To the launcher on Windows, which takes gzip and deflate, it comes as \"%1\"."_s.arg(
                           QString::fromLatin1(encoding)));
    } else if (!reply.isUntrusted) { // of which another demand tells
        findings.isBroken(u"\"%1\" is no manifest for it. %2"_s.arg(order.manifest.toDisplayString(), reason));
    }
    result.demands.append(findings.demand());
}

void lookWhetherFresh(const LiveOrder &order, const LiveReply &reply, LiveResult &result)
{
    if (order.tree.isEmpty()) {
        return;
    }
    LiveFindings findings(u"The manifest is the one in the tree"_s);
    const ContentTree tree(order.tree, order.game);
    const QString path = tree.manifestPath(channelOf(order.manifest, result.manifest));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        findings.isBroken(u"\"%1\" cannot be read: %2."_s.arg(path, file.errorString()));
    } else if (result.manifest.valid) {
        const QByteArray published = file.readAll();
        if (published == reply.body) {
            findings.isKept();
        } else {
            findings.isBroken(u"The server has %1, which is not that of \"%2\": %3."_s.arg(
                buildOf(result.manifest), path, buildOf(parsedManifest(published).manifest)));
        }
    }
    result.demands.append(findings.demand());
}

void lookAtManifestHeaders(const LiveReply &reply, const LiveReply &least, LiveResult &result)
{
    LiveFindings packed(u"The manifest comes compressed"_s);
    LiveFindings fresh(u"The manifest is asked for anew each time"_s);
    if (result.manifest.valid) {
        if (least.status == 200) {
            packed.check(!encodingOf(least).isEmpty(),
                         u"It has %1 bytes, and no Content-Encoding."_s.arg(reply.body.size()));
        }
        const LiveCaching caching(reply.header("Cache-Control"));
        fresh.check(caching.has("no-cache") || caching.has("no-store"),
                    u"Its Cache-Control is \"%1\" instead of \"no-cache\"."_s.arg(caching.text()));
    }
    result.demands += {packed.demand(), fresh.demand()};
}

/// No content has this for its hash.
void lookForWhatIsMissing(const LiveOrder &order, LiveServer &server, LiveResult &result)
{
    LiveFindings findings(u"What is missing is answered with 404"_s);
    const QUrl address = order.manifest.resolved(QUrl(TreeLayout::contentUrl(QString(64, u'0'))));
    LiveRequest request{address};
    request.mostBytes = largestPage;
    const LiveReply reply = server.answerTo(request);
    if (reply.status == 0 && !reply.isUntrusted) {
        findings.isBroken(u"\"%1\" cannot be reached: %2."_s.arg(address.toDisplayString(), reply.reason));
    } else if (reply.status != 0) {
        findings.check(
            reply.status == 404,
            u"\"%1\", which is not there, is answered with %2."_s.arg(address.toDisplayString()).arg(reply.status));
    }
    result.demands.append(findings.demand());
}

} // namespace

bool LiveResult::isGood() const
{
    return std::none_of(demands.begin(), demands.end(),
                        [](const LiveDemand &demand) { return demand.state == LiveDemand::State::Broken; });
}

LiveCheck::LiveCheck(const LiveOrder &order)
    : order_(order)
    , now_(QDateTime::currentDateTimeUtc())
{}

LiveResult LiveCheck::run()
{
    LiveResult result;
    LiveServer server(order_.trusted);
    LiveRequest request{order_.manifest}; // Qt unpacks it as it does for the launcher
    request.mostBytes = largestManifest;
    const LiveReply reply = server.answerTo(request);
    lookWhetherSecure(order_, reply, result);
    const LiveReply least = reply.status == 200 ? leastPacked(order_, server) : LiveReply();
    lookWhetherRead(order_, reply, least, result);
    lookWhetherFresh(order_, reply, result);
    lookAtManifestHeaders(reply, least, result);
    LiveFiles files(order_, server, result.manifest);
    files.setProgress(progress_);
    result.demands += files.run();
    result.files = files.count();
    result.filesAsked = files.countAsked();
    if (reply.status != 0) {
        lookForWhatIsMissing(order_, server, result);
    }
    const QList<LiveDemand> ofServers = lookAtServers(order_, now_, server.peers()); // when all have been met
    result.demands = result.demands.first(1) + ofServers + result.demands.sliced(1);
    return result;
}

} // namespace velmo::publish
