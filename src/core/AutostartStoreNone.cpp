#include "core/AutostartStore.h"

namespace velmo {

namespace {

/// For desktops without a Run key: says so, and the setting is not offered.
class NoAutostartStore : public AutostartStore {
public:
    bool supported() const override { return false; }
    QString read() const override { return {}; }
    QSettings::Status write(const QString & /*command*/) override { return QSettings::AccessError; }
    QSettings::Status remove() override { return QSettings::AccessError; }
};

} // namespace

AutostartStore &AutostartStore::platformStore()
{
    static NoAutostartStore store;
    return store;
}

} // namespace velmo
