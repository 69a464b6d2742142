#include "matrix/matrix.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/bits.h"
#include "support/nets.h"

namespace {

// A matrix of that logical shape and order whose element (i, j) is 10 i + j + 1.
Matrix numbered(std::int32_t rows, std::int32_t cols, std::int32_t trans) {
    Matrix matrix(rows, cols);
    matrix.trans = trans;
    for (std::int32_t i = 0; i < rows; ++i) {
        for (std::int32_t j = 0; j < cols; ++j) {
            matrix.at(i, j) = static_cast<float>(10 * i + j + 1);
        }
    }
    return matrix;
}

std::string fileBytes(std::int32_t rows, std::int32_t cols, const std::vector<float>& values) {
    std::string bytes(8 + values.size() * sizeof(float), '\0');
    std::memcpy(bytes.data(), &rows, 4);
    std::memcpy(bytes.data() + 4, &cols, 4);
    if (!values.empty()) {
        std::memcpy(bytes.data() + 8, values.data(), values.size() * sizeof(float));
    }
    return bytes;
}

}  // namespace

TEST(Matrix, startsEmptyAndOwning) {
    const Matrix matrix;
    EXPECT_EQ(matrix.data, nullptr);
    EXPECT_TRUE(matrix.ownsData);
    EXPECT_EQ(matrix.numRows, 0);
    EXPECT_EQ(matrix.numCols, 0);
    EXPECT_EQ(matrix.numElements, 0);
    EXPECT_EQ(matrix.trans, 111);
}

TEST(Matrix, storageOrdersHaveTheValuesOfCblas) {
    EXPECT_EQ(kRowMajor, 111);
    EXPECT_EQ(kTransposed, 112);
}

TEST(Matrix, ofNoRowsHasNoStorage) {
    EXPECT_EQ(Matrix(0, 5).data, nullptr);
    EXPECT_EQ(Matrix(5, 0).data, nullptr);
    EXPECT_EQ(Matrix(-2, 3).data, nullptr);
    const Matrix matrix(0, 5);
    EXPECT_EQ(matrix.numCols, 5);
    EXPECT_EQ(matrix.numElements, 0);
    EXPECT_TRUE(matrix.ownsData);
}

TEST(Matrix, failsInTheAllocatorWhereTheSizesOverflow) {
    EXPECT_THROW(Matrix(1 << 20, 1 << 20), std::bad_alloc);
    std::istringstream stream(fileBytes(1 << 20, 1 << 20, {}));
    EXPECT_THROW(Matrix{stream}, std::bad_alloc);
    std::istringstream negative(fileBytes(-1, 5, {}));
    EXPECT_THROW(Matrix{negative}, std::bad_alloc);
    Matrix matrix(2, 2);
    EXPECT_THROW(matrix.resize(1 << 20, 1 << 20), std::bad_alloc);
    EXPECT_EQ(matrix.numElements, 4);
}

TEST(Matrix, countsAsManyElementsAsA32BitIntegerDoes) {
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(Matrix::view(nullptr, 1, kMost).numElements, kMost);
    EXPECT_EQ(Matrix::view(nullptr, -1, kMost).numElements, -kMost);
    EXPECT_EQ(Matrix::view(nullptr, 1 << 16, -(1 << 15)).numElements, -kMost - 1);
    EXPECT_THROW(Matrix::view(nullptr, 1 << 16, 1 << 15), std::bad_alloc);
    EXPECT_THROW(Matrix::view(nullptr, 3, -715827883), std::bad_alloc);
}

TEST(Matrix, readsSizesAndElementsFromAStream) {
    const std::vector<float> values = {1, 2, 3, 4, 5, 6};
    std::istringstream stream(fileBytes(2, 3, values));
    const Matrix matrix(stream);
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(matrix.numRows, 2);
    EXPECT_EQ(matrix.numCols, 3);
    EXPECT_EQ(matrix.trans, kRowMajor);
    EXPECT_TRUE(matrix.ownsData);
    EXPECT_TRUE(sameFloats(values, valuesOf(matrix)));
}

TEST(Matrix, readsWhatAShortStreamHoldsAndLeavesTheStreamFailed) {
    std::string bytes = fileBytes(2, 3, {1, 2, 3, 4, 5, 6});
    bytes.resize(8 + 2 * sizeof(float));
    std::istringstream stream(bytes);
    const Matrix matrix(stream);
    EXPECT_FALSE(stream.good());
    EXPECT_EQ(matrix.numElements, 6);
    EXPECT_TRUE(sameFloat(1, matrix.data[0]));
    EXPECT_TRUE(sameFloat(2, matrix.data[1]));

    std::istringstream headless(std::string(6, '\1'));
    const Matrix empty(headless);
    EXPECT_FALSE(headless.good());
    EXPECT_EQ(empty.numElements, 0);
}

TEST(Matrix, viewDoesNotReleaseForeignStorage) {
    float storage[6] = {1, 2, 3, 4, 5, 6};
    {
        const Matrix view = Matrix::view(storage, 2, 3);
        EXPECT_FALSE(view.ownsData);
        EXPECT_EQ(view.numElements, 6);
        EXPECT_TRUE(sameFloat(6, view.at(1, 2)));
    }
    EXPECT_TRUE(sameFloat(6, storage[5]));
}

