#include "model/staged_folder.h"

#include <stdexcept>
#include <string>
#include <system_error>

#include "model/model_files.h"
#include "model/occupied_folder.h"

namespace fs = std::filesystem;

namespace {

// Links are followed, so that it is the folder behind them that gets its contents, and a separator
// at the end is dropped.
fs::path resolve(const fs::path& path) {
    const fs::path resolved = fs::weakly_canonical(fs::absolute(path));
    return resolved.has_filename() ? resolved : resolved.parent_path();
}

// Renames a folder to a place where nothing is, or an empty folder. The system decides, and nobody
// can come in between.
std::error_code moveToFreePlace(const fs::path& from, const fs::path& to) {
    std::error_code problem;
#if defined(_WIN32)
    fs::remove(to, problem);  // an empty folder; nothing is renamed onto what is left
#endif
    fs::rename(from, to, problem);
    return problem;
}

[[noreturn]] void failPlacing(const fs::path& target, const std::string& reason) {
    throw std::runtime_error("cannot put " + target.string() + " in place: " + reason);
}

}  // namespace

StagedFolder::StagedFolder(const fs::path& wanted, bool replaceModel)
    : target(resolve(wanted)), replace(replaceModel), staged(target, modelFileNames()) {}

void StagedFolder::commit() {
    const std::error_code problem = moveToFreePlace(staged.path(), target);
    if (problem) {
        refuseOccupied(target, replace);
        if (fs::is_symlink(target)) {
            failPlacing(target, "it is a link by now");
        }
        if (!replace || !fs::exists(staged.path())) {
            failPlacing(target, problem.message());
        }
        replaceFormer();
    }
    staged.release();
}

void StagedFolder::replaceFormer() {
    const fs::path aside = nameBeside(target, "former");
    fs::rename(target, aside);
    const std::string stranger = strangerIn(aside, modelFileNames());
    const std::error_code problem =
        stranger.empty() ? moveToFreePlace(staged.path(), target) : std::error_code();
    if (!stranger.empty() || problem) {
        const bool isBack = !moveToFreePlace(aside, target);
        const std::string reason = stranger.empty() ? problem.message() : stranger + " came there";
        failPlacing(target, reason + (isBack ? "" : "; the former folder is " + aside.string()));
    }
    staged.release();
    if (!removeFolderOf(aside, modelFileNames())) {
        throw std::runtime_error(target.string() + " is in place; " + aside.string() +
                                 " stays, since other files came there");
    }
}
