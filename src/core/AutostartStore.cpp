#include "core/AutostartStore.h"

namespace velmo {

namespace {

AutostartStore *replacement = nullptr;

} // namespace

AutostartStore &AutostartStore::instance()
{
    return replacement ? *replacement : platformStore();
}

void AutostartStore::replaceInstance(AutostartStore *store)
{
    replacement = store;
}

} // namespace velmo
