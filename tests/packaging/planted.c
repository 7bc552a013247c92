/* A library that somebody has put where a program might look: leaves a file beside itself, "<its name>.loaded", when it
 * is loaded. */

#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved)
{
    (void)reserved;
    if (reason == DLL_PROCESS_ATTACH) {
        WCHAR mark[2 * MAX_PATH];
        GetModuleFileNameW(library, mark, MAX_PATH);
        lstrcatW(mark, L".loaded");
        CloseHandle(CreateFileW(mark, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL));
    }
    return TRUE;
}