TEST(Matrix, handsItsStorageOverWhenMoved) {
    Matrix source = numbered(2, 2, kTransposed);
    const float* storage = source.data;
    const Matrix target = std::move(source);
    EXPECT_EQ(target.data, storage);
    EXPECT_EQ(target.trans, kTransposed);
    EXPECT_EQ(source.data, nullptr);  // NOLINT(bugprone-use-after-move): this is what is tested
    EXPECT_EQ(source.numElements, 0);
}

TEST(Matrix, addressesElementsByStorageOrder) {
    Matrix matrix = matrixOf(2, 3, {1, 2, 3, 4, 5, 6});
    EXPECT_TRUE(sameFloat(4, matrix.at(1, 0)));
    matrix.trans = kTransposed;  // the same storage holds the columns one after another
    EXPECT_TRUE(sameFloat(2, matrix.at(1, 0)));
    EXPECT_TRUE(sameFloat(5, matrix.at(0, 2)));
}

TEST(Matrix, resizeToTheSameElementCountKeepsStorageAndBytes) {
    Matrix matrix = matrixOf(2, 3, {1, 2, 3, 4, 5, 6});
    matrix.trans = kTransposed;
    const float* storage = matrix.data;
    matrix.resize(3, 2);
    EXPECT_EQ(matrix.data, storage);
    EXPECT_EQ(matrix.trans, kRowMajor);
    EXPECT_EQ(matrix.numRows, 3);
    EXPECT_EQ(matrix.numCols, 2);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, 5, 6}, valuesOf(matrix)));
}

TEST(Matrix, resizeToTheSameElementCountWorksOnForeignStorage) {
    float storage[6] = {1, 2, 3, 4, 5, 6};
    Matrix view = Matrix::view(storage, 2, 3);
    for (const auto& [rows, cols] : {std::pair(3, 2), std::pair(1, 6), std::pair(6, 1)}) {
        view.trans = kTransposed;
        view.resize(rows, cols);
        EXPECT_EQ(view.data, storage);
        EXPECT_FALSE(view.ownsData);
        EXPECT_EQ(view.numRows, rows);
        EXPECT_EQ(view.numCols, cols);
        EXPECT_EQ(view.numElements, 6);
        EXPECT_EQ(view.trans, kRowMajor);
    }
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, 5, 6}, valuesOf(view)));
}

// The leak sanitizer sees an allocation that is not released, the address sanitizer one too small.
TEST(Matrix, resizeToAnotherElementCountReplacesTheStorage) {
    Matrix matrix(2, 3);
    for (const auto& [rows, cols] :
         {std::pair(3, 3), std::pair(100, 7), std::pair(5, 1), std::pair(0, 4), std::pair(2, 2)}) {
        matrix.trans = kTransposed;
        matrix.resize(rows, cols);
        EXPECT_TRUE(matrix.ownsData);
        EXPECT_EQ(matrix.numRows, rows);
        EXPECT_EQ(matrix.numCols, cols);
        EXPECT_EQ(matrix.numElements, rows * cols);
        EXPECT_EQ(matrix.trans, kRowMajor);
        for (std::int32_t n = 0; n < matrix.numElements; ++n) {
            matrix.data[n] = static_cast<float>(n);
        }
    }
    EXPECT_TRUE(sameFloats({0, 1, 2, 3}, valuesOf(matrix)));
}

// So large a block has pages of its own, which a block of one float never lies in.
TEST(Matrix, resizeToFewElementsDoesNotKeepTheLargeStorage) {
    Matrix matrix(2048, 2048);
    const auto large = reinterpret_cast<std::uintptr_t>(matrix.data);
    matrix.resize(1, 1);
    const auto small = reinterpret_cast<std::uintptr_t>(matrix.data);
    EXPECT_NE(small, large);
}

#ifndef NDEBUG
TEST(MatrixDeathTest, resizeOfForeignStorageToAnotherElementCountIsCaught) {
    float storage[6] = {1, 2, 3, 4, 5, 6};
    Matrix view = Matrix::view(storage, 2, 3);
    EXPECT_DEATH(view.resize(2, 4), "ownsData");
}
#endif

TEST(Matrix, resizeToItsOwnShapeLeavesStorageOrderAlone) {
    Matrix matrix = numbered(2, 3, kTransposed);
    const float* storage = matrix.data;
    matrix.resize(2, 3);
    EXPECT_EQ(matrix.trans, kTransposed);
    EXPECT_EQ(matrix.data, storage);
}

TEST(Matrix, resizeToNoElementsGivesAnEmptyAllocation) {
    Matrix matrix(2, 3);
    matrix.resize(0, 7);
    EXPECT_NE(matrix.data, nullptr);
    EXPECT_EQ(matrix.numElements, 0);
    EXPECT_EQ(matrix.numCols, 7);
}

