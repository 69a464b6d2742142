#include "platform/regular_file.h"

#include <algorithm>
#include <cstring>

#if defined(_WIN32)

#include <windows.h>

bool RegularFile::open(const char* path) {
    close();
    constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    handle = CreateFileA(path, GENERIC_READ, kShare, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                         nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        handle = nullptr;
    } else if (GetFileType(handle) != FILE_TYPE_DISK) {
        close();
    }
    return handle != nullptr;
}

void RegularFile::close() {
    if (handle != nullptr) {
        CloseHandle(handle);
    }
    handle = nullptr;
    setg(nullptr, nullptr, nullptr);
}

std::streamsize RegularFile::readSome(char* destination, std::streamsize most) {
    constexpr std::streamsize kMost = 1 << 30;
    DWORD got = 0;
    ReadFile(handle, destination, static_cast<DWORD>(std::min(most, kMost)), &got, nullptr);
    return static_cast<std::streamsize>(got);
}

#else

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

// Opening a named pipe would wait for somebody to write to it, were it not for O_NONBLOCK, which has no
// effect on a regular file.
bool RegularFile::open(const char* path) {
    close();
    do {
        descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    } while (descriptor < 0 && errno == EINTR);
    struct stat status;
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        close();
    }
    return descriptor >= 0;
}

void RegularFile::close() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    descriptor = -1;
    setg(nullptr, nullptr, nullptr);
}

std::streamsize RegularFile::readSome(char* destination, std::streamsize most) {
    ssize_t got = 0;
    do {
        got = read(descriptor, destination, static_cast<std::size_t>(most));
    } while (got < 0 && errno == EINTR);
    return std::max<std::streamsize>(got, 0);
}

#endif

std::streambuf::int_type RegularFile::underflow() {
    if (gptr() == egptr()) {
        const std::streamsize got = readSome(buffer, sizeof buffer);
        setg(buffer, buffer, buffer + got);
    }
    return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

// What is large goes straight to its destination.
std::streamsize RegularFile::xsgetn(char* destination, std::streamsize count) {
    std::streamsize done = 0;
    while (done < count) {
        std::streamsize got = std::min<std::streamsize>(egptr() - gptr(), count - done);
        if (got > 0) {
            std::memcpy(destination + done, gptr(), static_cast<std::size_t>(got));
            gbump(static_cast<int>(got));
        } else if (count - done >= static_cast<std::streamsize>(sizeof buffer)) {
            got = readSome(destination + done, count - done);
            if (got == 0) {
                break;
            }
        } else if (traits_type::eq_int_type(underflow(), traits_type::eof())) {
            break;
        }
        done += got;
    }
    return done;
}
