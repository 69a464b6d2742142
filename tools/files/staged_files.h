// Files that belong together, and appear in a folder together or not at all.
#ifndef ZOMU_TOOLS_FILES_STAGED_FILES_H
#define ZOMU_TOOLS_FILES_STAGED_FILES_H

#include <filesystem>
#include <string>

#include "files/partial_folder.h"

// The files are written to a folder of their own in the one where they are to be, and moved from there
// at the end. Problems are thrown as std::runtime_error, "<path>: <problem>".
class StagedFiles {
  public:
    // `folder` exists. `tool` names those who write there, `names` all that they may write.
    StagedFiles(const std::filesystem::path& folder, const std::string& tool,
                const FileNames& names);

    const std::filesystem::path& path() const { return staged.path(); }

    // Looks at all targets before the first file is moved. Former files are replaced.
    void commit();

  private:
    std::filesystem::path folder;
    FileNames names;
    PartialFolder staged;
};

#endif
