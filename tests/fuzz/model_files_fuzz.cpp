// Weight files, mean images and projection tables of any contents, against what a plain reading of
// the same bytes gives. A matrix whose sizes give no number of elements, a negative product included,
// has to end in std::bad_alloc; one with more elements than any network needs is not read.
//
// The files lie in memory. The tables look for theirs under fixed names, so that their folder holds
// a symbolic link for each.
#include <algorithm>
#include <bit>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "model/model_tables.h"
#include "model/weight_files.h"
#include "support/random.h"
#include "support/temporary_folder.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// ---- weights

struct ExpectedMatrix {
    explicit ExpectedMatrix(const Bytes& file) {
        std::int32_t sizes[2] = {0, 0};
        if (file.size() >= sizeof sizes[0]) {
            std::memcpy(sizes, file.data(), file.size() < sizeof sizes ? 4 : 8);
        }
        rows = sizes[0];
        cols = sizes[1];
        const std::int64_t count = static_cast<std::int64_t>(rows) * cols;
        canExist = 0 <= count && count <= std::numeric_limits<std::int32_t>::max();
        if (count > kMostElements) {
            rows = cols = 0;
        } else if (canExist && file.size() >= sizeof sizes) {
            const std::size_t wanted = static_cast<std::size_t>(count) * sizeof(float);
            elements.assign(file.begin() + 8, file.end());
            isComplete = elements.size() >= wanted;
            elements.resize(std::min(elements.size(), wanted));
        }
    }

    bool canExist;  // false: std::bad_alloc
    bool isComplete = false;
    std::int32_t rows;
    std::int32_t cols;
    Bytes elements;  // as far as the file goes
};

void checkMatrix(const LoadedMatrix& loaded, const ExpectedMatrix& expected, bool transposed) {
    const Matrix& matrix = *loaded.matrix;
    const bool isTurned = transposed && expected.isComplete;
    REQUIRE(loaded.isComplete == expected.isComplete);
    REQUIRE(matrix.numRows == (isTurned ? expected.cols : expected.rows));
    REQUIRE(matrix.numCols == (isTurned ? expected.rows : expected.cols));
    REQUIRE(matrix.numElements == expected.rows * expected.cols);
    if (isTurned && expected.rows < 0) {
        return;  // no row to be turned into a column
    }
    const auto* actual = reinterpret_cast<const std::uint8_t*>(matrix.data);
    for (std::size_t i = 0; i < expected.elements.size(); ++i) {
        const std::size_t element = i / sizeof(float);
        const auto rows = static_cast<std::size_t>(expected.rows);
        const auto cols = static_cast<std::size_t>(expected.cols);
        const std::size_t place = isTurned ? element % cols * rows + element / cols : element;
        REQUIRE(actual[place * sizeof(float) + i % sizeof(float)] == expected.elements[i]);
    }
}

void checkWeights(Random& input) {
    static const MemoryFile files[2];
    Bytes contents[2];
    bool canExist = true;
    for (std::size_t i = 0; i < 2; ++i) {
        const auto kind = input.between(0, 3);
        if (kind > 0) {
            // Sizes that fit the few elements that follow.
            const std::int32_t sizes[2] = {input.between(0, 9), input.between(0, 9)};
            const auto* first = reinterpret_cast<const std::uint8_t*>(sizes);
            contents[i].assign(first, first + sizeof sizes);
        }
        const Bytes more = input.upTo(static_cast<std::size_t>(input.between(0, 400)));
        contents[i].insert(contents[i].end(), more.begin(), more.end());
        files[i].hold(contents[i].data(), contents[i].size());
        canExist = canExist && ExpectedMatrix(contents[i]).canExist;
    }
    const bool transposed = input.between(0, 1) == 1;
    try {
        const std::vector<LoadedMatrix> list = loadWeightList(
            kMemoryFileFolder, {files[0].name(), "none", files[1].name()}, transposed);
        REQUIRE(canExist && list.size() == 2);
        checkMatrix(list[0], ExpectedMatrix(contents[0]), transposed);
        checkMatrix(list[1], ExpectedMatrix(contents[1]), transposed);
        checkMatrix(loadBias(kMemoryFileFolder, files[0].name()), ExpectedMatrix(contents[0]),
                    false);
    } catch (const std::bad_alloc&) {
        REQUIRE(!canExist);
    }
}

// ---- tables

struct TableFile {
    int slot;  // of a mean image; 25 to 27: the tables behind them
    Bytes contents;

    std::string name() const {
        return slot < kNetCount ? "0-" + std::to_string(slot + 1) + "-0"
                                : "6-" + std::to_string(slot - kNetCount);
    }
};

