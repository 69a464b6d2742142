// Writes the files of a model folder: random weights, mean images and projection tables, in the
// library's formats (little-endian, like every host that the library runs on).
//
// `folder` ends in a separator everywhere.
#ifndef ZOMU_TESTS_SUPPORT_MODEL_FOLDER_H
#define ZOMU_TESTS_SUPPORT_MODEL_FOLDER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "reference/reference_tables.h"
#include "support/random.h"

inline void writeFile(const std::string& path, const void* bytes, std::size_t size) {
    std::ofstream file(path, std::ios::binary);
    file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

// The integers of `header`, then the values.
inline void writeFloats(const std::string& path, const std::vector<float>& values,
                        const std::vector<std::int32_t>& header = {}) {
    std::string bytes(4 * (header.size() + values.size()), '\0');
    std::copy_n(reinterpret_cast<const char*>(header.data()), 4 * header.size(), bytes.data());
    std::copy_n(reinterpret_cast<const char*>(values.data()), 4 * values.size(),
                bytes.data() + 4 * header.size());
    writeFile(path, bytes.data(), bytes.size());
}

// Row count, column count, then the elements row by row.
inline void writeWeightFile(const std::string& path, std::int32_t rows, std::int32_t cols,
                            const std::vector<float>& values) {
    if (values.size() != static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols)) {
        throw std::logic_error("wrong number of elements for " + path);
    }
    writeFloats(path, values, {rows, cols});
}

// Number of values, then the values. `number` is the network's, counted from 1.
inline void writeMeanImage(const std::string& folder, int number,
                           const std::vector<float>& values) {
    writeFloats(folder + "0-" + std::to_string(number) + "-0", values,
                {static_cast<std::int32_t>(values.size())});
}

// Name (without the network's number) and shape of one weight file.
struct WeightFile {
    int stage;
    int matrix;
    std::int32_t rows;
    std::int32_t cols;
    bool isBias;

    std::string name(int number) const {
        return std::to_string(stage) + "-" + std::to_string(number) + "-" + std::to_string(matrix);
    }
};

// The 11 weight files of a network, `number` counted from 1.
inline std::vector<WeightFile> weightFilesOf(int number) {
    const ReferencePatch& patch = kReferencePatches[number - 1];
    const bool large = patch.size == 55;
    return {{1, 1, (patch.isColour ? 3 : 1) * 16, 16, false},
            {1, 2, 16, 1, true},
            {2, 1, 144, 32, false},
            {2, 2, 32, 1, true},
            {3, 1, 288, 48, false},
            {3, 2, 48, 1, true},
            {4, 1, 192, 64, false},
            {4, 2, 64, 1, true},
            {5, 1, large ? 1024 : 576, 160, false},
            {5, 2, large ? 1200 : 768, 160, false},
            {5, 3, 1, 160, true}};
}

// Random weights under which activations keep their size from layer to layer: of mean 0.6 / rows
// and spread of a few times 1 / rows, so that sums neither cancel to noise nor grow. Biases are
// mostly small and negative, which makes the rectifiers work.
inline void writeNetWeights(const std::string& folder, int number, Random& random) {
    for (const WeightFile& file : weightFilesOf(number)) {
        const auto count =
            static_cast<std::size_t>(file.rows) * static_cast<std::size_t>(file.cols);
        const float scale = 1.0F / static_cast<float>(file.rows);
        writeWeightFile(folder + file.name(number), file.rows, file.cols,
                        file.isBias ? random.floats(count, -4.0F, 2.0F)
                                    : random.floats(count, -1.6F * scale, 2.8F * scale));
    }
}

// Weights of all 25 networks and their mean images.
inline void writeNetworks(const std::string& folder, Random& random) {
    for (int number = 1; number <= 25; ++number) {
        const ReferencePatch& patch = kReferencePatches[number - 1];
        const auto pixels = static_cast<std::size_t>(patch.size * patch.size);
        writeMeanImage(folder, number,
                       random.floats(patch.isColour ? 3 * pixels : pixels, 90, 150));
        writeNetWeights(folder, number, random);
    }
}

// Feature mean and both projection tables: 32 MB.
inline void writeProjection(const std::string& folder, Random& random) {
    writeFloats(folder + "6-0", random.floats(8000, -0.1F, 0.1F));
    writeFloats(folder + "6-1", random.floats(std::size_t{500} * 8000, -0.1F, 0.1F));
    writeFloats(folder + "6-2", random.floats(std::size_t{500} * 8000, -0.1F, 0.1F));
}

#endif
