// What tests have to know of the system: the variable that names the temporary directory, how paths
// are written, how a variable of the test's own process is set, and how a file gets a second name.
#ifndef ZOMU_TESTS_SUPPORT_ENVIRONMENT_H
#define ZOMU_TESTS_SUPPORT_ENVIRONMENT_H

#include <cstdlib>
#include <filesystem>
#include <string>

// On each system: a path below which nothing is (kNowhere), and what is said where a folder is opened
// like a file (kFolderProblem) and where a file stands in place of a folder (kNotAFolder).
#if defined(_WIN32)
// Where GetTempPathA looks first.
constexpr char kTemporaryVariable[] = "TMP";
constexpr char kFolderSeparator[] = "\\";
constexpr char kNowhere[] = "C:\\no";
constexpr char kFolderProblem[] = "cannot be opened: ";
constexpr char kNotAFolder[] = "No such file or directory";

inline void setVariable(const char* name, const std::string& value) {
    _putenv_s(name, value.c_str());
}

// Symbolic links need a privilege here; hard links need both names on one volume.
inline void linkFile(const std::string& existing, const std::string& added) {
    std::filesystem::create_hard_link(existing, added);
}
#else
constexpr char kTemporaryVariable[] = "TMPDIR";
constexpr char kFolderSeparator[] = "/";
constexpr char kNowhere[] = "/no";
constexpr char kFolderProblem[] = "cannot be read: ";
constexpr char kNotAFolder[] = "Not a directory";

inline void setVariable(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1);
}

inline void linkFile(const std::string& existing, const std::string& added) {
    std::filesystem::create_symlink(existing, added);
}
#endif

#endif
