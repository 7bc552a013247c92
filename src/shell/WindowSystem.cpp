#include "shell/WindowSystem.h"

namespace velmo {

namespace {

WindowSystem *replacement = nullptr;

} // namespace

WindowSystem &WindowSystem::instance()
{
    return replacement ? *replacement : platformSystem();
}

void WindowSystem::replaceInstance(WindowSystem *system)
{
    replacement = system;
}

} // namespace velmo