constexpr int kTableFileCount = kNetCount + 3;
constexpr std::size_t kMeanBytes = sizeof g_modelTables.meanImages;

constexpr int kProjectionFloats = kProjectionCount * kFeatureCount;
constexpr int kTableFloats[3] = {kFeatureCount, kProjectionFloats, kProjectionFloats};

// Float `i` of a table as its file counts them.
float& tableFloat(int table, int i) {
    return table == 0 ? g_modelTables.featureMean[i]
                      : g_modelTables.projection.at(
                            (table - 1) * kProjectionCount + i / kFeatureCount, i % kFeatureCount);
}

// Requires what the file holds, and a zero after it, and clears the table again.
void requireTable(int table, const Bytes& contents) {
    const auto floats = static_cast<int>(contents.size() / sizeof(float)) + 2;
    for (int i = 0; i < std::min(floats, kTableFloats[table]); ++i) {
        const std::size_t begin = sizeof(float) * static_cast<std::size_t>(i);
        std::uint32_t bits = 0;
        if (begin < contents.size()) {
            std::memcpy(&bits, &contents[begin], std::min(sizeof bits, contents.size() - begin));
        }
        REQUIRE(std::bit_cast<std::uint32_t>(tableFloat(table, i)) == bits);
        tableFloat(table, i) = 0.0F;
    }
}

// What the file of a mean image leaves in the bytes of all of them.
void readExpectedMean(const TableFile& file, Bytes& images) {
    const Bytes& contents = file.contents;
    if (contents.size() < 4) {
        return;
    }
    std::int32_t count = 0;
    std::memcpy(&count, contents.data(), 4);
    const std::size_t begin =
        sizeof g_modelTables.meanImages[0] * static_cast<std::size_t>(file.slot);
    const std::size_t wanted = count < 0 ? 0 : static_cast<std::size_t>(count) * sizeof(float);
    const std::size_t size = std::min({wanted, contents.size() - 4, kMeanBytes - begin});
    std::copy_n(contents.begin() + 4, size, images.begin() + static_cast<std::ptrdiff_t>(begin));
}

// A folder of links for those files that the input gives; the others are missing.
class TableFolder {
  public:
    TableFolder() {
        const std::string model = folder.prefix() + kModelFolderName + "/";
        std::filesystem::create_directory(model);
        REQUIRE(model.size() < sizeof modelDir);
        std::memcpy(modelDir, model.c_str(), model.size() + 1);
    }

    void give(const std::vector<TableFile>& given) const {
        for (std::size_t i = 0; i < given.size(); ++i) {
            files[i].hold(given[i].contents.data(), given[i].contents.size());
            std::filesystem::create_symlink(files[i].path(), modelDir + given[i].name());
        }
    }

    static constexpr int kRoom = 4;

  private:
    TemporaryFolder folder;
    MemoryFile files[kRoom];
};

std::vector<TableFile> tableFiles(Random& input) {
    std::vector<TableFile> given;
    const int count = input.between(1, TableFolder::kRoom);
    int slot = -1;
    for (int i = 0; i < count; ++i) {
        slot += 1 + input.between(0, 7);
        if (slot >= kTableFileCount) {
            break;
        }
        TableFile file = {slot, input.upTo(static_cast<std::size_t>(input.between(0, 300)))};
        if (input.between(0, 7) == 0) {
            const auto zeros = static_cast<std::size_t>(input.between(0, 15)) * 65536;
            file.contents.resize(file.contents.size() + zeros);
        }
        given.push_back(file);
    }
    return given;
}

void checkTables(Random& input) {
    static const TableFolder folder;
    static const Bytes unread(kMeanBytes, 0x3F);
    const std::vector<TableFile> given = tableFiles(input);
    folder.give(given);

    std::memcpy(g_modelTables.meanImages, unread.data(), kMeanBytes);
    Bytes expected = unread;
    loadModelTables(g_modelTables);
    for (const TableFile& file : given) {
        if (file.slot < kNetCount) {
            readExpectedMean(file, expected);
            continue;
        }
        requireTable(file.slot - kNetCount, file.contents);
    }
    REQUIRE(std::memcmp(g_modelTables.meanImages, expected.data(), kMeanBytes) == 0);
    for (const TableFile& file : given) {
        std::filesystem::remove(modelDir + file.name());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Random input(data, size);
    // Tables take 20 times as long.
    if (input.byte() < 230) {
        checkWeights(input);
    } else {
        checkTables(input);
    }
    return 0;
}
