#include "support/RemoteStudio.h"

#include <QDir>

#include <windows.h>

namespace velmo::test {

namespace {

/// The path by which the Linux side knows what \a path names here. Wine's own kernel tells it.
QString linuxPath(const QString &path)
{
    using Translate = char *(*)(const wchar_t *);
    const auto translate = reinterpret_cast<Translate>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    if (!translate) {
        qFatal("This is not Wine, so there is no Linux side");
    }
    const std::wstring native = QDir::toNativeSeparators(path).toStdWString();
    char *const translated = translate(native.c_str());
    const QString result = QString::fromUtf8(translated);
    HeapFree(GetProcessHeap(), 0, translated);
    return result;
}

} // namespace

QString RemoteStudio::start(const Options &options)
{
    Options theirs = options;
    if (!options.root.isEmpty()) {
        theirs.root = linuxPath(options.root);
    }
    QString problem;
    port_ = host_.start(HostCall::StartStudio, problem, theirs);
    return problem;
}

void RemoteStudio::stop()
{
    host_.call(HostCall::StopStudio);
    port_ = 0;
}

QUrl RemoteStudio::url(const QString &path) const
{
    QUrl url;
    url.setScheme(QStringLiteral("https"));
    url.setHost(QStringLiteral("127.0.0.1"));
    url.setPort(port_);
    url.setPath(path);
    return url;
}

void RemoteStudio::setDocument(const QString &path, const QByteArray &body, const QByteArray &contentType)
{
    host_.call(HostCall::SetDocument, path, body, contentType);
}

void RemoteStudio::removeDocument(const QString &path)
{
    host_.call(HostCall::RemoveDocument, path);
}

void RemoteStudio::addFault(const QString &path, const studio::Fault &fault)
{
    host_.call(HostCall::AddFault, path, fault);
}

void RemoteStudio::clearFaults()
{
    host_.call(HostCall::ClearFaults);
}

void RemoteStudio::setBytesPerSecond(qint64 bytesPerSecond)
{
    host_.call(HostCall::SetBytesPerSecond, bytesPerSecond);
}

QList<studio::Request> RemoteStudio::requests() const
{
    return host_.ask<QList<studio::Request>>(HostCall::Requests);
}

QList<studio::Request> RemoteStudio::requests(const QString &path) const
{
    QList<studio::Request> result = requests();
    result.removeIf([&path](const studio::Request &request) { return request.path != path; });
    return result;
}

void RemoteStudio::clearRequests()
{
    host_.call(HostCall::ClearRequests);
}

} // namespace velmo::test
