#include "core/Autostart.h"

#include "core/AutostartStore.h"
#include "core/Logging.h"

#include <QCoreApplication>
#include <QDir>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

bool autostartSupported()
{
    return AutostartStore::instance().supported();
}

bool autostartEnabled()
{
    return !autostartCommand().isEmpty();
}

QString autostartCommand()
{
    return AutostartStore::instance().read();
}

QString expectedAutostartCommand()
{
    const QString program = QDir::toNativeSeparators(QCoreApplication::applicationFilePath());
    return u'"' + program + u'"' + u" --autostart"_s;
}

bool setAutostartEnabled(bool enabled)
{
    AutostartStore &store = AutostartStore::instance();
    const QSettings::Status status = enabled ? store.write(expectedAutostartCommand()) : store.remove();
    if (status != QSettings::NoError) {
        qCWarning(lcApp) << "Could not write the autostart entry, status" << status;
        return false;
    }
    qCInfo(lcApp) << "Autostart" << (enabled ? "enabled" : "disabled");
    return true;
}

void refreshAutostartPath()
{
    const QString present = autostartCommand();
    if (present.isEmpty() || present == expectedAutostartCommand()) {
        return;
    }
    qCInfo(lcApp) << "Autostart entry points at a stale path, rewriting";
    setAutostartEnabled(true);
}

} // namespace velmo
