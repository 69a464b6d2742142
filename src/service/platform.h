// The questions that every operating system answers in its own way: where temporary files live,
// what separates folders, what opens as a file though it is none, and how a library learns that it
// has been loaded.
#ifndef ZOMU_SERVICE_PLATFORM_H
#define ZOMU_SERVICE_PLATFORM_H

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

// Called here when the loader reports that the library has been loaded, once in a process and
// before any other call: finds the model folder and loads the tables. model_tables.cpp defines it.
void attachLibrary();

#endif