TEST(Matrix, resizeOfNoElementsToNoElementsAllocatesNothing) {
    Matrix matrix;
    matrix.resize(0, 7);
    EXPECT_EQ(matrix.data, nullptr);
    EXPECT_EQ(matrix.numCols, 7);
}

TEST(Matrix, resizeTakesTheShapeOfAModel) {
    const Matrix model(4, 5);
    Matrix matrix;
    matrix.resize(model);
    EXPECT_EQ(matrix.numRows, 4);
    EXPECT_EQ(matrix.numCols, 5);
    EXPECT_EQ(matrix.numElements, 20);
}

TEST(Matrix, copyKeepsLogicalValuesInEveryPairOfOrders) {
    for (const std::int32_t from : {kRowMajor, kTransposed}) {
        for (const std::int32_t to : {kRowMajor, kTransposed}) {
            const Matrix source = numbered(3, 4, from);
            Matrix target(3, 4);
            target.trans = to;
            source.copy(target);
            EXPECT_EQ(target.trans, to);
            for (std::int32_t i = 0; i < 3; ++i) {
                for (std::int32_t j = 0; j < 4; ++j) {
                    EXPECT_TRUE(sameFloat(source.at(i, j), target.at(i, j))) << i << ", " << j;
                }
            }
        }
    }
}

TEST(Matrix, copyGivesAnotherShapeAndSurvivesItself) {
    Matrix source = numbered(3, 4, kRowMajor);
    Matrix target(1, 1);
    source.copy(target);
    EXPECT_TRUE(sameFloats(valuesOf(source), valuesOf(target)));
    source.copy(source);
    EXPECT_TRUE(sameFloats(valuesOf(target), valuesOf(source)));
    Matrix empty;
    empty.copy(target);
    EXPECT_EQ(target.numElements, 0);
}

TEST(Matrix, newCopyIsRowMajorAndOwnsItsStorage) {
    for (const std::int32_t from : {kRowMajor, kTransposed}) {
        const Matrix source = numbered(2, 3, from);
        const auto result = source.copy();
        EXPECT_EQ(result->numRows, 2);
        EXPECT_EQ(result->numCols, 3);
        EXPECT_EQ(result->numElements, 6);
        EXPECT_EQ(result->trans, kRowMajor);
        EXPECT_TRUE(result->ownsData);
        EXPECT_NE(result->data, source.data);
        EXPECT_TRUE(sameFloats({1, 2, 3, 11, 12, 13}, valuesOf(*result)));
        EXPECT_EQ(source.trans, from);
    }
}

TEST(Matrix, newCopyOfNoElementsKeepsTheShape) {
    const Matrix source(0, 5);
    const auto result = source.copy();
    EXPECT_EQ(result->numRows, 0);
    EXPECT_EQ(result->numCols, 5);
    EXPECT_EQ(result->numElements, 0);
    EXPECT_TRUE(result->ownsData);
}

TEST(Matrix, copyOfTransposedToAnotherShapeArrivesRowMajor) {
    const Matrix source = numbered(2, 3, kTransposed);
    Matrix target(3, 2);
    target.trans = kTransposed;
    const float* storage = target.data;
    source.copy(target);
    EXPECT_EQ(target.data, storage);
    EXPECT_EQ(target.trans, kRowMajor);
    EXPECT_TRUE(sameFloats({1, 2, 3, 11, 12, 13}, valuesOf(target)));
}

TEST(Matrix, transposeOfRowMajorIsACopy) {
    const Matrix source = numbered(2, 3, kRowMajor);
    const auto result = source.transpose();
    EXPECT_EQ(result->numRows, 3);
    EXPECT_EQ(result->numCols, 2);
    EXPECT_EQ(result->trans, kRowMajor);
    EXPECT_TRUE(result->ownsData);
    EXPECT_NE(result->data, source.data);
    EXPECT_TRUE(sameFloat(source.at(1, 2), result->at(2, 1)));
    EXPECT_TRUE(sameFloats({1, 11, 2, 12, 3, 13}, valuesOf(*result)));
}

// A file of eight bytes may claim such a shape.
TEST(Matrix, transposeOfBillionsOfEmptyRowsTakesNoTime) {
    constexpr std::int32_t kMany = std::numeric_limits<std::int32_t>::max();
    const std::clock_t start = std::clock();
    const auto result = Matrix(kMany, 0).transpose();
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC / 10);
    EXPECT_EQ(result->numRows, 0);
    EXPECT_EQ(result->numCols, kMany);
    EXPECT_EQ(result->numElements, 0);
}

TEST(Matrix, transposeOfTransposedSharesStorage) {
    const Matrix source = numbered(2, 3, kTransposed);
    const auto result = source.transpose();
    EXPECT_EQ(result->data, source.data);
    EXPECT_FALSE(result->ownsData);
    EXPECT_EQ(result->numRows, 3);
    EXPECT_EQ(result->numCols, 2);
    EXPECT_EQ(result->numElements, 6);
    EXPECT_EQ(result->trans, kRowMajor);
    EXPECT_TRUE(sameFloat(source.at(1, 2), result->at(2, 1)));
}
