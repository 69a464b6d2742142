#include "model/model_tables.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "model/model_file.h"
#include "platform/regular_file.h"

char tempPath[kTempPathRoom];
char modelDir[kTempPathRoom + sizeof kModelFolderName + 1];
ModelTables g_modelTables;

namespace {

constexpr std::size_t kPathRoom = 260;

// A load has no status to return: a folder whose path does not fit ends the process.
[[noreturn]] void endProcess(const char* reason) {
    std::fprintf(stderr, "ZOMU: %s\n", reason);
    std::abort();
}

// The path of the file `name` of the model folder. `modelDir` ends in a separator, and another one is
// added before the name; the system treats the two as one.
struct TablePath {
    explicit TablePath(const char* name) {
        const int length = std::snprintf(text, sizeof text, "%s%c%s", modelDir, kSeparator, name);
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof text) {
            endProcess("the path of a model file is longer than 259 bytes");
        }
    }
    char text[kPathRoom];
};

bool openTableFile(RegularFile& file, const char* name) {
    return openModelFile(file, TablePath(name).text);
}

// As much as there is. True if that is all.
bool readInto(RegularFile& file, void* destination, std::size_t bytes) {
    const auto count = static_cast<std::streamsize>(bytes);
    return file.sgetn(static_cast<char*>(destination), count) == count;
}

// The file of a mean image starts with its number of floats. A count beyond its slot continues into
// the following slots, whose own files are loaded later, but never past the end of the table.
void loadMeanImage(RegularFile& file, MeanImages& meanImages, int slot) {
    std::int32_t count = 0;
    readInto(file, &count, sizeof count);
    const std::int64_t room = static_cast<std::int64_t>(kNetCount - slot) * kMeanImageRoom;
    const std::int64_t floats = std::clamp<std::int64_t>(count, 0, room);
    readInto(file, meanImages[slot], static_cast<std::size_t>(floats) * sizeof(float));
}

void loadTable(const char* name, void* table, std::size_t bytes) {
    RegularFile file;
    if (openTableFile(file, name)) {
        readInto(file, table, bytes);
    }
}

// The rows of a projection file become rows `first` and on. Some at a time, which is quicker: no group
// begins among them.
void loadProjection(const char* name, ProjectionTable& table, int first) {
    constexpr int kAtOnce = 4;
    static_assert(kProjectionCount % kAtOnce == 0 && kGroupRows % kAtOnce == 0);
    // A load cannot fail, and an exception that reached the loader would end the process: without
    // memory the file counts as one that cannot be opened.
    const std::unique_ptr<float[]> rows(new (std::nothrow) float[kAtOnce * kFeatureCount]);
    if (rows == nullptr) {
        reportUnopenedFile(TablePath(name).text);
        return;
    }
    RegularFile file;
    if (!openTableFile(file, name)) {
        return;
    }
    bool isMore = true;
    for (int row = 0; row < kProjectionCount && isMore; row += kAtOnce) {
        std::fill_n(rows.get(), kAtOnce * kFeatureCount, 0.0F);  // what a short file lacks
        isMore = readInto(file, rows.get(), kAtOnce * kFeatureCount * sizeof(float));
        for (int column = 0; column < kFeatureCount; ++column) {
            float* place = &table.at(first + row, column);
            for (int i = 0; i < kAtOnce; ++i) {
                place[i] = rows.get()[std::ptrdiff_t{i} * kFeatureCount + column];
            }
        }
    }
}

}  // namespace

void findModelDirectory() {
    char directory[kTempPathRoom] = {};
    queryTemporaryDirectory(directory);
    // The final separator; a query that failed has left an empty string.
    char* lastSeparator = std::strrchr(directory, kSeparator);
    if (lastSeparator == nullptr) {
        endProcess("the path of the temporary directory is empty or longer than 255 bytes");
    }
    *lastSeparator = '\0';
    std::memcpy(tempPath, directory, sizeof tempPath);
    std::snprintf(modelDir, sizeof modelDir, "%s%c%s%c", tempPath, kSeparator, kModelFolderName,
                  kSeparator);
}

void loadModelTables(ModelTables& tables) {
    for (int number = 1; number <= kNetCount; ++number) {
        char name[16];
        std::snprintf(name, sizeof name, "0-%d-0", number);
        RegularFile file;
        if (openTableFile(file, name)) {
            loadMeanImage(file, tables.meanImages, number - 1);
        }
    }
    loadTable("6-0", tables.featureMean, sizeof tables.featureMean);
    loadProjection("6-1", tables.projection, 0);
    loadProjection("6-2", tables.projection, kProjectionCount);
}
