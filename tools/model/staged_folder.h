// A folder that appears complete or not at all.
#ifndef ZOMU_TOOLS_MODEL_STAGED_FOLDER_H
#define ZOMU_TOOLS_MODEL_STAGED_FOLDER_H

#include <filesystem>

// Files are written to a folder of another name beside the target, and one renaming puts it in
// place. Whatever ends the work before commit() leaves the target as it was; the destructor, where
// it still runs, removes the other folder. Problems are thrown as std::runtime_error or
// std::filesystem::filesystem_error.
class StagedFolder {
  public:
    // `target` is absent, an empty folder, or one that commit() replaces.
    explicit StagedFolder(const std::filesystem::path& target);
    ~StagedFolder();
    StagedFolder(const StagedFolder&) = delete;
    StagedFolder& operator=(const StagedFolder&) = delete;

    const std::filesystem::path& path() const { return staged; }

    // Moves the folder to its target. A former one is moved aside first and removed at last; it
    // returns where the second renaming fails.
    void commit();

  private:
    std::filesystem::path target;
    std::filesystem::path staged;
};

#endif
