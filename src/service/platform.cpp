#include "service/platform.h"

#if defined(_WIN32)

#include <windows.h>

void queryTemporaryDirectory(char (&buffer)[kTempPathRoom]) {
    buffer[0] = '\0';
    GetTempPathA(kTempPathRoom, buffer);
}

#if defined(ZOMU_ATTACH_ON_LOAD)
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        attachLibrary();
    }
    return TRUE;  // a table that cannot be read never fails the load
}
#endif

#else

#include <cstdlib>
#include <cstring>
#include <initializer_list>

void queryTemporaryDirectory(char (&buffer)[kTempPathRoom]) {
    const char* directory = "/tmp";
    for (const char* name : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && value[0] != '\0') {
            directory = value;
            break;
        }
    }
    buffer[0] = '\0';
    std::size_t length = std::strlen(directory);
    const bool endsInSeparator = directory[length - 1] == kSeparator;
    if (length + (endsInSeparator ? 0 : 1) >= sizeof buffer) {
        return;
    }
    std::memcpy(buffer, directory, length);
    if (!endsInSeparator) {
        buffer[length++] = kSeparator;
    }
    buffer[length] = '\0';
}

#if defined(ZOMU_ATTACH_ON_LOAD)
// Runs before dlopen returns, or before main. All that it touches is plain static storage, so it
// does not matter which of the library's initialisers the linker puts first.
__attribute__((constructor)) static void onLoad() {
    attachLibrary();
}
#endif

#endif
