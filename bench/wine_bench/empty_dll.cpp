// The floor of loading a DLL: there is one, and nothing in it.

#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD, void*) {
    return TRUE;
}
