// How the shared library learns that it has been loaded. Linked into nothing else.
#include "service/attach.h"

#if defined(_WIN32)

#include <windows.h>

// Keeps the library in memory from now on: the team's threads outlive an extraction, and a host
// that closes the library must not unmap the OpenMP runtime's code under them.
static void pinInMemory() {
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCSTR>(&pinInMemory), &self);
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        pinInMemory();
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
