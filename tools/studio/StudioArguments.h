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

    /// Reads \a arguments, of which the first is the program's name.
    Outcome parse(const QStringList &arguments);
    QString helpText() const;

    QString problem; ///< why they are Misused
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
    void takeFiles();
    void takeNumbers();
    void takeFaults();
    qint64 takeNumber(const QString &option, qint64 smallest, qint64 largest);
    void refuse(const QString &reason);

    QCommandLineParser parser_;
};

} // namespace velmo::studio
