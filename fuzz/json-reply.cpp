// What a server answers to a JSON request, byte by byte; Peer.h says how. When the first byte is odd the request is a
// POST.

#include "Peer.h"
#include "Target.h"
#include "net/ApiClient.h"

#include <QEventLoop>

using namespace Qt::Literals::StringLiterals;
using velmo::ApiResult;
using velmo::fuzz::require;
using velmo::fuzz::warnings;

namespace {

void checkResult(const ApiResult &result)
{
    if (result.ok) {
        require(result.message.isEmpty() && result.detail.isEmpty() && !result.offline, "a success has no complaint");
        require(result.httpStatus > 0 && result.httpStatus < 400, "a success has the status of one");
        require(warnings() == 0, "a success brings no warning");
        return;
    }
    require(!result.message.isEmpty() && result.message.endsWith(u'.'), "a failure has a sentence for the player");
    require(!result.detail.isEmpty(), "a failure has a text for the log");
    require(result.httpStatus >= 0, "no status is negative");
    require(warnings() >= 1, "a failure is logged");
    const bool lineBroke = result.message.startsWith("Unable to connect to the"_L1);
    require(!result.offline || result.httpStatus < 400 || lineBroke,
            "a server that answers an error is not out of reach");
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    makeApplication();
    static Peer peer;
    peer.setReplies(parts(input.mid(1)));

    ApiClient client;
    QEventLoop loop;
    int answers = 0;
    const auto take = [&](const ApiResult &result) {
        ++answers;
        checkResult(result);
        loop.quit();
    };
    const QString url = peer.url(u"/harrowfen/release/manifest.json"_s).toString();
    const bool posts = !input.isEmpty() && (input.front() & 1) != 0;
    if (posts) {
        client.postJson(url, {{u"a"_s, 1}}, take);
    } else {
        client.getJson(url, take);
    }
    require(answers == 0, "a request is answered after it was made");
    loop.exec(); // a request without an outcome is what libFuzzer's -timeout finds
    client.cancelAll();
    QCoreApplication::processEvents();
    require(answers == 1, "a request is answered once");
}
