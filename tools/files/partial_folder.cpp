#include "files/partial_folder.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <random>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr char kPurpose[] = "partial";
constexpr int kNoLock = -1;

bool consistsOf(const std::string& text, const char* characters) {
    return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}

// The name of a file that was not finished, see new_file.c.
bool isUnfinished(const std::string& name) {
    const std::string start = ".zomu-";
    return name.starts_with(start) && name.size() == start.size() + 16 &&
           consistsOf(name.substr(start.size()), "0123456789abcdef");
}

bool isKnown(const fs::directory_entry& entry, const FileNames& names) {
    const std::string name = entry.path().filename().string();
    return fs::is_regular_file(entry.symlink_status()) &&
           (names.count(name) != 0 || isUnfinished(name));
}

}  // namespace

std::string strangerIn(const fs::path& folder, const FileNames& names) {
    if (!fs::is_directory(fs::symlink_status(folder))) {
        return folder.filename().string();
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (!isKnown(entry, names)) {
            return entry.path().filename().string();
        }
    }
    return "";
}

bool removeFolderOf(const fs::path& folder, const FileNames& names) {
    std::error_code ignored;
    if (!fs::is_directory(fs::symlink_status(folder, ignored))) {
        return false;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        if (isKnown(entry, names)) {
            fs::remove(entry.path(), ignored);
        }
    }
    // Only if nothing else is in it.
    return fs::remove(folder, ignored);
}

fs::path nameBeside(const fs::path& target, const std::string& purpose) {
    std::random_device device;
    for (int attempt = 0; attempt < 100; ++attempt) {
        fs::path candidate = target;
        candidate += "." + purpose + "-" + std::to_string(device());
        if (!fs::exists(fs::symlink_status(candidate))) {
            return candidate;
        }
    }
    throw std::runtime_error("no free name beside " + target.string());
}

#if defined(_WIN32)

static int lockFolder(const fs::path&, bool) {
    return kNoLock;
}

static void unlock(int) {}

static void removeAbandoned(const fs::path&, const FileNames&) {}

#else

// The lock ends with the process that holds it. kNoLock where the file system has no such locks and, without
// waiting, where another process holds it.
static int lockFolder(const fs::path& folder, bool wait) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor >= 0 && flock(descriptor, LOCK_EX | (wait ? 0 : LOCK_NB)) != 0) {
        close(descriptor);
        return kNoLock;
    }
    return descriptor;
}

static void unlock(int lock) {
    if (lock != kNoLock) {
        close(lock);
    }
}

// Of a folder that is still empty, nobody can tell whose it is: it stays.
static bool isAbandoned(const fs::path& folder, int lock, const FileNames& names) {
    struct stat status = {};
    return lock != kNoLock && fstat(lock, &status) == 0 && status.st_uid == geteuid() &&
           strangerIn(folder, names).empty() && !fs::is_empty(folder);
}

static void removeAbandoned(const fs::path& target, const FileNames& names) {
    const std::string start = target.filename().string() + "." + kPurpose + "-";
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(target.parent_path(), ignored)) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with(start) || !consistsOf(name.substr(start.size()), "0123456789")) {
            continue;
        }
        const int lock = lockFolder(entry.path(), false);
        if (isAbandoned(entry.path(), lock, names)) {
            removeFolderOf(entry.path(), names);
        }
        unlock(lock);
    }
}

#endif

PartialFolder::PartialFolder(const fs::path& target, const FileNames& fileNames)
    : names(fileNames) {
    removeAbandoned(target, names);
    const fs::path candidate = nameBeside(target, kPurpose);
    std::error_code problem;
    if (!fs::create_directory(candidate, problem)) {
        throw std::runtime_error("cannot create a folder in " + target.parent_path().string() +
                                 ": " + problem.message());
    }
    folder = candidate;
    lock = lockFolder(folder, true);
}

PartialFolder::~PartialFolder() {
    if (!folder.empty()) {
        removeFolderOf(folder, names);
    }
    unlock(lock);
}
