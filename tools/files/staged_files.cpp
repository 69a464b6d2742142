#include "files/staged_files.h"

#include <stdexcept>

#include "new_file.h"

namespace fs = std::filesystem;

StagedFiles::StagedFiles(const fs::path& target, const std::string& tool,
                         const FileNames& fileNames)
    : folder(target), names(fileNames), staged(folder / tool, names) {}

void StagedFiles::commit() {
    const auto forEach = [this](const auto& act) {
        for (const std::string& name : names) {
            const std::string target = (folder / name).string();
            Problem problem;
            if (fs::exists(staged.path() / name) && !act(staged.path() / name, target, &problem)) {
                throw std::runtime_error(target + ": " + problem.text);
            }
        }
    };
    forEach([](const fs::path&, const std::string& target, Problem* problem) {
        return isPlaceForFile(target.c_str(), problem);
    });
    forEach([](const fs::path& from, const std::string& target, Problem* problem) {
        return moveFile(from.string().c_str(), target.c_str(), problem);
    });
}
