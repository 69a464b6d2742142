// What differs between operating systems: the temporary directory and the path separator.
#ifndef ZOMU_PLATFORM_PLATFORM_H
#define ZOMU_PLATFORM_PLATFORM_H

// Room for the temporary directory with its final separator and a NUL.
constexpr int kTempPathRoom = 256;

#if defined(_WIN32)
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif

// Writes the temporary directory, which ends in a separator, to `buffer`; an empty string if it
// does not fit. On systems without GetTempPathA it is the first of TMPDIR, TMP, TEMP and TEMPDIR
// that is set and not empty, else /tmp. A program that has other rights than its caller, such as a
// set-user-ID program, does not look at the caller's variables.
void queryTemporaryDirectory(char (&buffer)[kTempPathRoom]);

#endif
