#include "platform/platform.h"

#if defined(_WIN32)

#include <windows.h>

void queryTemporaryDirectory(char (&buffer)[kTempPathRoom]) {
    buffer[0] = '\0';
    GetTempPathA(kTempPathRoom, buffer);
}

#else

#include <cstdlib>
#include <cstring>
#include <initializer_list>

void queryTemporaryDirectory(char (&buffer)[kTempPathRoom]) {
    const char* directory = "/tmp";
    for (const char* name : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
        const char* value = secure_getenv(name);
        if (value != nullptr && value[0] != '\0') {
            directory = value;
            break;
        }
    }
    buffer[0] = '\0';
    std::size_t length = std::strlen(directory);
    const bool endsInSeparator = directory[length - 1] == kSeparator;
    // The buffer also holds the separator and the NUL.
    if (length + (endsInSeparator ? 0 : 1) >= sizeof buffer) {
        return;
    }
    std::memcpy(buffer, directory, length);
    if (!endsInSeparator) {
        buffer[length++] = kSeparator;
    }
    buffer[length] = '\0';
}

#endif
