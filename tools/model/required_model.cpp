#include "model/required_model.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <stdexcept>
#include <string>

#include "model/model_files.h"
#include "model/model_tables.h"

namespace fs = std::filesystem;

namespace {

#if defined(_WIN32)
bool isOfAnotherUser(const fs::path&) {
    return false;
}
#else
bool isOfAnotherUser(const fs::path& folder) {
    struct stat entry = {};
    struct stat directory = {};
    return lstat(folder.c_str(), &entry) == 0 &&
           stat(folder.parent_path().c_str(), &directory) == 0 &&
           (directory.st_mode & S_IWOTH) != 0 && entry.st_uid != 0 && entry.st_uid != geteuid();
}
#endif

}  // namespace

fs::path placeOfModel() {
    findModelDirectory();
    const fs::path folder = fs::path(modelDir).parent_path();  // without the separator at its end
    if (isOfAnotherUser(folder)) {
        const std::string directory = folder.parent_path().string();
        throw std::runtime_error(
            folder.string() + " belongs to another user, and everybody can write to " + directory +
            "; whoever makes a model decides who looks like whom, so set TMPDIR " +
            "to a folder of your own and install one there");
    }
    return modelDir;
}

fs::path requireModel() {
    fs::path folder = placeOfModel();
    std::error_code ignored;
    std::size_t missing = 0;
    for (const std::string& name : modelFileNames()) {
        missing += fs::is_regular_file(folder / name, ignored) ? 0U : 1U;
    }
    const std::size_t all = modelFileNames().size();
    if (missing == all) {
        throw std::runtime_error("there is no model in " + folder.string() +
                                 "; zomu-model install puts one there");
    }
    if (missing > 0) {
        throw std::runtime_error(folder.string() + " lacks " + std::to_string(missing) +
                                 " of the " + std::to_string(all) +
                                 " files of a model; zomu-model check says which");
    }
    return folder;
}
