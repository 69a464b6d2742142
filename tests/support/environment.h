// What tests have to know of the system: the variable that names the temporary directory, how paths
// are written, and how a variable of the test's own process is set.
#ifndef ZOMU_TESTS_SUPPORT_ENVIRONMENT_H
#define ZOMU_TESTS_SUPPORT_ENVIRONMENT_H

#include <cstdlib>
#include <string>

#if defined(_WIN32)
// Where GetTempPathA looks first.
constexpr char kTemporaryVariable[] = "TMP";
constexpr char kFolderSeparator[] = "\\";
// A path below which nothing is.
constexpr char kNowhere[] = "C:\\no";
// Where a folder is opened like a file, and where a file stands in place of a folder.
constexpr char kFolderProblem[] = "cannot be opened: ";
constexpr char kNotAFolder[] = "No such file or directory";

inline void setVariable(const char* name, const std::string& value) {
    _putenv_s(name, value.c_str());
}
#else
constexpr char kTemporaryVariable[] = "TMPDIR";
constexpr char kFolderSeparator[] = "/";
// A path below which nothing is.
constexpr char kNowhere[] = "/no";
// Where a folder is opened like a file, and where a file stands in place of a folder.
constexpr char kFolderProblem[] = "cannot be read: ";
constexpr char kNotAFolder[] = "Not a directory";

inline void setVariable(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1);
}
#endif

#endif
