// A temporary directory with a model folder whose files are links into a good model.
#ifndef ZOMU_TESTS_SUPPORT_LINKED_MODEL_H
#define ZOMU_TESTS_SUPPORT_LINKED_MODEL_H

#include <filesystem>
#include <string>

#include "support/environment.h"
#include "support/model_folder.h"
#include "support/temporary_folder.h"

// Whatever is done to a file must be done to what replaces its link: the good model is everybody's.
class LinkedModel {
  public:
    // `good` is the temporary directory of the good model.
    explicit LinkedModel(const std::string& good) : goodDir(modelDirOf(good + kFolderSeparator)) {
        std::filesystem::create_directory(modelDir());
        for (const auto& entry : std::filesystem::directory_iterator(goodDir)) {
            restore(entry.path().filename().string());
        }
    }

    std::string temporaryDirectory() const { return folder.path().string(); }
    std::string modelDir() const { return modelDirOf(folder.prefix()); }
    std::string pathOf(const std::string& name) const { return modelDir() + name; }
    std::string goodPathOf(const std::string& name) const { return goodDir + name; }

    void remove(const std::string& name) const { std::filesystem::remove_all(pathOf(name)); }

    void replace(const std::string& name, const std::string& bytes) const {
        remove(name);
        writeFile(pathOf(name), bytes.data(), bytes.size());
    }

    void restore(const std::string& name) const {
        remove(name);
        linkFile(goodPathOf(name), pathOf(name));
    }

  private:
    static std::string modelDirOf(const std::string& prefix) {
        return prefix + "~zvplugintmp~" + kFolderSeparator;
    }

    TemporaryFolder folder;
    std::string goodDir;
};

#endif
