#include "core/LibrarySearch.h"

#include <QtGlobal>

#include <windows.h>

namespace velmo {

void restrictLibrarySearch()
{
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    for (const char *variable : {"QT_PLUGIN_PATH", "QT_QPA_PLATFORM_PLUGIN_PATH"}) {
        qunsetenv(variable);
    }
}

} // namespace velmo
