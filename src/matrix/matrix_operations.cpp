// The arithmetic of Matrix; its storage is in matrix.cpp.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>

#include "matrix/blas.h"
#include "matrix/float_rules.h"
#include "matrix/matrix.h"
#include "matrix/vector_functions.h"

float addition(float x, float y) {
    return x + y;
}

float multiplication(float x, float y) {
    return x * y;
}

float maximum(float x, float y) {
    return x > y ? x : y;
}

namespace {

// How a vector is broadcast over a matrix. `lines` counts the rows that a row vector applies to, or
// the columns that a column vector applies to. Along the storage direction, a line is dense and the
// next one starts right after it; across it, the elements of a line are `lines` floats apart and
// the next line starts one float further.
struct Lines {
    bool isDense;
    std::int32_t lines;
    std::int32_t length;
};

Lines linesAlong(const Matrix& vec, const Matrix& matrix) {
    const bool isRow = vec.numRows == 1;
    const bool isTransposed = matrix.trans == kTransposed;
    return {isRow != isTransposed, isRow ? matrix.numRows : matrix.numCols,
            isRow ? matrix.numCols : matrix.numRows};
}

// Adds element e of the vector to the e-th run of the storage, as for the biases of a convolution.
// Line by line, as in the general case, every step would skip a whole run. The bits are the same:
// each element gets one addition, and the product with a scale of 1 is exact, whether or not the
// BLAS fuses it.
void addToDenseRuns(const Matrix& vec, std::int32_t runLength, float* y) {
    for (std::int32_t e = 0; e < vec.numElements; ++e, y += runLength) {
        const float x = vec.data[e];
        for (std::int32_t k = 0; k < runLength; ++k) {
            y[k] = x + y[k];
        }
    }
}

}  // namespace

void Matrix::add(const Matrix& b, float scale, Matrix& target) const {
    if (trans == b.trans && trans == target.trans) {
        if (&target != this) {
            copy(target);
        }
        addScaled(numElements, scale, b.data, target.data, 1);
        return;
    }
    if (&target != this) {
        target.resize(*this);
    }
    if (scale == 1.0F) {
        applyBinary(addition, b, target);
        return;
    }
    for (std::int32_t i = 0; i < numRows; ++i) {
        for (std::int32_t j = 0; j < numCols; ++j) {
            target.at(i, j) = b.at(i, j) * scale + at(i, j);
        }
    }
}

void Matrix::addScalar(float s, Matrix& target) const {
    target.resize(*this);
    for (std::int32_t n = 0; n < numElements; ++n) {
        target.data[n] = s + data[n];
    }
}

void Matrix::maxWithScalar(float s, Matrix& target) const {
    target.resize(*this);
    // In place, with one pointer, the compiler vectorises the loop; with two that may overlap it
    // does not. Each element is one comparison either way.
    if (&target == this) {
        float* x = data;
        for (std::int32_t n = 0; n < numElements; ++n) {
            x[n] = x[n] > s ? x[n] : s;
        }
        return;
    }
    for (std::int32_t n = 0; n < numElements; ++n) {
        target.data[n] = data[n] > s ? data[n] : s;
    }
}

void Matrix::scale(float s, Matrix& target) const {
    if (&target != this) {
        copy(target);
    }
    scaleInPlace(target.numElements, s, target.data, 1);
}

void Matrix::eltwiseMult(const Matrix& b, Matrix& target) const {
    target.resize(*this);
    if (b.trans == trans) {
        vsMul(numElements, data, b.data, target.data);
    } else {
        applyBinary(multiplication, b, target);
    }
}

void Matrix::eltwiseMax(const Matrix& b, Matrix& target) const {
    target.resize(*this);
    applyBinary(maximum, b, target);
}

void Matrix::addVector(const Matrix& vec, float scale, Matrix& target) const {
    if (&target != this) {
        copy(target);
    }
    if (target.numElements == 0) {
        return;  // there may be no storage for lines to start in
    }
    const Lines along = linesAlong(vec, target);
    if (!along.isDense && scale == 1.0F) {
        addToDenseRuns(vec, along.lines, target.data);
        return;
    }
    const std::int32_t lineStep = along.isDense ? along.length : 1;
    const std::int32_t elementStep = along.isDense ? 1 : along.lines;
    for (std::int32_t k = 0; k < along.lines; ++k) {
        addScaled(vec.numElements, scale, vec.data,
                  target.data + static_cast<std::ptrdiff_t>(k) * lineStep, elementStep);
    }
}

