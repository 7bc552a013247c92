/* Loads each of the libraries named, wherever the system finds them, as a program does that takes no care. */

#include <windows.h>

int wmain(int count, wchar_t **arguments)
{
    for (int index = 1; index < count; ++index) {
        LoadLibraryW(arguments[index]);
    }
    return 0;
}
