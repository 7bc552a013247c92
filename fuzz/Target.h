#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QList>
#include <QString>

namespace velmo::fuzz {

/// What a target does with one input; each target defines it. Anything goes in, and only require() may end it.
void feed(const QByteArray &input);

/// Ends the program, as a crash would, when a promise of the launcher does not hold.
void require(bool holds, const char *promise);

/// How many warnings and worse the present input has brought so far.
qsizetype warnings();

/// A folder that is empty at the first call for an input. Nothing outside of it is written to.
QString scratchFolder();

/// Puts \a bytes into the file \a path, whose folder exists or is made.
void writeFile(const QString &path, const QByteArray &bytes);
/// All that \a path holds; null when it cannot be read.
QByteArray readFile(const QString &path);

/// The parts of an input that carries several things, separated by one byte.
QList<QByteArray> parts(const QByteArray &input, char separator = '\x1e');

/// An application object, which much of Qt wants, from the first call on. It is never deleted: by the time that the
/// program's statics go, Qt's caches, which it would empty, have gone before it.
template<typename App = QCoreApplication>
void makeApplication()
{
    static int count = 1;
    static char name[] = "velmo-fuzz";
    static char *arguments[] = {name, nullptr};
    static const auto *const application = new App(count, arguments);
    Q_UNUSED(application)
}

} // namespace velmo::fuzz
