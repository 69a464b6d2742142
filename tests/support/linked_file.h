// A file under a second name, without a copy of its contents.
#ifndef ZOMU_TESTS_SUPPORT_LINKED_FILE_H
#define ZOMU_TESTS_SUPPORT_LINKED_FILE_H

#include <filesystem>
#include <string>

// Symbolic links need a privilege on Windows; hard links need both names on one volume.
inline void linkFile(const std::string& existing, const std::string& added) {
#if defined(_WIN32)
    std::filesystem::create_hard_link(existing, added);
#else
    std::filesystem::create_symlink(existing, added);
#endif
}

#endif
