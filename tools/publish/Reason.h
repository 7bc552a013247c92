#pragma once

#include <QString>

namespace velmo::publish {

/// What a system says of a failure, for the end of a sentence: Windows' own sentences bring their dot, some a line's
/// end.
QString reasonText(const QString &told);

} // namespace velmo::publish
