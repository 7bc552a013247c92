#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

enum class Kind { Sha224, Sha256 };

/// Says what does not hold and ends the program.
inline void check(bool holds, const std::string &what)
{
    if (!holds) {
        std::printf("FAIL  %s\n", what.c_str());
        std::exit(1);
    }
}
