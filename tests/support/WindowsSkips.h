#pragma once

#include <QMetaObject>
#include <QStringList>

namespace velmo::test {

/// The test functions of \a test that run on Windows: all but those of the table in WindowsSkips.cpp, each of which is
/// said with its reason. Empty when all run.
QStringList functionsForWindows(const QMetaObject &test);

} // namespace velmo::test
