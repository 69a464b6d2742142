// How the shared library learns that it has been loaded. Linked into nothing else.
#include "service/attach.h"

#if defined(_WIN32)

#include <windows.h>

// The library stays in memory from now on: the team's threads live on between extractions, and a
// host that closes the library must not take the OpenMP runtime's code from under them.
static void stayInMemory() {
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCSTR>(&stayInMemory), &self);
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        stayInMemory();
        attachLibrary();
    }
    return TRUE;  // a table that cannot be read never fails the load
}

#else

// Runs before dlopen returns, or before main. All that it touches is plain static storage, so it
// does not matter which of the library's initialisers the linker puts first.
__attribute__((constructor)) static void onLoad() {
    attachLibrary();
}

#endif
