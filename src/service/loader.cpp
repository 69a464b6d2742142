// How a shared library learns that it has been loaded. Linked into nothing else.
#include "service/attach.h"

#if defined(_WIN32)

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        attachLibrary();
    }
    return TRUE;  // a table that cannot be read does not fail the load
}

#else

// Runs before dlopen returns, or before main. Everything it touches is plain static storage, so the
// order of the library's initialisers does not matter.
__attribute__((constructor)) static void onLoad() {
    attachLibrary();
}

#endif
