#pragma once

#include "studio/StudioServer.h"

#include <QString>

#include <optional>

namespace velmo::studio {

/// A fault as it is written on the command line: PATH=KIND[:ARGUMENT][@FIRST[-LAST]].
struct FaultOption {
    QString path; ///< decoded
    Fault fault;

    /// Nothing, with the reason in \a error, when \a text is not such a fault.
    static std::optional<FaultOption> parse(const QString &text, QString *error);
    /// Every kind with its argument, what it does and an example, for a help text.
    static QString describeKinds();
};

} // namespace velmo::studio
