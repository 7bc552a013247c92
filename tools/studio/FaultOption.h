#pragma once

#include "studio/StudioServer.h"

#include <QString>

namespace velmo::studio {

/// A fault as it is written on the command line: PATH=KIND[:ARGUMENT][@FIRST[-LAST]].
struct FaultOption {
    QString path; ///< decoded
    Fault fault;
    QString problem; ///< why the text is no such fault; empty when it is one

    static FaultOption parse(const QString &text);
    /// Every kind with its argument, what it does and an example, for a help text.
    static QString describeKinds();
};

} // namespace velmo::studio
