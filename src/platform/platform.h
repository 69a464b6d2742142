// The questions that every operating system answers in its own way: where temporary files live,
// what separates folders, and what opens like a file without being one.
#ifndef ZOMU_PLATFORM_PLATFORM_H
#define ZOMU_PLATFORM_PLATFORM_H

// Room for the temporary directory with its final separator and a NUL.
constexpr int kTempPathRoom = 256;

#if defined(_WIN32)
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif

// Writes the temporary directory, with a separator at its end, to `buffer`; an empty text where it
// does not fit. Without GetTempPathA it is the first of TMPDIR, TMP, TEMP and TEMPDIR that is set
// and not empty, else /tmp.
void queryTemporaryDirectory(char (&buffer)[kTempPathRoom]);

// True where `path` is a folder that the system would open like a file.
bool isOpenableFolder(const char* path);

#endif
