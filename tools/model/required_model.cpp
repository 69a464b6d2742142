#include "model/required_model.h"

#include <stdexcept>
#include <string>

#include "model/model_files.h"
#include "model/model_tables.h"

namespace fs = std::filesystem;

fs::path placeOfModel() {
    findModelDirectory();
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
