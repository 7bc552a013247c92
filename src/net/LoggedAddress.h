#pragma once

#include <QString>

namespace velmo {

/// \a address as a log may hold it: as it stands, but without its user name and password. Where no host can be made
/// out, nothing stays between the scheme and the last "@".
QString loggedAddress(const QString &address);

/// \a text, such as what Qt says of an error, without the user names and passwords of the addresses in it.
QString withoutUserInfo(QString text);

} // namespace velmo
