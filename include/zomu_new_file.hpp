// A file that appears complete or not at all, for zomu_template.hpp. Header only.
#ifndef ZOMU_NEW_FILE_HPP
#define ZOMU_NEW_FILE_HPP

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#if defined(_WIN32)
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#else
#include <unistd.h>
#endif

// Its bytes go to a file beside the target, under a name of chance that nothing has yet. Without
// putInPlace nothing is left of it. Failures are thrown as std::runtime_error, with path and reason.
class ZomuNewFile {
  public:
    explicit ZomuNewFile(std::filesystem::path path) : target(std::move(path)) {
        const bool replaces = checkTarget();
        constexpr int kAttempts = 100;
        for (int attempt = 0; descriptor < 0 && attempt < kAttempts; ++attempt) {
            beside = target.parent_path() / nameOfChance();
            descriptor = createExclusively(beside, replaces);
            if (descriptor < 0 && errno != EEXIST) {
                break;
            }
        }
        if (descriptor < 0) {
            fail("cannot be created");
        }
        // It never has more readers than the former file.
        std::error_code problem;
        const auto former = std::filesystem::symlink_status(target, problem).permissions();
        if (replaces && !problem) {
            std::filesystem::permissions(beside, former, problem);
        }
    }

    ~ZomuNewFile() {
        closeNow();
        if (!beside.empty()) {
            std::error_code ignored;
            std::filesystem::remove(beside, ignored);
        }
    }

    ZomuNewFile(const ZomuNewFile&) = delete;
    ZomuNewFile& operator=(const ZomuNewFile&) = delete;

    void write(const char* bytes, std::size_t size) {
        while (size > 0) {
            const auto written = writeSome(descriptor, bytes, size);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                fail("cannot be written");
            }
            bytes += written;
            size -= static_cast<std::size_t>(written);
        }
    }

    // The last call.
    void putInPlace() {
        if (!closeNow()) {
            fail("cannot be written");
        }
        checkTarget();
        std::error_code problem;
        std::filesystem::rename(beside, target, problem);
        if (problem) {
            throw std::runtime_error(target.string() + ": cannot be written: " + problem.message());
        }
        beside.clear();
    }

  private:
    [[noreturn]] void fail(const char* what) const {
        const std::string reason = std::generic_category().message(errno);
        throw std::runtime_error(target.string() + ": " + what + ": " + reason);
    }

    // True if there is a file to replace.
    bool checkTarget() const {
        std::error_code ignored;
        const std::filesystem::file_type type =
            std::filesystem::symlink_status(target, ignored).type();
        const char* reason = nullptr;
        switch (type) {
            case std::filesystem::file_type::none:  // creating the file says why
            case std::filesystem::file_type::not_found:
                return false;
            case std::filesystem::file_type::regular:
                return true;
            case std::filesystem::file_type::symlink:
                reason = "is a symbolic link, and none is followed or replaced";
                break;
            case std::filesystem::file_type::directory:
                reason = "is a folder";
                break;
            default:
                reason = "is not a regular file, and is not replaced";
                break;
        }
        throw std::runtime_error(target.string() + ": " + reason);
    }

    static std::string nameOfChance() {
        std::random_device chance;
        std::string name = ".zomu-";
        for (int i = 0; i < 16; ++i) {
            name += "0123456789abcdef"[chance() & 15U];
        }
        return name;
    }

    bool closeNow() {
        const int open = descriptor;
        descriptor = -1;
        return open < 0 || closeFile(open) == 0;
    }

#if defined(_WIN32)
    static int createExclusively(const std::filesystem::path& path, bool) {
        int created = -1;
        const int flags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
        _wsopen_s(&created, path.c_str(), flags, _SH_DENYRW, _S_IREAD | _S_IWRITE);
        return created;
    }
    static int writeSome(int file, const char* bytes, std::size_t size) {
        return _write(file, bytes, static_cast<unsigned>(size));
    }
    static int closeFile(int file) {
        return _close(file);
    }
#else
    static int createExclusively(const std::filesystem::path& path, bool replaces) {
        const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        return ::open(path.c_str(), flags, replaces ? 0600 : 0666);
    }
    static ssize_t writeSome(int file, const char* bytes, std::size_t size) {
        return ::write(file, bytes, size);
    }
    static int closeFile(int file) {
        return ::close(file);
    }
#endif

    std::filesystem::path target;
    std::filesystem::path beside;
    int descriptor = -1;
};

#endif
