// The one numeric container: a dense two-dimensional array of 32-bit floats.
//
// Layers exchange matrices with a row for each image. A row holds one plane after another, each
// plane row by row, left to right.
#ifndef ZOMU_MATRIX_MATRIX_H
#define ZOMU_MATRIX_MATRIX_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <memory>

// Storage orders, by the values that CBLAS gives them.
constexpr std::int32_t kRowMajor = 111;    // element (i, j) is at i * numCols + j
constexpr std::int32_t kTransposed = 112;  // element (i, j) is at j * numRows + i

// Functions of two elements, for applyBinary and aggregate.
using BinaryFunction = float (*)(float, float);
float addition(float x, float y);
float multiplication(float x, float y);
float maximum(float x, float y);  // x if x > y, else y: drops a NaN in x, keeps one in y

// Functions of one element, for apply.
enum class ElementFunction : std::int32_t {
    Tanh = 0,
    Reciprocal = 1,
    Square = 2,
    Abs = 3,  // clears the sign bit
    Exp = 4,
    Log = 5,
    Zero = 6,            // the element is not read
    One = 7,             // nor here
    LogisticByTanh = 8,  // 0.5 * (tanh(0.5 * x) + 1)
    LogisticByExp = 9,   // 1 / (exp(-x) + 1)
    Sign = 10,           // 1 above zero, otherwise -1, also for zero and NaN
};

// Writes the transpose of `rows` x `cols` floats, stored row by row, to `to`, which must not overlap them.
void transposeRows(const float* from, std::int32_t rows, std::int32_t cols, float* to);

// `numRows` and `numCols` are logical sizes, whatever `trans` is, and storage has no gaps. Shapes
// are not checked: the caller guarantees them. New storage is uninitialised.
//
// Every operation resizes `target` to the shape of this matrix, and `target` may be this matrix
// itself. Operations marked flat go through the storage from end to end and assume that all
// operands have the same storage order.
class Matrix {
  public:
    // An empty matrix that owns nothing yet. A layer's activations start like this.
    Matrix() = default;

    // `rows` x `cols` uninitialised floats; `data` stays null if the product is below 1.
    Matrix(std::int32_t rows, std::int32_t cols);

    // Reads two 32-bit sizes, rows and columns, and then the elements row by row, all in the host's
    // byte order. What a short stream lacks stays uninitialised (sizes: 0), and its state shows
    // that. Throws std::bad_alloc if the sizes do not give a valid element count. Of more than `most`
    // elements none is read: the matrix stays empty, and the stream's state shows that, too.
    explicit Matrix(std::istream& stream,
                    std::int32_t most = std::numeric_limits<std::int32_t>::max());

    // A view of `rows` x `cols` floats that are owned elsewhere.
    static Matrix view(float* foreign, std::int32_t rows, std::int32_t cols);

    Matrix(const Matrix&) = delete;
    Matrix& operator=(const Matrix&) = delete;
    Matrix(Matrix&& other) noexcept;
    Matrix& operator=(Matrix&& other) noexcept;
    ~Matrix();

    // Gives this matrix the shape `rows` x `cols`, in row-major order. If it already has that
    // shape, nothing happens, not even to `trans`; otherwise the contents are lost. Storage is
    // reallocated only if the element count changes, which it must not in a view.
    void resize(std::int32_t rows, std::int32_t cols);
    void resize(const Matrix& model) { resize(model.numRows, model.numCols); }

    // Gives `target` this shape and these logical values. If both then have the same storage order,
    // the storage is copied as a block.
    void copy(Matrix& target) const;

    // A new matrix in row-major order with these logical values.
    std::unique_ptr<Matrix> copy() const;

    // The transpose in row-major order. If this matrix is stored transposed, that is a view of its
    // storage, which must not outlive it; otherwise it is a new matrix.
    std::unique_ptr<Matrix> transpose() const;

    // target = this + scale * b. Flat if all three have the same storage order; `target` must not
    // be `b`.
    void add(const Matrix& b, float scale, Matrix& target) const;

    // target = s + element. Flat.
    void addScalar(float s, Matrix& target) const;

    // target = element if element > s, else s. A NaN gives s, and -0.0 gives +0.0 for an s of +0.0.
    // Flat.
    void maxWithScalar(float s, Matrix& target) const;

    // target = s * element.
    void scale(float s, Matrix& target) const;

    // target = this * b, element by element. Flat if both have the same storage order.
    void eltwiseMult(const Matrix& b, Matrix& target) const;

    // target = maximum(this, b), element by element.
    void eltwiseMax(const Matrix& b, Matrix& target) const;

    // The next three broadcast `vec`. With one row it is a row vector and applies to every row;
    // otherwise it is a column vector and applies to every column. A single element is a row
    // vector.

    // target = this + scale * vec.
    void addVector(const Matrix& vec, float scale, Matrix& target) const;

    // target = this * vec.
    void eltwiseMultByVector(const Matrix& vec, Matrix& target) const;

    // target = this / vec. A true division if `vec` runs along the lines of the storage; otherwise
    // a product with rounded reciprocals, which may differ in the last bit.
    void eltwiseDivideByVector(const Matrix& vec, Matrix& target) const;

    // Folds each column (axis 0, target 1 x numCols) or each row (any other axis, target numRows x
    // 1) with fn(element, value so far), in ascending order, starting from `initial`. `target` must
    // be another matrix.
    void aggregate(std::int32_t axis, Matrix& target, BinaryFunction fn, float initial) const;

    // target = function(element). Flat. A value outside the enumeration only reshapes `target`.
    void apply(ElementFunction function, Matrix& target) const;
    void apply(ElementFunction function) { apply(function, *this); }

    // target(i, j) = fn(this(i, j), b(i, j)), each addressed by its own storage order. Unlike the
    // other operations, it does not reshape `target`.
    void applyBinary(BinaryFunction fn, const Matrix& b, Matrix& target) const;

    // Elements by logical position. NOLINT: the analyser cannot tell that no elements means no
    // calls.
    float& at(std::int32_t row, std::int32_t col) { return data[offset(row, col)]; }  // NOLINT
    float at(std::int32_t row, std::int32_t col) const { return data[offset(row, col)]; }

    float* data = nullptr;
    bool ownsData = true;  // the destructor releases `data`
    std::int32_t numRows = 0;
    std::int32_t numCols = 0;
    std::int32_t numElements = 0;  // always numRows * numCols
    std::int32_t trans = kRowMajor;

  private:
    std::ptrdiff_t offset(std::int32_t row, std::int32_t col) const;
};

#endif
