#include "model/model_tables.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>

#include "model/model_file.h"

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

bool openTableFile(std::ifstream& stream, const char* name) {
    const TablePath path(name);
    // A load cannot fail, and an exception that reached the loader would end the process: an
    // allocation failure counts as a file that cannot be opened.
    try {
        return openModelFile(stream, path.text);
    } catch (const std::bad_alloc&) {
        stream.close();
        reportUnopenedFile(path.text);
        return false;
    }
}

void readInto(std::ifstream& stream, void* destination, std::size_t bytes) {
    stream.read(static_cast<char*>(destination), static_cast<std::streamsize>(bytes));
}

// The file of a mean image starts with its number of floats. A count beyond its slot continues into
// the following slots, whose own files are loaded later, but never past the end of the table.
void loadMeanImage(std::ifstream& stream, MeanImages& meanImages, int slot) {
    std::int32_t count = 0;
    readInto(stream, &count, sizeof count);
    const std::int64_t room = static_cast<std::int64_t>(kNetCount - slot) * kMeanImageRoom;
    const std::int64_t floats = std::clamp<std::int64_t>(count, 0, room);
    readInto(stream, meanImages[slot], static_cast<std::size_t>(floats) * sizeof(float));
}

void loadTable(std::ifstream& stream, const char* name, void* table, std::size_t bytes) {
    if (openTableFile(stream, name)) {
        readInto(stream, table, bytes);
        stream.close();
    }
}

// The rows of a projection file become rows `first` and on. Some at a time, which is quicker: no group
// begins among them.
void loadProjection(std::ifstream& stream, const char* name, ProjectionTable& table, int first) {
    constexpr int kAtOnce = 4;
    static_assert(kProjectionCount % kAtOnce == 0 && kGroupRows % kAtOnce == 0);
    const std::unique_ptr<float[]> rows(new (std::nothrow) float[kAtOnce * kFeatureCount]);
    if (rows == nullptr) {
        reportUnopenedFile(TablePath(name).text);
        return;
    }
    if (!openTableFile(stream, name)) {
        return;
    }
    for (int row = 0; row < kProjectionCount && stream.good(); row += kAtOnce) {
        std::fill_n(rows.get(), kAtOnce * kFeatureCount, 0.0F);  // what a short file lacks
        readInto(stream, rows.get(), kAtOnce * kFeatureCount * sizeof(float));
        for (int column = 0; column < kFeatureCount; ++column) {
            float* place = &table.at(first + row, column);
            for (int i = 0; i < kAtOnce; ++i) {
                place[i] = rows.get()[std::ptrdiff_t{i} * kFeatureCount + column];
            }
        }
    }
    stream.close();
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
    std::ifstream stream;
    for (int number = 1; number <= kNetCount; ++number) {
        char name[16];
        std::snprintf(name, sizeof name, "0-%d-0", number);
        if (openTableFile(stream, name)) {
            loadMeanImage(stream, tables.meanImages, number - 1);
            stream.close();
        }
    }
    loadTable(stream, "6-0", tables.featureMean, sizeof tables.featureMean);
    loadProjection(stream, "6-1", tables.projection, 0);
    loadProjection(stream, "6-2", tables.projection, kProjectionCount);
}
