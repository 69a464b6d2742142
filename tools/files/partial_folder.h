// A folder for unfinished files, which is gone when the work ends, however it ends.
#ifndef ZOMU_TOOLS_FILES_PARTIAL_FOLDER_H
#define ZOMU_TOOLS_FILES_PARTIAL_FOLDER_H

#include <filesystem>
#include <set>
#include <string>

// Names of the files that a piece of work writes. Nothing else is ever removed.
using FileNames = std::set<std::string>;

// What stands in `folder` besides regular files of these names: the first name, or nothing. A folder that is
// a link itself counts as one that holds something else, its own name.
std::string strangerIn(const std::filesystem::path& folder, const FileNames& names);

// Removes the files of these names, and then the folder if it is empty. Returns whether it is gone.
bool removeFolderOf(const std::filesystem::path& folder, const FileNames& names);

// A name beside `target` that nothing has yet: the target's, the purpose and a number of chance.
std::filesystem::path nameBeside(const std::filesystem::path& target, const std::string& purpose);

// A new folder "<target>.partial-<number>". As long as its process lives, the folder is locked; what runs that
// were killed have left beside the same target is removed first. (Windows has no such locks: there it stays.)
class PartialFolder {
  public:
    PartialFolder(const std::filesystem::path& target, const FileNames& names);
    ~PartialFolder();
    PartialFolder(const PartialFolder&) = delete;
    PartialFolder& operator=(const PartialFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }

    // The folder has another name now, and stays.
    void release() { folder.clear(); }

  private:
    FileNames names;
    std::filesystem::path folder;
    int lock = -1;
};

#endif
