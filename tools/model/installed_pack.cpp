#include "model/installed_pack.h"

#include <stdexcept>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace fs = std::filesystem;

static fs::path folderOfProgram() {
#if defined(_WIN32)
    wchar_t path[4096] = {};
    GetModuleFileNameW(nullptr, path, 4095);
    return fs::path(path).parent_path();
#else
    return fs::read_symlink("/proc/self/exe").parent_path();
#endif
}

fs::path installedPack() {
    const fs::path folder = folderOfProgram();
    for (const char* place : {"../share/zomu", "../../../models"}) {
        const fs::path pack = folder / place / "rendered-people.pack";
        if (fs::is_regular_file(pack)) {
            return pack.lexically_normal();
        }
    }
    throw std::runtime_error("the tools came without a model; name a packed one");
}
