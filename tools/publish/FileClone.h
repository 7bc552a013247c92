#pragma once

class QFile;
class QString;

namespace velmo::publish {

/// Has \a copy, open for writing and empty, share all bytes of \a source on the drive, which copies none. False, with
/// the copy still empty, where the file system does not know how or the two lie on different ones.
bool cloneFile(const QString &source, const QFile &copy);

} // namespace velmo::publish
