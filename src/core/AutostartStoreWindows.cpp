#include "core/AutostartStore.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

const QString runKey = uR"(HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Run)"_s;
const QString valueName = u"VelmoLauncher"_s;

QSettings::Status synced(QSettings &settings)
{
    settings.sync();
    return settings.status();
}

/// The per-user Run key of the registry. It is opened anew for each access, since a QSettings keeps its first error.
class RunKeyStore : public AutostartStore {
public:
    bool supported() const override { return true; }

    QString read() const override { return QSettings(runKey, QSettings::NativeFormat).value(valueName).toString(); }

    QSettings::Status write(const QString &command) override
    {
        QSettings settings(runKey, QSettings::NativeFormat);
        settings.setValue(valueName, command);
        return synced(settings);
    }

    QSettings::Status remove() override
    {
        QSettings settings(runKey, QSettings::NativeFormat);
        settings.remove(valueName);
        return synced(settings);
    }
};

} // namespace

AutostartStore &AutostartStore::platformStore()
{
    static RunKeyStore store;
    return store;
}

} // namespace velmo
