#pragma once

#include <QLoggingCategory>

namespace velmo {

Q_DECLARE_LOGGING_CATEGORY(lcAccount)
Q_DECLARE_LOGGING_CATEGORY(lcApp)
Q_DECLARE_LOGGING_CATEGORY(lcConfig)
Q_DECLARE_LOGGING_CATEGORY(lcDownload)
Q_DECLARE_LOGGING_CATEGORY(lcGame)
Q_DECLARE_LOGGING_CATEGORY(lcNet)
Q_DECLARE_LOGGING_CATEGORY(lcUi)
Q_DECLARE_LOGGING_CATEGORY(lcUpdate)
Q_DECLARE_LOGGING_CATEGORY(lcVerify)

/// Sends every Qt log message from now on to the standard streams and to a new file in logsDirectory(), after old log
/// files were pruned. Without a usable directory only the streams are served. Does nothing while a log file is open.
void initLogging();

/// Closes the log file and gives the messages back to the handler that stood before. Safe to call twice.
void shutdownLogging();

} // namespace velmo
