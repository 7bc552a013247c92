#pragma once

#include "data/Manifest.h"
#include "publish/LiveServer.h"
#include "publish/ProgressMeter.h"

#include <QDateTime>
#include <QList>
#include <QSslCertificate>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace velmo::publish {

/// What is to be asked of a server.
struct LiveOrder {
    QUrl manifest;                  ///< the address of a channel's manifest.json, https
    QString tree;                   ///< what was published there; may be empty
    QString game;                   ///< in the tree
    qsizetype sample = 0;           ///< of so many files; 0 is all
    bool everyByte = false;         ///< fetch them whole, and hash them
    QList<QSslCertificate> trusted; ///< beside the system's authorities
};

/// One thing that is demanded of a server, and how it stands.
struct LiveDemand {
    enum class State { NotAsked, Kept, Broken };

    QString text;
    State state = State::NotAsked;
    QStringList problems; ///< sentences, of many alike the first
};

struct LiveResult {
    QList<LiveDemand> demands;
    Manifest manifest;        ///< as served; invalid when it cannot be read
    qsizetype files = 0;      ///< content files that the manifest names
    qsizetype filesAsked = 0; ///< of them

    /// Whether nothing is broken. Where something could not be asked for, something else is, or there is none of it.
    bool isGood() const;
};

/// Asks a live server what docs/content-server.md demands of it. Runs on a thread with Qt's event dispatcher.
class LiveCheck {
public:
    explicit LiveCheck(const LiveOrder &order);

    void setProgress(const ProgressCallback &callback) { progress_ = callback; }
    /// What the certificates are held against instead of the present.
    void setNow(const QDateTime &now) { now_ = now; }
    LiveResult run();

private:
    LiveOrder order_;
    ProgressCallback progress_;
    QDateTime now_;
};

} // namespace velmo::publish