// One call for each element of the vector, which applies to a line in the other direction.
void Matrix::eltwiseMultByVector(const Matrix& vec, Matrix& target) const {
    if (&target != this) {
        copy(target);
    }
    if (target.numElements == 0) {
        return;  // there may be no storage for lines to start in
    }
    const Lines along = linesAlong(vec, target);
    const std::int32_t elementStep = along.isDense ? 1 : along.lines;
    const std::int32_t lineStep = along.isDense ? vec.numElements : 1;
    for (std::int32_t e = 0; e < vec.numElements; ++e) {
        scaleInPlace(along.lines, vec.data[e],
                     target.data + static_cast<std::ptrdiff_t>(e) * elementStep, lineStep);
    }
}

void Matrix::eltwiseDivideByVector(const Matrix& vec, Matrix& target) const {
    if (&target != this) {
        target.resize(*this);
    }
    const Lines along = linesAlong(vec, *this);
    if (trans == target.trans && along.isDense) {
        for (std::int32_t k = 0; k < along.lines; ++k) {
            const std::ptrdiff_t line = static_cast<std::ptrdiff_t>(k) * along.length;
            vsDiv(vec.numElements, data + line, vec.data, target.data + line);
        }
        return;
    }
    const std::unique_ptr<Matrix> reciprocals = vec.copy();
    reciprocals->apply(ElementFunction::Reciprocal);
    eltwiseMultByVector(*reciprocals, target);
}

void Matrix::aggregate(std::int32_t axis, Matrix& target, BinaryFunction fn, float initial) const {
    if (axis == 0) {
        target.resize(1, numCols);
        for (std::int32_t j = 0; j < numCols; ++j) {
            float acc = initial;
            for (std::int32_t i = 0; i < numRows; ++i) {
                acc = fn(at(i, j), acc);
            }
            target.at(0, j) = acc;
        }
        return;
    }
    target.resize(numRows, 1);
    for (std::int32_t i = 0; i < numRows; ++i) {
        float acc = initial;
        for (std::int32_t j = 0; j < numCols; ++j) {
            acc = fn(at(i, j), acc);
        }
        target.at(i, 0) = acc;
    }
}

void Matrix::apply(ElementFunction function, Matrix& target) const {
    target.resize(*this);
    float* y = target.data;
    switch (function) {
        case ElementFunction::Tanh:
            vsTanh(numElements, data, y);
            break;
        case ElementFunction::Reciprocal:
            vsInv(numElements, data, y);
            break;
        case ElementFunction::Square:
            vsSqr(numElements, data, y);
            break;
        case ElementFunction::Abs:
            for (std::int32_t n = 0; n < numElements; ++n) {
                y[n] = std::fabs(data[n]);
            }
            break;
        case ElementFunction::Exp:
            vsExp(numElements, data, y);
            break;
        case ElementFunction::Log:
            vsLn(numElements, data, y);
            break;
        case ElementFunction::Zero:
            std::fill_n(y, numElements, 0.0F);
            break;
        case ElementFunction::One:
            std::fill_n(y, numElements, 1.0F);
            break;
        case ElementFunction::LogisticByTanh:
            // 1 / (1 + exp(-x)) = (tanh(x / 2) + 1) / 2
            scale(0.5F, target);
            target.apply(ElementFunction::Tanh);
            target.addScalar(1.0F, target);
            target.scale(0.5F, target);
            break;
        case ElementFunction::LogisticByExp:
            scale(-1.0F, target);
            target.apply(ElementFunction::Exp);
            target.addScalar(1.0F, target);
            target.apply(ElementFunction::Reciprocal);
            break;
        case ElementFunction::Sign:
            for (std::int32_t n = 0; n < numElements; ++n) {
                y[n] = data[n] > 0.0F ? 1.0F : -1.0F;
            }
            break;
    }
}

void Matrix::applyBinary(BinaryFunction fn, const Matrix& b, Matrix& target) const {
    for (std::int32_t i = 0; i < numRows; ++i) {
        for (std::int32_t j = 0; j < numCols; ++j) {
            target.at(i, j) = fn(at(i, j), b.at(i, j));
        }
    }
}
