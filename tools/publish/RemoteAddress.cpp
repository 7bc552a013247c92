#include "publish/RemoteAddress.h"

#include <QProcessEnvironment>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qsizetype shortestSecret = 4; // what is shorter would be found in every sentence
constexpr auto hidden = "***"_L1;

/// Where the name of a remote ends and its parameters begin, and where its path begins: behind a colon outside of
/// quotes. Both are -1 for one without parameters.
struct Parameters {
    qsizetype begin = -1;
    qsizetype end = -1;
};

Parameters parametersOf(const QString &address)
{
    const qsizetype nameFrom = address.startsWith(u':') ? 1 : 0;
    const qsizetype comma = address.indexOf(u',');
    const qsizetype colon = address.indexOf(u':', nameFrom);
    const qsizetype slash = address.indexOf(u'/');
    if (comma < 0 || (colon >= 0 && colon < comma) || (slash >= 0 && slash < comma)) {
        return {};
    }
    QChar quote;
    for (qsizetype at = comma; at < address.size(); ++at) {
        const QChar character = address.at(at);
        if (!quote.isNull()) {
            quote = character == quote ? QChar() : quote; // a doubled one opens a quotation anew
        } else if (character == u'"' || character == u'\'') {
            quote = character;
        } else if (character == u':') {
            return {comma, at};
        }
    }
    return {comma, address.size()};
}

/// The values of the parameters in \a text that may be secret, as they are written and as they are meant.
QStringList valuesIn(const QString &text)
{
    static const QRegularExpression pair(
        uR"(,(?!(?:host|port|endpoint|region|provider)=)[^=,:]*=("(?:[^"]|"")*"|'(?:[^']|'')*'|[^,]*))"_s);
    QStringList values;
    for (auto match = pair.globalMatch(text); match.hasNext();) {
        QString value = match.next().captured(1);
        values.append(value);
        if (value.size() > 1 && (value.startsWith(u'"') || value.startsWith(u'\''))) {
            const QString quote = value.first(1);
            value = value.sliced(1, value.size() - 2).replace(quote + quote, quote);
            values.append(value);
        }
    }
    return values;
}

QStringList environmentSecrets()
{
    static const QRegularExpression names(
        u"\\A(RCLONE|AWS|AZURE|GOOGLE|B2|OS)_.*(PASS|SECRET|KEY|TOKEN|CREDENTIAL|SAS|CONNECTION)"_s,
        QRegularExpression::CaseInsensitiveOption);
    QStringList values;
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name : environment.keys()) {
        if (names.match(name).hasMatch()) {
            values.append(environment.value(name));
        }
    }
    return values;
}

} // namespace

RemoteAddress::RemoteAddress(const QString &address)
    : address_(address)
{
    const Parameters parameters = parametersOf(address);
    if (parameters.begin >= 0) {
        const QString text = address.sliced(parameters.begin, parameters.end - parameters.begin);
        secrets_ = valuesIn(text);
        secrets_.append(text);
    }
    secrets_ += environmentSecrets();
    const auto isShort = [](const QString &secret) { return secret.size() < shortestSecret; };
    secrets_.removeIf(isShort);
    std::sort(secrets_.begin(), secrets_.end(), [](const QString &a, const QString &b) { return a.size() > b.size(); });
}

QString RemoteAddress::at(const QString &path) const
{
    if (path.isEmpty() || address_.endsWith(u':') || address_.endsWith(u'/')) {
        return address_ + path;
    }
    return address_ + u'/' + path;
}

QString RemoteAddress::shown() const
{
    const Parameters parameters = parametersOf(address_);
    QString address = address_;
    if (parameters.begin >= 0) {
        address.remove(parameters.begin, parameters.end - parameters.begin);
    }
    static const QRegularExpression user(u"://[^/@]*@"_s);
    return address.replace(user, u"://"_s + hidden + u'@');
}

QString RemoteAddress::withoutSecrets(const QString &text) const
{
    QString plain = text;
    plain.replace(address_, shown());
    for (const QString &secret : secrets_) {
        plain.replace(secret, hidden);
    }
    static const QRegularExpression user(u"://[^/@\\s]*@"_s);
    static const QRegularExpression named(
        uR"(((?:pass|password|secret|secret_access_key|token|sig|signature|authorization)["']?\s*[=:]\s*["']?(?:(?:Bearer|Basic)\s+)?)[^\s,&"']+)"_s,
        QRegularExpression::CaseInsensitiveOption);
    plain.replace(user, u"://"_s + hidden + u'@');
    return plain.replace(named, u"\\1"_s + hidden);
}

QString withoutRemoteParameters(const QString &text)
{
    static const QRegularExpression address(uR"((:?[A-Za-z0-9_][A-Za-z0-9_ .-]*),[A-Za-z0-9_]+=.*)"_s,
                                            QRegularExpression::DotMatchesEverythingOption);
    QString plain = text;
    return plain.replace(address, u"\\1,"_s + hidden);
}

} // namespace velmo::publish
