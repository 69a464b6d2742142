#include "model/occupied_folder.h"

#include <stdexcept>
#include <string>

#include "files/partial_folder.h"
#include "model/model_files.h"

namespace fs = std::filesystem;

// Replacing removes a whole folder. Only a model may be replaced, so that a mistyped name costs
// nobody anything else.
void refuseOccupied(const fs::path& folder, bool replace) {
    if (folder.empty()) {
        throw std::runtime_error("the name of the folder is empty");
    }
    if (!fs::exists(fs::symlink_status(folder))) {
        return;
    }
    if (!fs::is_directory(folder)) {
        throw std::runtime_error(folder.string() + " already exists and is not a folder");
    }
    if (!replace && !fs::is_empty(folder)) {
        throw std::runtime_error(folder.string() + " is not empty");
    }
    const std::string stranger = strangerIn(fs::canonical(folder), modelFileNames());
    if (!stranger.empty()) {
        throw std::runtime_error(folder.string() + " holds " + stranger +
                                 ", which is not a model file: it is not replaced");
    }
}
