#include "matrix/matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
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
#include "support/matrices.h"

namespace {

// A matrix of that logical shape and order whose element (i, j) is 10 i + j + 1.
Matrix numbered(std::int32_t rows, std::int32_t cols, std::int32_t trans = kRowMajor) {
    Matrix matrix(rows, cols);
    matrix.trans = trans;
    for (std::int32_t i = 0; i < rows; ++i) {
        for (std::int32_t j = 0; j < cols; ++j) {
            matrix.at(i, j) = static_cast<float>(10 * i + j + 1);
        }
    }
    return matrix;
}

// Says which of a matrix's sizes and its order is not as expected.
testing::AssertionResult isShaped(const Matrix& matrix, std::int32_t rows, std::int32_t cols,
                                  std::int32_t trans = kRowMajor) {
    if (matrix.numRows == rows && matrix.numCols == cols && matrix.trans == trans &&
        matrix.numElements == rows * cols) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << matrix.numRows << " x " << matrix.numCols << " of "
                                       << matrix.numElements << " elements, order " << matrix.trans;
}

const std::vector<float> kSix = {1, 2, 3, 4, 5, 6};
const std::vector<float> kNumbered = {1, 2, 3, 11, 12, 13};  // the storage of numbered(2, 3)

std::string fileBytes(std::int32_t rows, std::int32_t cols, const std::vector<float>& values) {
    std::string bytes(8 + values.size() * sizeof(float), '\0');
    std::memcpy(bytes.data(), &rows, 4);
    std::memcpy(bytes.data() + 4, &cols, 4);
    std::copy_n(reinterpret_cast<const char*>(values.data()), bytes.size() - 8, bytes.data() + 8);
    return bytes;
}

}  // namespace

TEST(Matrix, startsEmptyAndOwning) {
    const Matrix matrix;
    EXPECT_EQ(matrix.data, nullptr);
    EXPECT_TRUE(matrix.ownsData);
    EXPECT_TRUE(isShaped(matrix, 0, 0, 111));  // the values of CBLAS
    EXPECT_EQ(kTransposed, 112);
}

TEST(Matrix, ofNoElementsHasNoStorage) {
    for (const auto& [rows, cols] : {std::pair(0, 5), std::pair(5, 0), std::pair(-2, 3)}) {
        const Matrix matrix(rows, cols);
        EXPECT_EQ(matrix.data, nullptr);
        EXPECT_TRUE(matrix.ownsData);
        EXPECT_TRUE(isShaped(matrix, rows, cols));
    }
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
    std::istringstream stream(fileBytes(2, 3, kSix));
    const Matrix matrix(stream);
    EXPECT_TRUE(stream.good());
    EXPECT_TRUE(isShaped(matrix, 2, 3));
    EXPECT_TRUE(matrix.ownsData);
    EXPECT_TRUE(sameFloats(kSix, valuesOf(matrix)));
}

TEST(Matrix, readsWhatAShortStreamHoldsAndLeavesTheStreamFailed) {
    std::istringstream stream(fileBytes(2, 3, kSix).substr(0, 8 + 2 * sizeof(float)));
    const Matrix matrix(stream);
    EXPECT_FALSE(stream.good());
    EXPECT_TRUE(isShaped(matrix, 2, 3));
    EXPECT_TRUE(sameFloats(kSix.data(), matrix.data, 2));

    std::istringstream headless(std::string(6, '\1'));
    const Matrix empty(headless);
    EXPECT_FALSE(headless.good());
    EXPECT_EQ(empty.numElements, 0);
}

TEST(Matrix, viewAddressesForeignStorageInEitherOrderAndDoesNotReleaseIt) {
    float storage[6] = {1, 2, 3, 4, 5, 6};
    {
        Matrix view = Matrix::view(storage, 2, 3);
        EXPECT_FALSE(view.ownsData);
        EXPECT_TRUE(isShaped(view, 2, 3));
        EXPECT_TRUE(sameFloat(4, view.at(1, 0)));
        view.trans = kTransposed;  // the same storage holds the columns one after another
        EXPECT_TRUE(sameFloat(2, view.at(1, 0)));
        EXPECT_TRUE(sameFloat(5, view.at(0, 2)));
    }
    EXPECT_TRUE(sameFloat(6, storage[5]));
}

TEST(Matrix, handsItsStorageOverWhenMoved) {
    Matrix source = numbered(2, 2, kTransposed);
    const float* storage = source.data;
    const Matrix target = std::move(source);
    EXPECT_EQ(target.data, storage);
    EXPECT_TRUE(isShaped(target, 2, 2, kTransposed));
    EXPECT_EQ(source.data, nullptr);  // NOLINT(bugprone-use-after-move): this is what is tested
    EXPECT_TRUE(isShaped(source, 0, 0));
    EXPECT_TRUE(source.ownsData);
}

TEST(Matrix, resizeToTheSameElementCountKeepsStorageAndBytes) {
    float storage[6] = {1, 2, 3, 4, 5, 6};
    Matrix view = Matrix::view(storage, 2, 3);
    Matrix owner = matrixOf(2, 3, kSix);
    for (Matrix* matrix : {&view, &owner}) {
        const float* data = matrix->data;
        for (const auto& [rows, cols] : {std::pair(3, 2), std::pair(1, 6), std::pair(6, 1)}) {
            matrix->trans = kTransposed;
            matrix->resize(rows, cols);
            EXPECT_EQ(matrix->data, data);
            EXPECT_EQ(matrix->ownsData, matrix == &owner);
            EXPECT_TRUE(isShaped(*matrix, rows, cols));
        }
        EXPECT_TRUE(sameFloats(kSix, valuesOf(*matrix)));
    }
}

