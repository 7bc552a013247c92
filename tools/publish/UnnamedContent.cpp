#include "publish/UnnamedContent.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTimeZone>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qint64 secondsPerDay = qint64{24} * 60 * 60;

} // namespace

UnnamedContent::UnnamedContent(const QByteArray &json, const QDateTime &now)
{
    static const QRegularExpression hash(u"\\A[0-9a-f]{64}\\z"_s);
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const QDateTime since = QDateTime::fromString(entry.value().toString(), Qt::ISODate);
        if (hash.match(entry.key()).hasMatch() && since.isValid() && since <= now) {
            since_.insert(ContentHash(entry.key()), since.toSecsSinceEpoch());
        }
    }
}

void UnnamedContent::update(const QList<ContentHash> &present, const QSet<ContentHash> &named, const QDateTime &now)
{
    QHash<ContentHash, qint64> since;
    for (const ContentHash &hash : present) {
        if (!named.contains(hash)) {
            since.insert(hash, since_.value(hash, now.toSecsSinceEpoch()));
        }
    }
    since_ = since;
}

QList<ContentHash> UnnamedContent::olderThan(int days, const QDateTime &now) const
{
    const qint64 latest = now.toSecsSinceEpoch() - days * secondsPerDay;
    QList<ContentHash> old;
    for (auto entry = since_.begin(); entry != since_.end(); ++entry) {
        if (entry.value() <= latest) {
            old.append(entry.key());
        }
    }
    return old;
}

void UnnamedContent::forget(const QList<ContentHash> &contents)
{
    for (const ContentHash &hash : contents) {
        since_.remove(hash);
    }
}

QByteArray UnnamedContent::json() const
{
    QJsonObject object;
    for (auto entry = since_.begin(); entry != since_.end(); ++entry) {
        object.insert(entry.key().digits(),
                      QDateTime::fromSecsSinceEpoch(entry.value(), QTimeZone::utc()).toString(Qt::ISODate));
    }
    return QJsonDocument(object).toJson();
}

} // namespace velmo::publish
