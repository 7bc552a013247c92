// The game of the demo: looks for its world beside itself, runs for a moment and ends.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

int main(int argc, char **argv)
{
    const std::filesystem::path folder = std::filesystem::path(argv[0]).parent_path();
    std::ifstream world(folder / "Content" / "world-000.pak", std::ios::binary);
    const bool hasWorld = world.good() && world.peek() != std::ifstream::traits_type::eof();
    std::printf("Harrowfen demo game, %d arguments, world %s\n", argc - 1, hasWorld ? "loaded" : "missing");
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    return hasWorld ? 0 : 3;
}
