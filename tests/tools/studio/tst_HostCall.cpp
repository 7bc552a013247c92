#include "support/HostCall.h"

#include "support/TestEnvironment.h"

#include <utility>

using namespace Qt::Literals::StringLiterals;
using velmo::studio::Fault;
using velmo::studio::Request;
using velmo::studio::StudioServer;

namespace {

/// \a value as the other side of the bridge to Wine reads it.
template<typename Value>
Value crossed(const Value &value)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(velmo::test::hostStreamVersion);
    out << value;
    QDataStream in(bytes);
    in.setVersion(velmo::test::hostStreamVersion);
    Value result;
    in >> result;
    return result;
}

/// Whether no field of \a value is its default, from which one that got lost could not be told.
template<typename Value>
bool isFilled(const Value &value)
{
    const Value fresh;
    const auto ours = fields(value);
    const auto defaults = fields(fresh);
    return [&]<std::size_t... at>(std::index_sequence<at...>)
    {
        return ((std::get<at>(ours) != std::get<at>(defaults)) && ...);
    }
    (std::make_index_sequence<std::tuple_size_v<decltype(fields(value))>>());
}

} // namespace

class tst_HostCall : public QObject {
    Q_OBJECT

private slots:
    void everyFieldOfOptionsCrosses();
    void everyFieldOfAFaultCrosses();
    void everyFieldOfARequestCrosses();
};

void tst_HostCall::everyFieldOfOptionsCrosses()
{
    const StudioServer::Options options{u"/tree"_s, "chain", "key", 8443, 20'000};
    QVERIFY(isFilled(options));
    QVERIFY(crossed(options) == options);
}

void tst_HostCall::everyFieldOfAFaultCrosses()
{
    const Fault fault{Fault::Stall, 404, 5'000'000'000, u"https://127.0.0.1/"_s, 2, 3};
    QVERIFY(isFilled(fault));
    QVERIFY(crossed(fault) == fault);
}

void tst_HostCall::everyFieldOfARequestCrosses()
{
    const Request request{"GET", u"/game.pak"_s, {{"range", "bytes=4-"}}, 3, 206};
    QVERIFY(isFilled(request));
    QVERIFY(crossed(request) == request);
    QVERIFY(crossed(QList<Request>{request, {}}) == QList<Request>({request, {}}));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_HostCall>(argc, argv);
}

#include "tst_HostCall.moc"
