// Qt's reading of an option header such as "Cache-Control", cut out of its source by "try", over headers of any length.

#include <QByteArray>
#include <QHash>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

#include "cut-out.inc"

int failures = 0;

void expect(const char *what, const QHash<QByteArray, QByteArray> &got, const QHash<QByteArray, QByteArray> &wanted)
{
    const bool same = got == wanted;
    std::printf("%-6s%s\n", same ? "ok" : "FAIL", what);
    std::fflush(stdout); // what comes next may end the program
    failures += same ? 0 : 1;
}

} // namespace

int main()
{
    expect("a word", parseHttpOptionHeader("no-cache"), {{"no-cache", ""}});
    expect("a value", parseHttpOptionHeader(" private , max-age = 5"), {{"private", ""}, {"max-age", "5"}});
    expect("a value in quotes", parseHttpOptionHeader("a=\"q\\\"x\",B"), {{"a", "q\"x"}, {"b", ""}});
    expect("nothing", parseHttpOptionHeader(""), {});
    expect("a value without a name", parseHttpOptionHeader("=x"), {});
    expect("a name without a value", parseHttpOptionHeader("a="), {});

    constexpr qsizetype enormous = (qsizetype{1} << 31) + 64;
    expect("a word behind 2 GiB of blanks", parseHttpOptionHeader(QByteArray(enormous, ' ') + "no-cache"),
           {{"no-cache", ""}});
    const QByteArray name(enormous, 'a');
    expect("a value behind a name of 2 GiB", parseHttpOptionHeader(name + ",max-age=60"),
           {{name, ""}, {"max-age", "60"}});
    return failures == 0 ? 0 : 1;
}
