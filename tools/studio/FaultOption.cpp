#include "studio/FaultOption.h"

#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

namespace {

struct Kind {
    enum Argument { None, StatusCode, Count, Offset, Address, HeaderLine };

    QLatin1StringView name;
    Fault::Kind kind;
    Argument argument;
    QLatin1StringView form; ///< as the help shows it
    QLatin1StringView meaning;
    QLatin1StringView example;
};

constexpr std::array kinds{
    Kind{"ignore-range"_L1, Fault::IgnoreRange, Kind::None, "ignore-range"_L1,
         "answers 200 with the whole file to a Range request"_L1, "/game.pak=ignore-range"_L1},
    Kind{"status"_L1, Fault::Status, Kind::StatusCode, "status:CODE"_L1,
         "answers with this status, 200 to 599, and a short text page"_L1, "/api/v1/news=status:503@1-2"_L1},
    Kind{"close-after"_L1, Fault::CloseAfter, Kind::Count, "close-after:BYTES"_L1,
         "closes the connection after this many bytes of the body"_L1, "/game.pak=close-after:1000@1-1"_L1},
    Kind{"stall"_L1, Fault::Stall, Kind::Count, "stall:BYTES"_L1,
         "sends this many bytes of the body, then nothing more"_L1, "/game.pak=stall:4096"_L1},
    Kind{"corrupt"_L1, Fault::Corrupt, Kind::Count, "corrupt:OFFSET"_L1,
         "flips the bits of the byte at this offset of the file"_L1, "/game.pak=corrupt:0@1-1"_L1},
    Kind{"redirect"_L1, Fault::Redirect, Kind::Address, "redirect:URL"_L1, "answers 302 to this address"_L1,
         "/game.pak=redirect:http://127.0.0.1/game.pak"_L1},
    Kind{"length-offset"_L1, Fault::LengthOffset, Kind::Offset, "length-offset:BYTES"_L1,
         "announces this many bytes more (or, negative, less) than it sends"_L1, "/game.pak=length-offset:-10"_L1},
    Kind{"wrong-range"_L1, Fault::WrongRange, Kind::None, "wrong-range"_L1,
         "answers 206 to a Range request with bytes from offset 0 instead"_L1, "/game.pak=wrong-range@2"_L1},
    Kind{"range-refused"_L1, Fault::RangeRefused, Kind::None, "range-refused"_L1,
         "answers 416 to every Range request"_L1, "/game.pak=range-refused@2-2"_L1},
    Kind{"header"_L1, Fault::Header, Kind::HeaderLine, "header:NAME:[VALUE]"_L1,
         "has this header in place of its own, or none of that name"_L1, "/game.pak=header:Cache-Control:no-store"_L1},
};

constexpr int smallestStatus = 200;
constexpr int largestStatus = 599;
constexpr int formWidth = 20; // characters of the widest form, and a blank

/// False when \a argument, null when there is none, is not what \a kind takes.
bool setArgument(Fault &fault, const Kind &kind, const QString &argument)
{
    bool isNumber = false;
    switch (kind.argument) {
    case Kind::None:
        return argument.isNull();
    case Kind::StatusCode:
        fault.status = argument.toInt(&isNumber);
        return isNumber && fault.status >= smallestStatus && fault.status <= largestStatus;
    case Kind::Count:
        fault.bytes = argument.toLongLong(&isNumber);
        return isNumber && fault.bytes >= 0;
    case Kind::Offset:
        fault.bytes = argument.toLongLong(&isNumber);
        return isNumber;
    case Kind::Address:
        fault.location = argument;
        return !argument.isEmpty();
    case Kind::HeaderLine:
        fault.location = argument;
        return argument.indexOf(u':') > 0;
    }
    return false;
}

/// False when the captured attempts of a fault make no window.
bool setAttempts(Fault &fault, const QString &first, const QString &last)
{
    bool firstFits = true;
    bool lastFits = true;
    if (!first.isEmpty()) {
        fault.firstAttempt = first.toInt(&firstFits);
    }
    if (!last.isEmpty()) {
        fault.lastAttempt = last.toInt(&lastFits);
    }
    return firstFits && lastFits && fault.firstAttempt >= 1 && fault.lastAttempt >= fault.firstAttempt;
}

} // namespace

FaultOption FaultOption::parse(const QString &text)
{
    static const QRegularExpression form(u"^(/[^=]*)=([a-z-]+)(?::(.*?))?(?:@(\\d+)(?:-(\\d+))?)?$"_s);
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch()) {
        return {{}, {}, u"it is not of the form PATH=KIND[:ARGUMENT][@FIRST[-LAST]]"_s};
    }
    const QString name = match.captured(2);
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(), [&name](const Kind &known) { return known.name == name; });
    if (kind == kinds.end()) {
        return {{}, {}, u"there is no kind \"%1\""_s.arg(name)};
    }
    FaultOption option;
    option.path = QUrl::fromPercentEncoding(match.captured(1).toUtf8());
    option.fault.kind = kind->kind;
    if (!setArgument(option.fault, *kind, match.captured(3))) {
        option.problem = u"this kind is written %1"_s.arg(kind->form);
    } else if (!setAttempts(option.fault, match.captured(4), match.captured(5))) {
        option.problem = u"the attempts begin with 1 and do not end before they begin"_s;
    }
    return option;
}

QString FaultOption::describeKinds()
{
    QString table;
    for (const Kind &kind : kinds) {
        table += u"  %1 %2\n"_s.arg(kind.form, -formWidth).arg(kind.meaning);
        table += u"  %1 --fault %2\n"_s.arg(QString(), -formWidth).arg(kind.example);
    }
    return table;
}

} // namespace velmo::studio
