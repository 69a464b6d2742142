// A model folder that appears complete or not at all.
#ifndef ZOMU_TOOLS_MODEL_STAGED_FOLDER_H
#define ZOMU_TOOLS_MODEL_STAGED_FOLDER_H

#include <filesystem>

#include "files/partial_folder.h"

// Files are written to a folder of another name beside the target, and one renaming puts it in
// place. Whatever ends the work before commit() leaves the target as it was; the other folder is
// removed by the destructor or by the next run. Problems are thrown as std::runtime_error or
// std::filesystem::filesystem_error.
class StagedFolder {
  public:
    // `target` is absent, an empty folder or, with `replace`, a model.
    StagedFolder(const std::filesystem::path& target, bool replace);

    const std::filesystem::path& path() const { return staged.path(); }

    // Moves the folder to its target, which is looked at again: whatever else came there meanwhile
    // stays, and the new folder does not appear. A former model is moved aside first and removed
    // at last, file by file; it returns where the second renaming fails.
    void commit();

  private:
    void replaceFormer();

    std::filesystem::path target;
    bool replace;
    PartialFolder staged;
};

#endif
