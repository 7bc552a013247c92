#include "net/LoggedAddress.h"

#include <QRegularExpression>
#include <QUrl>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

QString loggedAddress(const QString &address)
{
    const QUrl url(address);
    if (url.scheme() == "mailto"_L1) {
        return address; // a name before the "@", and no secret
    }
    if (url.isValid() && !url.host().isEmpty()) {
        return withoutUserInfo(address);
    }
    // Where a slip of the pen hides the password from an address's parser, it must not lie open here.
    static const QRegularExpression upToTheLastAt(uR"(^(\s*(?:[a-z][a-z0-9+.-]*:)?[/\\]*).*@)"_s,
                                                  QRegularExpression::CaseInsensitiveOption |
                                                      QRegularExpression::DotMatchesEverythingOption);
    return QString(address).replace(upToTheLastAt, u"\\1"_s);
}

QString withoutUserInfo(QString text)
{
    static const QRegularExpression userInfo(u"//[^/?#]*@"_s);
    return text.replace(userInfo, u"//"_s);
}

} // namespace velmo
