#include "support/LogCapture.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

LogCapture *current = nullptr;

QString tag(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return u"DEBUG"_s;
    case QtInfoMsg:
        return u"INFO"_s;
    case QtWarningMsg:
        return u"WARN"_s;
    case QtCriticalMsg:
        return u"ERROR"_s;
    case QtFatalMsg:
        return u"FATAL"_s;
    }
    return {};
}

} // namespace

LogCapture::LogCapture()
{
    Q_ASSERT(!current);
    current = this;
    previous_ = qInstallMessageHandler(handle);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(previous_);
    current = nullptr;
}

QList<LogCapture::Line> LogCapture::lines() const
{
    const QMutexLocker lock(&mutex_);
    return lines_;
}

QList<LogCapture::Line> LogCapture::lines(const QString &category) const
{
    QList<Line> matching;
    const QList<Line> all = lines();
    for (const Line &line : all) {
        if (line.category == category) {
            matching.append(line);
        }
    }
    return matching;
}

QStringList LogCapture::texts(const QString &category) const
{
    QStringList result;
    const QList<Line> wanted = category.isEmpty() ? lines() : lines(category);
    for (const Line &line : wanted) {
        result.append(u"%1 %2: %3"_s.arg(tag(line.type), line.category, line.text));
    }
    return result;
}

qsizetype LogCapture::count(QtMsgType type, const QString &category, const QString &text) const
{
    const QMutexLocker lock(&mutex_);
    return lines_.count(Line{type, category, text});
}

bool LogCapture::contains(QtMsgType type, const QString &category, const QString &text) const
{
    return count(type, category, text) > 0;
}

void LogCapture::clear()
{
    const QMutexLocker lock(&mutex_);
    lines_.clear();
}

void LogCapture::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type == QtFatalMsg) {
        current->previous_(type, context, text); // so that a failing assertion still says why
        return;
    }
    const QMutexLocker lock(&current->mutex_);
    current->lines_.append({type, QString::fromUtf8(context.category), text});
}

} // namespace velmo::test
