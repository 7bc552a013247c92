#pragma once

#include "studio/FaultOption.h"

#include <QCommandLineParser>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>

namespace velmo::studio {

/// What was asked of velmo-studio on its command line.
class StudioArguments {
public:
    enum Outcome {
        Serve,
        ShowHelp,
        ShowVersion,
        Misused,
    };

    StudioArguments();

    /// Reads \a arguments, of which the first is the program's name. Misused comes with the reason in \a error.
    Outcome parse(const QStringList &arguments, QString *error);
    QString helpText() const;

    QString tree;
    QString news;   ///< empty when there is none
    QString status; ///< empty when there is none
    QString certificate;
    QString key;
    quint16 port = 0;
    qint64 bytesPerSecond = 0;
    QList<FaultOption> faults;
    std::chrono::seconds runFor{0}; ///< 0 is without an end
    bool quiet = false;

private:
    bool takeFiles(QString *error);
    bool takeNumbers(QString *error);
    bool takeFaults(QString *error);
    bool takeNumber(const QString &option, qint64 smallest, qint64 largest, qint64 &number, QString *error);

    QCommandLineParser parser_;
};

} // namespace velmo::studio