// The leak sanitizer sees an allocation that is not released, the address sanitizer one too small.
TEST(Matrix, resizeToAnotherElementCountReplacesTheStorage) {
    Matrix matrix(2, 3);
    for (const auto& [rows, cols] :
         {std::pair(3, 3), std::pair(100, 7), std::pair(5, 1), std::pair(0, 4), std::pair(2, 2)}) {
        matrix.trans = kTransposed;
        matrix.resize(rows, cols);
        EXPECT_TRUE(matrix.ownsData);
        EXPECT_NE(matrix.data, nullptr);  // an empty allocation where there are no elements
        EXPECT_TRUE(isShaped(matrix, rows, cols));
        std::fill_n(matrix.data, matrix.numElements, 1.0F);
    }
}

// So large a block has pages of its own, which a block of one float never lies in.
TEST(Matrix, resizeToFewElementsDoesNotKeepTheLargeStorage) {
    Matrix matrix(2048, 2048);
    const auto large = reinterpret_cast<std::uintptr_t>(matrix.data);
    matrix.resize(1, 1);
    EXPECT_NE(reinterpret_cast<std::uintptr_t>(matrix.data), large);
}

#ifndef NDEBUG
TEST(MatrixDeathTest, resizeOfForeignStorageToAnotherElementCountIsCaught) {
    float storage[6] = {1, 2, 3, 4, 5, 6};
    Matrix view = Matrix::view(storage, 2, 3);
    EXPECT_DEATH(view.resize(2, 4), "ownsData");
}
#endif

TEST(Matrix, resizeToTheShapeOfItsModelLeavesStorageOrderAloneWhereItHasThatShape) {
    Matrix matrix = numbered(2, 3, kTransposed);
    const float* storage = matrix.data;
    matrix.resize(Matrix(2, 3));
    EXPECT_EQ(matrix.data, storage);
    EXPECT_TRUE(isShaped(matrix, 2, 3, kTransposed));
    Matrix empty;
    empty.resize(Matrix(0, 7));
    EXPECT_EQ(empty.data, nullptr) << "allocates nothing for nothing";
    EXPECT_TRUE(isShaped(empty, 0, 7));
}

TEST(Matrix, copyKeepsLogicalValuesInEveryPairOfOrders) {
    for (const std::int32_t from : {kRowMajor, kTransposed}) {
        const Matrix source = numbered(2, 3, from);
        for (const std::int32_t to : {kRowMajor, kTransposed}) {
            Matrix target(2, 3);
            target.trans = to;
            source.copy(target);
            EXPECT_TRUE(isShaped(target, 2, 3, to));
            EXPECT_TRUE(sameFloats(valuesOf(numbered(2, 3, to)), valuesOf(target)));
        }
        const auto result = source.copy();
        EXPECT_TRUE(isShaped(*result, 2, 3));
        EXPECT_TRUE(result->ownsData);
        EXPECT_NE(result->data, source.data);
        EXPECT_TRUE(sameFloats(kNumbered, valuesOf(*result)));
    }
}

TEST(Matrix, copyGivesAnotherShapeAndSurvivesItself) {
    Matrix source = numbered(3, 4);
    Matrix target(1, 1);
    source.copy(target);
    EXPECT_TRUE(isShaped(target, 3, 4));
    EXPECT_TRUE(sameFloats(valuesOf(source), valuesOf(target)));
    source.copy(source);
    EXPECT_TRUE(sameFloats(valuesOf(target), valuesOf(source)));
    Matrix turned = matrixOf(3, 2, kSix, kTransposed);
    const float* storage = turned.data;
    numbered(2, 3, kTransposed).copy(turned);
    EXPECT_EQ(turned.data, storage);
    EXPECT_TRUE(isShaped(turned, 2, 3)) << "row-major with its new shape";
    EXPECT_TRUE(sameFloats(kNumbered, valuesOf(turned)));
    Matrix().copy(target);
    EXPECT_TRUE(isShaped(target, 0, 0));
    const auto empty = Matrix(0, 5).copy();
    EXPECT_TRUE(isShaped(*empty, 0, 5));
    EXPECT_TRUE(empty->ownsData);
}

TEST(Matrix, transposeSharesTheStorageOfTransposedAlone) {
    for (const std::int32_t order : {kRowMajor, kTransposed}) {
        const Matrix source = numbered(2, 3, order);
        const auto result = source.transpose();
        EXPECT_TRUE(isShaped(*result, 3, 2));
        EXPECT_EQ(result->ownsData, order == kRowMajor);
        EXPECT_EQ(result->data != source.data, order == kRowMajor);
        EXPECT_TRUE(sameFloats({1, 11, 2, 12, 3, 13}, valuesOf(*result)));
    }
}

// A file of eight bytes may claim such a shape.
TEST(Matrix, transposeOfBillionsOfEmptyRowsTakesNoTime) {
    constexpr std::int32_t kMany = std::numeric_limits<std::int32_t>::max();
    const std::clock_t start = std::clock();
    const auto result = Matrix(kMany, 0).transpose();
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC / 10);
    EXPECT_TRUE(isShaped(*result, 0, kMany));
}
