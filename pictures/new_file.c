/* getentropy, fchmod and fdopen; on Windows rand_s. */
#define _DEFAULT_SOURCE
#define _CRT_RAND_S

#include "new_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>

static const char kNameStart[] = ".zomu-";
enum { kAbsent = -1, kAttempts = 100, kChanceBytes = 8 };
enum { kNameSize = sizeof kNameStart - 1 + 2 * kChanceBytes };

/* What is said of a target that is no regular file. */
static const char kIsLink[] = "is a symbolic link, and none is followed or replaced";
static const char kIsFolder[] = "is a folder";
static const char kIsOther[] = "is not a regular file, and is not replaced";

static bool failCreating(Problem* problem) {
    return fail(problem, "cannot be created: %s", strerror(errno));
}

bool failWriting(Problem* problem) {
    return fail(problem, "cannot be written: %s", strerror(errno));
}

#if defined(_WIN32)
#include <io.h>
#include <windows.h>

static bool isSeparator(char c) {
    return c == '/' || c == '\\' || c == ':';
}

static bool drawChance(unsigned char* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        unsigned value = 0;
        if (rand_s(&value) != 0) {
            return false;
        }
        bytes[i] = (unsigned char)value;
    }
    return true;
}

/* Permissions come from the folder here. */
static bool lookAtTarget(const char* path, int* mode, Problem* problem) {
    const DWORD attributes = GetFileAttributesA(path);
    *mode = kAbsent;
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return true;
    }
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return fail(problem, "%s", kIsLink);
    }
    if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) {
        return fail(problem, "%s", kIsOther);
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 || fail(problem, "%s", kIsFolder);
}

static FILE* createStream(const char* path, int mode) {
    (void)mode;
    const int descriptor = _open(path, _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                                 _S_IREAD | _S_IWRITE);
    return descriptor < 0 ? NULL : _fdopen(descriptor, "wb");
}

static bool setMode(const char* path, int mode) {
    (void)path;
    (void)mode;
    return true;
}

static bool putInPlace(const char* from, const char* to) {
    if (MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING) != 0) {
        return true;
    }
    errno = GetLastError() == ERROR_ACCESS_DENIED ? EACCES : EIO;
    return false;
}
#else
#include <unistd.h>

static bool isSeparator(char c) {
    return c == '/';
}

static bool drawChance(unsigned char* bytes, size_t size) {
    return getentropy(bytes, size) == 0;
}

/* The permissions of the file that is there, or kAbsent. */
static bool lookAtTarget(const char* path, int* mode, Problem* problem) {
    struct stat status;
    *mode = kAbsent;
    if (lstat(path, &status) != 0) {
        return errno == ENOENT || failCreating(problem);
    }
    if (S_ISREG(status.st_mode)) {
        *mode = (int)(status.st_mode & 0777);
        return true;
    }
    return fail(problem, "%s",
                S_ISLNK(status.st_mode)   ? kIsLink
                : S_ISDIR(status.st_mode) ? kIsFolder
                                          : kIsOther);
}

/* A file that takes the place of another one never has more readers than that one had. */
static FILE* createStream(const char* path, int mode) {
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int descriptor = open(path, flags, mode == kAbsent ? 0666 : 0600);
    if (descriptor < 0) {
        return NULL;
    }
    FILE* stream =
        mode == kAbsent || fchmod(descriptor, (mode_t)mode) == 0 ? fdopen(descriptor, "wb") : NULL;
    if (stream == NULL) {
        const int reason = errno;
        close(descriptor);
        unlink(path);
        errno = reason;
    }
    return stream;
}

static bool setMode(const char* path, int mode) {
    return chmod(path, (mode_t)mode) == 0;
}

static bool putInPlace(const char* from, const char* to) {
    return rename(from, to) == 0;
}
#endif

static char* copyOf(const char* text, size_t size, size_t room) {
    char* copy = malloc(size + room + 1);
    if (copy != NULL) {
        memcpy(copy, text, size);
        copy[size] = '\0';
    }
    return copy;
}

/* A name that does not depend on the target's, which may be as long as names can be. */
static bool drawName(char* name) {
    unsigned char bytes[kChanceBytes];
    if (!drawChance(bytes, sizeof bytes)) {
        return false;
    }
    memcpy(name, kNameStart, sizeof kNameStart);
    for (size_t i = 0; i < sizeof bytes; ++i) {
        snprintf(name + strlen(name), 3, "%02x", bytes[i]);
    }
    return true;
}

/* Where it fails, errno says why. */
static bool createBeside(NewFile* file, char* name, int mode) {
    for (int attempt = 0; attempt < kAttempts && drawName(name); ++attempt) {
        file->stream = createStream(file->beside, mode);
        if (file->stream != NULL || errno != EEXIST) {
            break;
        }
    }
    return file->stream != NULL;
}

static void forget(NewFile* file) {
    free(file->path);
    free(file->beside);
    memset(file, 0, sizeof *file);
}

bool beginNewFile(const char* path, NewFile* file, Problem* problem) {
    memset(file, 0, sizeof *file);
    const size_t size = strlen(path);
    size_t folderSize = size;
    while (folderSize > 0 && !isSeparator(path[folderSize - 1])) {
        --folderSize;
    }
    int mode = kAbsent;
    if (!lookAtTarget(path, &mode, problem)) {
        return false;
    }
    if (folderSize == size) {
        errno = ENOENT; /* it names no file */
        return failCreating(problem);
    }
    file->path = copyOf(path, size, 0);
    file->beside = copyOf(path, folderSize, kNameSize);
    const bool good = file->path != NULL && file->beside != NULL &&
                      createBeside(file, file->beside + folderSize, mode);
    if (!good) {
        failCreating(problem);
        forget(file);
    }
    return good;
}

bool finishNewFile(NewFile* file, Problem* problem) {
    /* Buffered bytes meet a full disk only here. */
    const bool written = fflush(file->stream) == 0 && !ferror(file->stream);
    bool good = written || failWriting(problem);
    FILE* stream = file->stream;
    file->stream = NULL;
    if (fclose(stream) != 0 && good) {
        good = failWriting(problem);
    }
    int mode = kAbsent;
    good = good && lookAtTarget(file->path, &mode, problem);
    if (good && !putInPlace(file->beside, file->path)) {
        good = failWriting(problem);
    }
    if (!good) {
        remove(file->beside);
    }
    forget(file);
    return good;
}

bool isPlaceForFile(const char* path, Problem* problem) {
    int mode = kAbsent;
    return lookAtTarget(path, &mode, problem);
}

bool moveFile(const char* from, const char* path, Problem* problem) {
    int mode = kAbsent;
    if (!lookAtTarget(path, &mode, problem)) {
        return false;
    }
    if (mode != kAbsent && !setMode(from, mode)) {
        return failWriting(problem);
    }
    return putInPlace(from, path) || failWriting(problem);
}

void discardNewFile(NewFile* file) {
    if (file->stream != NULL) {
        fclose(file->stream);
    }
    if (file->beside != NULL) {
        remove(file->beside);
    }
    forget(file);
}
