#include "WrittenWords.h"

#include <QRegularExpression>
#include <QStringList>

namespace velmo::faults {

namespace {

using namespace Qt::Literals::StringLiterals;

const QStringList &patterns()
{
    static const QStringList all = {
        // the check
        u"Unable to connect to the Velmo Games servers\\. Check your internet connection and try again\\."_s,
        u"The secure connection to the Velmo Games servers could not be verified\\. This can be caused by antivirus "
        "software or a proxy inspecting traffic\\."_s,
        u"Access to this Velmo Games service was denied\\."_s,
        u"The requested Velmo Games service could not be found\\. The launcher may need updating\\."_s,
        u"The Velmo Games servers are not responding correctly right now\\. Please try again shortly\\."_s,
        u"The Velmo Games servers rejected the request\\."_s,
        u"Unable to reach the Velmo Games servers\\."_s,
        u"The Velmo Games servers returned an unexpected response\\."_s,
        u"The update information from the Velmo Games servers could not be read\\."_s,
        // the folder
        u"The launcher could not create the installation folder\\. Choose a different location, or run the launcher "
        "from a folder you can write to\\."_s,
        u"The launcher does not have permission to write to the installation folder\\."_s,
        u"There is not enough free space to install .+\\.  .+ is required and .+ is available on that drive\\."_s,
        // the files
        u"A game file could not be downloaded safely\\."_s,
        u"The launcher could not write to the installation folder\\."_s,
        u"The launcher ran out of space, or could not write to the installation folder\\."_s,
        u"A game file could not be downloaded\\. The launcher will try again\\."_s,
        u"A game file downloaded incompletely\\. The launcher will try again\\."_s,
        u"A downloaded game file could not be read back for verification\\."_s,
        u"A downloaded game file failed verification and was discarded\\."_s,
        u"The launcher could not replace a game file\\. It may be in use\\."_s,
        u"The launcher could not finish writing a game file\\."_s,
    };
    return all;
}

} // namespace

bool isForThePlayer(const QString &message)
{
    static const QRegularExpression known(QRegularExpression::anchoredPattern(patterns().join(u'|')));
    return known.match(message).hasMatch();
}

} // namespace velmo::faults
