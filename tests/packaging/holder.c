/* Stands in another program's place while a setup is tried under Wine: "holder read FILE..." opens files as a scanner
 * does, so that others may read them and nobody may move or remove them; "holder alone FILE..." so that others may not
 * even read them; "holder name NAME" takes a name among the system's objects. Says "held" once it has all of it, and
 * keeps it until it is killed. */
#include <stdio.h>
#include <wchar.h>
#include <windows.h>

int wmain(int count, wchar_t **arguments)
{
    if (count < 3) {
        return 2;
    }
    const int named = wcscmp(arguments[1], L"name") == 0;
    const DWORD sharing = wcscmp(arguments[1], L"read") == 0 ? FILE_SHARE_READ : 0;
    for (int index = 2; index < count; ++index) {
        const HANDLE handle = named
                                  ? CreateEventW(NULL, TRUE, FALSE, arguments[index])
                                  : CreateFileW(arguments[index], GENERIC_READ, sharing, NULL, OPEN_EXISTING, 0, NULL);
        if (handle == NULL || handle == INVALID_HANDLE_VALUE) {
            printf("error %lu\n", GetLastError());
            return 1;
        }
    }
    puts("held");
    fflush(stdout);
    Sleep(INFINITE);
    return 0;
}
