// Stands for the game in the launch tests. Each argument is one thing to do, in order:
//   record=FILE        writes its working directory, then its arguments, one to a line
//   hold=FILE          opens FILE and keeps it open
//   wait=MILLISECONDS  waits
//   until-input-ends   waits until its standard input is closed
//   exit=CODE          ends with that code
//   crash              ends by a signal or, on Windows, as after an access violation
// Anything else is ignored; with nothing left to do it ends with code 0.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

constexpr std::string_view recordKey = "record=";
constexpr std::string_view holdKey = "hold=";
constexpr std::string_view waitKey = "wait=";
constexpr std::string_view exitKey = "exit=";

int numberAfter(std::string_view key, const std::string &argument)
{
    return static_cast<int>(std::strtol(argument.c_str() + key.size(), nullptr, 10));
}

/// Under another name first, so that whoever watches for the file finds it whole.
void record(const std::string &fileName, const std::vector<std::string> &arguments)
{
    const std::string unfinished = fileName + ".unfinished";
    {
        std::ofstream file(unfinished, std::ios::binary);
        const std::u8string folder = std::filesystem::current_path().generic_u8string();
        file << std::string(folder.begin(), folder.end()) << '\n';
        for (const std::string &argument : arguments) {
            file << argument << '\n';
        }
    }
    std::filesystem::rename(unfinished, fileName);
}

[[noreturn]] void crash()
{
#ifdef _WIN32
    ExitProcess(STATUS_ACCESS_VIOLATION);
#else
    std::abort();
#endif
}

void waitForEndOfInput()
{
    while (std::getchar() != EOF) {
    }
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    std::vector<std::ifstream> held;
    for (const std::string &argument : arguments) {
        if (argument.starts_with(holdKey)) {
            held.emplace_back(argument.substr(holdKey.size()));
        } else if (argument.starts_with(recordKey)) {
            record(argument.substr(recordKey.size()), arguments);
        } else if (argument.starts_with(waitKey)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(numberAfter(waitKey, argument)));
        } else if (argument == "until-input-ends") {
            waitForEndOfInput();
        } else if (argument.starts_with(exitKey)) {
            return numberAfter(exitKey, argument);
        } else if (argument == "crash") {
            crash();
        }
    }
    return 0;
}
