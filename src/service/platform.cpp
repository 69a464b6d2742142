#include "service/platform.h"

#if defined(_WIN32)

#include <windows.h>

void queryTemporaryDirectory(char (&buffer)[kTempPathRoom]) {
    buffer[0] = '\0';
    GetTempPathA(kTempPathRoom, buffer);
}

// Windows opens none. Its paths are in the system's code page here, which std::filesystem would
// take for UTF-8.
bool isOpenableFolder(const char*) {
    return false;
}

#if defined(ZOMU_ATTACH_ON_LOAD)
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
#endif

#else

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <system_error>

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

bool isOpenableFolder(const char* path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored);
}

#if defined(ZOMU_ATTACH_ON_LOAD)
// Runs before dlopen returns, or before main. All that it touches is plain static storage, so it
// does not matter which of the library's initialisers the linker puts first.
__attribute__((constructor)) static void onLoad() {
    attachLibrary();
}
#endif

#endif
