#pragma once

#include "studio/FaultPlan.h"
#include "studio/Reply.h"
#include "studio/Resource.h"
#include "studio/ServedTree.h"

#include <QHash>
#include <QMutex>
#include <QString>

#include <atomic>
#include <optional>

namespace velmo::studio {

struct HttpRequest;

/// What the studio serves and how it misbehaves. Every function may be called from any thread at any time.
class Site {
public:
    Site() = default;
    Q_DISABLE_COPY_MOVE(Site)

    /// Serves the files under \a root, or none when it is empty, and counts attempts anew.
    void open(const QString &root);

    void setDocument(const QString &path, const QByteArray &body, const QByteArray &contentType);
    void removeDocument(const QString &path);
    /// Serves the file \a fileName at \a path, wherever it lies, as it is at each request.
    void setFile(const QString &path, const QString &fileName);

    void addFault(const QString &path, const Fault &fault);
    void clearFaults();

    /// Of each connection, bodies alone; 0 is unlimited.
    void setBytesPerSecond(qint64 bytesPerSecond) { bytesPerSecond_ = bytesPerSecond; }
    qint64 bytesPerSecond() const { return bytesPerSecond_; }

    /// Answers \a request and says in \a record, beside the request, how.
    Reply answer(const HttpRequest &request, Request &record);

private:
    std::optional<Resource> find(const HttpRequest &request) const;
    std::optional<Resource> findInTree(const HttpRequest &request) const;

    mutable QMutex mutex_;
    ServedTree tree_;
    QHash<QString, Document> documents_;
    QHash<QString, QString> files_;
    FaultPlan plan_;
    std::atomic<qint64> bytesPerSecond_ = 0;
};

} // namespace velmo::studio
