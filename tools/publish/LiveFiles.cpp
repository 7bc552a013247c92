#include "publish/LiveFiles.h"

#include "publish/ContentTree.h"
#include "publish/Sha256.h"

#include <QEventLoop>
#include <QFile>
#include <QSet>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace velmo::publish {

namespace {

constexpr qsizetype atATime = 4;
constexpr std::chrono::milliseconds reportTime = 200ms;
constexpr qint64 rangeBytes = qint64{64} * 1024;
constexpr qsizetype mostAskedPacked = 10; // each of them costs a connection
constexpr qint64 leastAge = qint64{30} * 24 * 60 * 60;

const std::pair<QByteArray, QByteArray> asItIs{"Accept-Encoding", "identity"};
const std::pair<QByteArray, QByteArray> packed{"Accept-Encoding", "gzip"};

} // namespace

/// The questions about one file, one after the other.
class LiveFile : public std::enable_shared_from_this<LiveFile> {
public:
    LiveFile(LiveFiles &files, const LiveFiles::File &file, const std::function<void()> &done)
        : files_(files)
        , file_(file)
        , done_(done)
        , first_(file.size / 2)
        , length_(std::min(rangeBytes, file.size - first_))
    {}

    void askForHead()
    {
        ask({file_.url, "HEAD"_ba, {asItIs}}, [](LiveFile &file, const LiveReply &reply) { file.meetHead(reply); });
    }

private:
    using Meet = void (*)(LiveFile &, const LiveReply &);

    void ask(const LiveRequest &request, Meet meet)
    {
        const auto self = shared_from_this();
        files_.server_.ask(request, [self, meet](const LiveReply &reply) {
            if (reply.isInsecure) {
                self->files_.secure_.isBroken(u"\"%1\" leads to an address without HTTPS."_s.arg(self->name()));
            } else if (reply.status != 0) {
                self->files_.secure_.isKept();
            }
            meet(*self, reply);
        });
    }

    QString name() const { return file_.url.toDisplayString(); }

    void meetHead(const LiveReply &reply)
    {
        if (reply.status != 200) {
            tellOfNone(reply);
            done_();
            return;
        }
        const QByteArray length = reply.header("Content-Length");
        files_.sizes_.check(length == QByteArray::number(file_.size),
                            u"\"%1\" has %2 bytes instead of %3."_s.arg(name(), QString::fromLatin1(length),
                                                                        QString::number(file_.size)));
        const LiveCaching caching(reply.header("Cache-Control"));
        const bool isKept = caching.maximumAge() >= leastAge && !caching.has("no-cache") && !caching.has("no-store") &&
                            !caching.has("private");
        files_.kept_.check(isKept, u"The Cache-Control of \"%1\" is \"%2\"."_s.arg(name(), caching.text()));
        lookAtEncoding(reply);
        askPacked();
    }

    void tellOfNone(const LiveReply &reply)
    {
        if (!reply.isUntrusted) { // of which another demand tells
            files_.sizes_.isBroken(reply.status != 0 ? u"\"%1\" is answered with %2."_s.arg(name()).arg(reply.status)
                                                     : u"\"%1\" cannot be reached: %2."_s.arg(name(), reply.reason));
        }
    }

    void lookAtEncoding(const LiveReply &reply)
    {
        const QByteArray encoding = reply.header("Content-Encoding").toLower();
        files_.plain_.check(encoding.isEmpty() || encoding == "identity",
                            u"\"%1\" comes with Content-Encoding \"%2\"."_s.arg(name(), QString::fromLatin1(encoding)));
    }

    /// Some servers compress what is asked for by GET alone, and only for who takes it.
    void askPacked()
    {
        if (files_.askedPacked_ >= mostAskedPacked) {
            askForRange();
            return;
        }
        ++files_.askedPacked_;
        ask({file_.url, "GET"_ba, {packed}, LiveRequest::Body::Ignored}, [](LiveFile &file, const LiveReply &reply) {
            if (reply.status == 200) {
                file.lookAtEncoding(reply);
            } else {
                file.tellOfNone(reply);
            }
            file.askForRange();
        });
    }

    void askForRange()
    {
        if (file_.size == 0) {
            askForAll();
            return;
        }
        LiveRequest request{file_.url, "GET"_ba, {asItIs, {"Range"_ba, "bytes=" + span()}}};
        request.mostBytes = length_;
        ask(request, [](LiveFile &file, const LiveReply &reply) { file.meetRange(reply); });
    }

    QByteArray span() const { return QByteArray::number(first_) + '-' + QByteArray::number(first_ + length_ - 1); }

    void meetRange(const LiveReply &reply)
    {
        const QByteArray place = reply.header("Content-Range");
        if (reply.status != 206) {
            files_.ranges_.isBroken(u"\"%1\" is answered with %2 to a Range."_s.arg(name()).arg(reply.status));
        } else if (!reply.reason.isEmpty() || reply.isTooLong || reply.body.size() != length_ ||
                   place.simplified() != "bytes " + span() + '/' + QByteArray::number(file_.size)) {
            files_.ranges_.isBroken(u"\"%1\" is answered to a Range with %2 bytes, as \"%3\", instead of \"%4\"."_s.arg(
                name(), QString::number(reply.body.size()), QString::fromLatin1(place), QString::fromLatin1(span())));
        } else {
            files_.ranges_.isKept();
            range_ = reply.body;
            if (!files_.order_.tree.isEmpty()) {
                compareWithTree();
            }
        }
        askForAll();
    }

