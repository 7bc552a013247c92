#pragma once

#include <QSettings>
#include <QString>

namespace velmo {

/// The platform's one per-user place for "start this program at sign-in". Holds a single command under the launcher's
/// name and decides nothing. Main thread only.
class AutostartStore {
public:
    virtual ~AutostartStore() = default;

    /// Whether this platform has such a place at all; without one, read() is empty and every write fails.
    virtual bool supported() const = 0;
    /// The stored command; empty when there is none.
    virtual QString read() const = 0;
    [[nodiscard]] virtual QSettings::Status write(const QString &command) = 0;
    /// Removing what is not there succeeds.
    [[nodiscard]] virtual QSettings::Status remove() = 0;

    /// The store in use: the platform's own unless replaced.
    static AutostartStore &instance();
    /// Puts \a store, which must outlive its use, in the place of the platform's; null brings the platform's back.
    static void replaceInstance(AutostartStore *store);

protected:
    AutostartStore() = default;
    Q_DISABLE_COPY_MOVE(AutostartStore)

private:
    /// The platform's own store; each platform's file defines it.
    static AutostartStore &platformStore();
};

} // namespace velmo
