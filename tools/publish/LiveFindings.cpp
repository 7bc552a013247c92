#include "publish/LiveFindings.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qsizetype mostProblems = 10;

} // namespace

LiveFindings::LiveFindings(const QString &text)
{
    demand_.text = text;
}

void LiveFindings::isKept()
{
    if (demand_.state == LiveDemand::State::NotAsked) {
        demand_.state = LiveDemand::State::Kept;
    }
}

void LiveFindings::isBroken(const QString &problem)
{
    demand_.state = LiveDemand::State::Broken;
    if (demand_.problems.size() < mostProblems) {
        demand_.problems.append(problem);
    } else {
        ++others_;
    }
}

LiveDemand LiveFindings::demand() const
{
    LiveDemand demand = demand_;
    if (others_ > 0) {
        demand.problems.append(u"It is the same with %1 more."_s.arg(others_));
    }
    return demand;
}

LiveCaching::LiveCaching(const QByteArray &header)
    : header_(header)
{
    for (const QByteArray &directive : header.toLower().split(',')) {
        directives_.append(directive.trimmed());
    }
}

bool LiveCaching::has(const QByteArray &directive) const
{
    return directives_.contains(directive);
}

qint64 LiveCaching::maximumAge() const
{
    constexpr QByteArrayView name = "max-age=";
    for (const QByteArray &directive : directives_) {
        if (directive.startsWith(name)) {
            return directive.sliced(name.size()).toLongLong();
        }
    }
    return 0;
}

} // namespace velmo::publish