    void compareWithTree()
    {
        QFile content(ContentTree(files_.order_.tree, files_.order_.game).contentFolder() + u'/' +
                      TreeLayout::contentName(file_.sha256));
        if (!content.exists()) {
            return; // of another build, of which another demand tells
        }
        if (!content.open(QIODevice::ReadOnly) || !content.seek(first_)) {
            files_.bytes_.isBroken(u"\"%1\" cannot be read: %2."_s.arg(content.fileName(), content.errorString()));
            return;
        }
        files_.bytes_.check(content.read(length_) == range_,
                            u"\"%1\" has other bytes than \"%2\"."_s.arg(name(), content.fileName()));
    }

    void askForAll()
    {
        if (!files_.order_.everyByte) {
            files_.meter_->addBytes(file_.size);
            done_();
            return;
        }
        LiveRequest request{file_.url, "GET"_ba, {asItIs}, LiveRequest::Body::Taken, file_.size};
        const auto self = shared_from_this();
        request.take = [self](const QByteArray &bytes) { self->take(bytes); };
        ask(request, [](LiveFile &file, const LiveReply &reply) { file.meetAll(reply); });
    }

    /// Keeps what the Range should have been.
    void take(const QByteArray &bytes)
    {
        hash_.add(bytes);
        const qint64 from = std::clamp<qint64>(first_ - taken_, 0, bytes.size());
        const qint64 to = std::clamp<qint64>(first_ + length_ - taken_, 0, bytes.size());
        rangeOfAll_ += bytes.sliced(from, to - from);
        taken_ += bytes.size();
        files_.meter_->addBytes(bytes.size());
    }

    void meetAll(const LiveReply &reply)
    {
        if (reply.status != 200 || !reply.reason.isEmpty()) {
            files_.bytes_.isBroken(u"\"%1\" does not come whole: %2."_s.arg(
                name(), reply.reason.isEmpty() ? QString::number(reply.status) : reply.reason));
        } else if (const QString sha256 = hash_.take(); sha256 != file_.sha256) {
            files_.bytes_.isBroken(u"\"%1\" has %2 bytes with the hash %3 instead of %4 with %5."_s.arg(
                name(), reply.isTooLong ? u"more"_s : QString::number(taken_), sha256, QString::number(file_.size),
                file_.sha256));
        } else {
            files_.bytes_.isKept();
            if (!range_.isEmpty() && range_ != rangeOfAll_) {
                files_.ranges_.isBroken(u"\"%1\" has other bytes in a Range."_s.arg(name()));
            }
        }
        done_();
    }

    LiveFiles &files_;
    const LiveFiles::File file_;
    std::function<void()> done_;
    qint64 first_;
    qint64 length_;
    QByteArray range_;
    Sha256 hash_;
    qint64 taken_ = 0;
    QByteArray rangeOfAll_;
};

LiveFiles::LiveFiles(const LiveOrder &order, LiveServer &server, const Manifest &manifest)
    : order_(order)
    , server_(server)
    , secure_(u"Content files come over HTTPS"_s)
    , sizes_(u"Content files are there, with their sizes"_s)
    , ranges_(u"Content files come in parts, too"_s)
    , bytes_(u"Content files have the right bytes"_s)
    , plain_(u"Content files are not compressed"_s)
    , kept_(u"Content files may be kept for good"_s)
{
    choose(manifest);
}

/// Each content once, in the order of the hashes, so that a sample is the same each time and has of all folders.
void LiveFiles::choose(const Manifest &manifest)
{
    QSet<QByteArray> seen;
    for (const ManifestFile &file : manifest.files) {
        const QUrl url = order_.manifest.resolved(QUrl(file.url.isEmpty() ? file.path : file.url));
        if (url.scheme() != "https"_L1) {
            secure_.isBroken(u"The address of \"%1\" is \"%2\"."_s.arg(file.path, url.toDisplayString()));
        } else if (const QByteArray key =
                       url.toEncoded() + ' ' + file.sha256.toLatin1() + ' ' + QByteArray::number(file.size);
                   !seen.contains(key)) {
            seen.insert(key);
            files_.append({url, file.sha256, file.size});
        }
    }
    count_ = files_.size();
    std::sort(files_.begin(), files_.end(), [](const File &a, const File &b) { return a.sha256 < b.sha256; });
    if (order_.sample > 0 && order_.sample < count_) {
        files_.resize(order_.sample);
    }
}

QList<LiveDemand> LiveFiles::run()
{
    ask();
    QList<LiveDemand> demands = {secure_.demand(), sizes_.demand(), ranges_.demand()};
    if (order_.everyByte || !order_.tree.isEmpty()) {
        demands.append(bytes_.demand());
    }
    return demands + QList<LiveDemand>{plain_.demand(), kept_.demand()};
}

void LiveFiles::ask()
{
    if (files_.isEmpty()) {
        return;
    }
    qint64 bytes = 0;
    for (const File &file : files_) {
        bytes = addSizes(bytes, file.size);
    }
    meter_.emplace(progress_);
    meter_->begin(PublishStep::Check, files_.size(), bytes);
    QTimer ticks;
    QObject::connect(&ticks, &QTimer::timeout, &ticks, [this] { meter_->report(); });
    ticks.start(reportTime);
    QEventLoop loop;
    qsizetype begun = 0;
    qsizetype ended = 0;
    const std::function<void()> askNext = [&] {
        if (begun < files_.size()) {
            std::make_shared<LiveFile>(*this, files_.at(begun++), [&] {
                meter_->addFile();
                ++ended;
                ended < files_.size() ? askNext() : loop.quit();
            })->askForHead();
        }
    };
    while (begun < std::min(atATime, files_.size())) {
        askNext();
    }
    loop.exec();
    meter_->finish();
}

} // namespace velmo::publish
