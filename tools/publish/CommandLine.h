#pragma once

#include "publish/LiveCheck.h"
#include "publish/Publisher.h"
#include "publish/Push.h"

#include <QString>
#include <QStringList>

namespace velmo::publish {

/// What the arguments of velmo-publish ask for.
struct CommandLine {
    enum class Task { Help, Publish, Check, CheckLive, Push, Mistake };

    Task task = Task::Mistake;
    QString mistake;    ///< a sentence, for Mistake
    PublishOrder order; ///< whole for Publish; for Check its tree, game and jobs
    LiveOrder live;     ///< for CheckLive, but for what it trusts
    QString trust;      ///< for CheckLive: a file of certificates; may be empty
    PushOrder push;     ///< for Push, and for Publish when its remote is not empty
};

/// \a arguments begin with the program's name.
CommandLine parseCommandLine(const QStringList &arguments);

/// All that --help says.
QString commandLineHelp();

} // namespace velmo::publish
