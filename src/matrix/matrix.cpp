#include "matrix/matrix.h"

#include <cassert>
#include <cstring>
#include <istream>
#include <limits>
#include <new>
#include <utility>

namespace {

std::size_t bytesOf(std::int32_t elements) {
    return static_cast<std::size_t>(elements) * sizeof(float);
}

// rows x cols. A product that does not fit in 32 bits fails here as an allocation would, instead of
// wrapping around.
std::int32_t elementCount(std::int32_t rows, std::int32_t cols) {
    const std::int64_t product = static_cast<std::int64_t>(rows) * cols;
    if (product > std::numeric_limits<std::int32_t>::max() ||
        product < std::numeric_limits<std::int32_t>::min()) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::int32_t>(product);
}

std::int32_t readInt32(std::istream& stream) {
    std::int32_t value = 0;
    stream.read(reinterpret_cast<char*>(&value), sizeof value);
    return stream.good() ? value : 0;
}

}  // namespace

// Some columns at a time, each of which is written from end to end. The analyser cannot tell that a
// matrix with elements has storage.
void transposeRows(const float* from, std::int32_t rows, std::int32_t cols, float* to) {
    constexpr std::int32_t kAtOnce = 8;
    const std::ptrdiff_t height = rows;
    std::int32_t column = 0;
    for (; column + kAtOnce <= cols; column += kAtOnce, to += kAtOnce * height) {
        const float* row = from + column;
        for (std::int32_t i = 0; i < rows; ++i, row += cols) {
            for (std::int32_t k = 0; k < kAtOnce; ++k) {
                to[k * height + i] = row[k];  // NOLINT
            }
        }
    }
    for (; column < cols; ++column, to += height) {
        for (std::int32_t i = 0; i < rows; ++i) {
            to[i] = from[std::ptrdiff_t{i} * cols + column];  // NOLINT
        }
    }
}

Matrix::Matrix(std::int32_t rows, std::int32_t cols)
    : numRows(rows), numCols(cols), numElements(elementCount(rows, cols)) {
    if (numElements > 0) {
        data = new float[static_cast<std::size_t>(numElements)];
    }
}

Matrix::Matrix(std::istream& stream, std::int32_t most) {
    numRows = readInt32(stream);
    numCols = readInt32(stream);
    numElements = elementCount(numRows, numCols);
    if (numElements < 0) {
        throw std::bad_array_new_length();
    }
    if (numElements > most) {
        numRows = numCols = numElements = 0;
        stream.setstate(std::ios::failbit);
        return;
    }
    data = new float[static_cast<std::size_t>(numElements)];
    stream.read(reinterpret_cast<char*>(data), static_cast<std::streamsize>(bytesOf(numElements)));
}

Matrix Matrix::view(float* foreign, std::int32_t rows, std::int32_t cols) {
    Matrix result;
    result.data = foreign;
    result.ownsData = false;
    result.numRows = rows;
    result.numCols = cols;
    result.numElements = elementCount(rows, cols);
    return result;
}

Matrix::Matrix(Matrix&& other) noexcept
    : data(std::exchange(other.data, nullptr)),
      ownsData(std::exchange(other.ownsData, true)),
      numRows(std::exchange(other.numRows, 0)),
      numCols(std::exchange(other.numCols, 0)),
      numElements(std::exchange(other.numElements, 0)),
      trans(std::exchange(other.trans, kRowMajor)) {}

// The other matrix takes over this one's former storage and releases it if it was owned.
Matrix& Matrix::operator=(Matrix&& other) noexcept {
    std::swap(data, other.data);
    std::swap(ownsData, other.ownsData);
    std::swap(numRows, other.numRows);
    std::swap(numCols, other.numCols);
    std::swap(numElements, other.numElements);
    std::swap(trans, other.trans);
    return *this;
}

Matrix::~Matrix() {
    if (ownsData) {
        delete[] data;
    }
}

void Matrix::resize(std::int32_t rows, std::int32_t cols) {
    if (numRows == rows && numCols == cols) {
        return;
    }
    const std::int32_t elements = elementCount(rows, cols);
    if (numElements != elements) {
        assert(ownsData);
        delete[] data;
        data = nullptr;  // and stays null, with no elements, if the allocation throws
        numRows = numCols = numElements = 0;
        data = new float[static_cast<std::size_t>(elements)];
    }
    numRows = rows;
    numCols = cols;
    numElements = elements;
    trans = kRowMajor;
}

void Matrix::copy(Matrix& target) const {
    target.resize(*this);
    if (target.trans == trans) {
        // The analyser cannot tell that a matrix with elements has storage.
        if (numElements > 0) {
            std::memmove(target.data, data, bytesOf(numElements));  // NOLINT
        }
        return;
    }
    for (std::int32_t i = 0; i < numRows; ++i) {
        for (std::int32_t j = 0; j < numCols; ++j) {
            target.at(i, j) = at(i, j);
        }
    }
}

std::unique_ptr<Matrix> Matrix::copy() const {
    auto result = std::make_unique<Matrix>(numRows, numCols);
    copy(*result);
    return result;
}

std::unique_ptr<Matrix> Matrix::transpose() const {
    if (trans == kTransposed) {
        // Storage in transposed order is the transpose in row-major order.
        return std::make_unique<Matrix>(view(data, numCols, numRows));
    }
    auto result = std::make_unique<Matrix>(numCols, numRows);
    if (numElements == 0) {
        return result;  // there may be billions of empty rows
    }
    transposeRows(data, numRows, numCols, result->data);
    return result;
}

std::ptrdiff_t Matrix::offset(std::int32_t row, std::int32_t col) const {
    return trans == kTransposed ? static_cast<std::ptrdiff_t>(col) * numRows + row
                                : static_cast<std::ptrdiff_t>(row) * numCols + col;
}
