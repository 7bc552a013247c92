#pragma once

#include <QMetaType>

namespace velmo {

/// Where the game stands. The resting states NotInstalled, Installed and UpdateAvailable are derived from the disk and
/// the last check; the others last as long as their operation.
enum class GameState {
    CheckingInstallation,
    NotInstalled,
    Installed,
    UpdateAvailable,
    Downloading,
    Installing,
    Verifying,
    Repairing,
    Launching,
    Running,
    Error,
};

/// How the last update check found the studio's servers.
enum class ServiceStatus {
    Connecting,
    Online,
    Offline,
    Maintenance, ///< has its caption; nothing reports it yet
    Degraded,
};

/// Whether files are being fetched, written or checked in \a state.
constexpr bool isTransfer(GameState state)
{
    return state == GameState::Downloading || state == GameState::Installing || state == GameState::Verifying ||
           state == GameState::Repairing;
}

} // namespace velmo

Q_DECLARE_METATYPE(velmo::GameState)
Q_DECLARE_METATYPE(velmo::ServiceStatus)
