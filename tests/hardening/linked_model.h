// A temporary directory with a model folder whose files are links into a good model.
#ifndef ZOMU_TESTS_HARDENING_LINKED_MODEL_H
#define ZOMU_TESTS_HARDENING_LINKED_MODEL_H

#include <filesystem>
#include <string>

#include "model/model_tables.h"
#include "support/temporary_folder.h"

// Whatever is done to a file must be done to what replaces its link: the good model is everybody's.
class LinkedModel {
  public:
    // `good` is the temporary directory of the good model.
    explicit LinkedModel(const std::string& good)
        : goodFolder(std::filesystem::path(good) / kModelFolderName) {
        std::filesystem::create_directory(modelFolder());
        for (const auto& entry : std::filesystem::directory_iterator(goodFolder)) {
            std::filesystem::create_symlink(entry.path(), pathOf(entry.path().filename().string()));
        }
    }

    std::string temporaryDirectory() const { return folder.path().string(); }
    std::filesystem::path modelFolder() const { return folder.path() / kModelFolderName; }
    std::filesystem::path pathOf(const std::string& name) const { return modelFolder() / name; }
    std::filesystem::path goodPathOf(const std::string& name) const { return goodFolder / name; }

    void remove(const std::string& name) const { std::filesystem::remove_all(pathOf(name)); }

    void restore(const std::string& name) const {
        remove(name);
        std::filesystem::create_symlink(goodPathOf(name), pathOf(name));
    }

  private:
    TemporaryFolder folder;
    std::filesystem::path goodFolder;
};

#endif
