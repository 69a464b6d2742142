#include "model/staged_folder.h"

#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace {

// Links are followed, so that it is the folder behind them that gets its contents, and a separator
// at the end is dropped.
fs::path resolve(const fs::path& path) {
    const fs::path resolved = fs::weakly_canonical(fs::absolute(path));
    return resolved.has_filename() ? resolved : resolved.parent_path();
}

// A name beside `target` that nothing has yet.
fs::path nameBeside(const fs::path& target, const char* purpose) {
    std::random_device device;
    for (int attempt = 0; attempt < 100; ++attempt) {
        fs::path candidate = target;
        candidate += std::string(".") + purpose + "-" + std::to_string(device());
        if (!fs::exists(fs::symlink_status(candidate))) {
            return candidate;
        }
    }
    throw std::runtime_error("no free name beside " + target.string());
}

}  // namespace

StagedFolder::StagedFolder(const fs::path& wanted)
    : target(resolve(wanted)), staged(nameBeside(target, "partial")) {
    std::error_code problem;
    if (!fs::create_directory(staged, problem)) {
        throw std::runtime_error("cannot create a folder in " + target.parent_path().string() +
                                 ": " + problem.message());
    }
}

StagedFolder::~StagedFolder() {
    if (!staged.empty()) {
        std::error_code ignored;
        fs::remove_all(staged, ignored);
    }
}

void StagedFolder::commit() {
    if (!fs::exists(target) || fs::is_empty(target)) {
        fs::remove(target);
        fs::rename(staged, target);
        staged.clear();
        return;
    }
    const fs::path aside = nameBeside(target, "former");
    fs::rename(target, aside);
    std::error_code problem;
    fs::rename(staged, target, problem);
    if (problem) {
        fs::rename(aside, target);
        throw std::runtime_error("cannot put " + target.string() +
                                 " in place: " + problem.message());
    }
    staged.clear();
    fs::remove_all(aside);
}
