#include "Plan.h"

#include <cstdlib>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

namespace velmo::faults {

namespace {

constexpr int anyChange = -1;

/// The numbers of a list "1,2;3,4" as rows.
std::vector<std::vector<std::int64_t>> rowsOf(const char *variable)
{
    std::vector<std::vector<std::int64_t>> rows;
    const char *text = std::getenv(variable);
    while (text && *text) {
        std::vector<std::int64_t> row;
        do {
            char *end = nullptr;
            row.push_back(std::strtoll(text, &end, 10));
            text = end;
        } while (*text == ',' && ++text);
        rows.push_back(row);
        text += *text == ';';
    }
    return rows;
}

std::int64_t steadyMs()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

bool endsWith(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

Plan::Plan()
    : startMs_(steadyMs())
{
    if (const char *const folder = std::getenv("VELMO_FAULT_FOLDER")) {
        folder_ = std::string(folder) + '/';
    }
    for (const auto &row : rowsOf("VELMO_FAULT_FAIL")) {
        failures_.push_back({static_cast<int>(row.at(0)), row.at(1), row.at(2), static_cast<int>(row.at(3))});
    }
    for (const auto &row : rowsOf("VELMO_FAULT_CLOCK")) {
        jumps_.push_back({row.at(0), row.at(1)});
    }
    for (const auto &row : rowsOf("VELMO_FAULT_KILL")) {
        killAt_ = row.at(0);
    }
}

bool Plan::concerns(const std::string &path) const
{
    return !folder_.empty() && path.compare(0, folder_.size(), folder_) == 0 && !endsWith(path, ".log");
}

Verdict Plan::next(Call call)
{
    Verdict verdict;
    const bool changes = call != Call::Read;
    changes_ += changes;
    const std::int64_t number = ++calls_[static_cast<int>(call)];
    verdict.kills = changes && killAt_ > 0 && changes_ == killAt_;
    for (const Failure &failure : failures_) {
        const bool any = failure.call == anyChange;
        const std::int64_t place = any ? changes_ : number;
        const bool meant = any ? changes : failure.call == static_cast<int>(call);
        if (meant && place >= failure.first && place < failure.first + failure.count) {
            verdict.error = failure.error;
            verdict.writesLess = failure.error == 0;
        }
    }
    return verdict;
}

std::int64_t Plan::clockError() const
{
    std::int64_t seconds = 0;
    const std::int64_t age = jumps_.empty() ? 0 : steadyMs() - startMs_;
    for (const Jump &jump : jumps_) {
        seconds = age >= jump.afterMs ? jump.seconds : seconds;
    }
    return seconds;
}

} // namespace velmo::faults
