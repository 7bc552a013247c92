#pragma once

#include "publish/LiveCheck.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

namespace velmo::publish {

/// What is found out about one demand. Once broken, it stays so.
class LiveFindings {
public:
    explicit LiveFindings(const QString &text);

    void isKept();
    void isBroken(const QString &problem);
    void check(bool kept, const QString &problem) { kept ? isKept() : isBroken(problem); }

    /// With no more than the first problems, and the count of the others.
    LiveDemand demand() const;

private:
    LiveDemand demand_;
    qsizetype others_ = 0;
};

/// A Cache-Control header.
class LiveCaching {
public:
    explicit LiveCaching(const QByteArray &header);

    QString text() const { return QString::fromLatin1(header_); }
    bool has(const QByteArray &directive) const;
    /// For how many seconds; 0 when it does not say.
    qint64 maximumAge() const;

private:
    QByteArray header_;
    QByteArrayList directives_;
};

} // namespace velmo::publish
