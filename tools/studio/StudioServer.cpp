#include "studio/StudioServer.h"

#include "studio/Listener.h"
#include "studio/Site.h"

#include <QDir>
#include <QEventLoop>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>

#include <atomic>
#include <semaphore>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

/// The thread on which the port lives, and what both sides of it share.
class StudioServer::Worker {
public:
    ~Worker() { stop(); }

    QString start(const Options &options);
    void stop();

    Site site;
    std::atomic<quint16> port = 0; ///< 0 while nothing listens

    void record(const Request &request);
    QList<Request> recorded() const;
    void forget();

private:
    void serve(const Options &options);

    QMutex lifecycle_; ///< held while the thread comes or goes
    std::unique_ptr<QThread> thread_;
    std::binary_semaphore started_{0};
    QString problem_; ///< of the thread, until started_

    mutable QMutex recordMutex_;
    QList<Request> requests_;
};

QString StudioServer::Worker::start(const Options &options)
{
    const QMutexLocker lock(&lifecycle_);
    if (thread_) {
        problem_ = u"the studio is already running"_s;
    } else if (!options.root.isEmpty() && !QDir(options.root).exists()) {
        problem_ = u"there is no folder %1"_s.arg(QDir::toNativeSeparators(options.root));
    } else {
        problem_.clear();
        site.open(options.root);
        site.setBytesPerSecond(options.bytesPerSecond);
        thread_.reset(QThread::create([this, options] { serve(options); }));
        thread_->setObjectName("studio"_L1);
        thread_->start();
        started_.acquire();
        if (!problem_.isEmpty()) {
            thread_->wait();
            thread_.reset();
        }
    }
    return problem_;
}

void StudioServer::Worker::stop()
{
    const QMutexLocker lock(&lifecycle_);
    if (thread_) {
        thread_->quit();
        thread_->wait();
        thread_.reset();
    }
}

/// Runs on the thread. The listener takes its port and every connection with it when it goes.
void StudioServer::Worker::serve(const Options &options)
{
    Listener listener(&site);
    QObject::connect(&listener, &Listener::answered, &listener, [this](const Request &request) { record(request); });
    problem_ = listener.start(options.certificateChain, options.privateKey, options.port);
    port = listener.serverPort();
    started_.release();
    if (listener.isListening()) {
        QEventLoop().exec();
    }
    port = 0;
}

void StudioServer::Worker::record(const Request &request)
{
    const QMutexLocker lock(&recordMutex_);
    requests_.append(request);
}

QList<Request> StudioServer::Worker::recorded() const
{
    const QMutexLocker lock(&recordMutex_);
    return requests_;
}

void StudioServer::Worker::forget()
{
    const QMutexLocker lock(&recordMutex_);
    requests_.clear();
}

StudioServer::StudioServer()
    : worker_(std::make_unique<Worker>())
{}

StudioServer::~StudioServer() = default;

QString StudioServer::start(const Options &options)
{
    return worker_->start(options);
}

void StudioServer::stop()
{
    worker_->stop();
}

bool StudioServer::isRunning() const
{
    return port() != 0;
}

quint16 StudioServer::port() const
{
    return worker_->port;
}

QUrl StudioServer::url(const QString &path) const
{
    QUrl url;
    url.setScheme(u"https"_s);
    url.setHost(u"127.0.0.1"_s);
    url.setPort(port());
    url.setPath(path);
    return url;
}

void StudioServer::setDocument(const QString &path, const QByteArray &body, const QByteArray &contentType)
{
    worker_->site.setDocument(path, body, contentType);
}

void StudioServer::removeDocument(const QString &path)
{
    worker_->site.removeDocument(path);
}

void StudioServer::addFault(const QString &path, const Fault &fault)
{
    worker_->site.addFault(path, fault);
}

void StudioServer::clearFaults()
{
    worker_->site.clearFaults();
}

void StudioServer::setBytesPerSecond(qint64 bytesPerSecond)
{
    worker_->site.setBytesPerSecond(bytesPerSecond);
}

QList<Request> StudioServer::requests() const
{
    return worker_->recorded();
}

QList<Request> StudioServer::requests(const QString &path) const
{
    QList<Request> matching;
    const QList<Request> all = requests();
    for (const Request &request : all) {
        if (request.path == path) {
            matching.append(request);
        }
    }
    return matching;
}

void StudioServer::clearRequests()
{
    worker_->forget();
}

} // namespace velmo::studio
