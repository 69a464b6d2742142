// The one numeric container: a dense two-dimensional array of 32-bit floats.
//
// In every matrix that travels between layers one row is one case; a row is planes x height x width
// with x running fastest.
#ifndef ZOMU_MATRIX_MATRIX_H
#define ZOMU_MATRIX_MATRIX_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>

// Storage orders, by the values that CBLAS gives them.
constexpr std::int32_t kRowMajor = 111;    // element (i, j) stands at i * numCols + j
constexpr std::int32_t kTransposed = 112;  // element (i, j) stands at j * numRows + i

// `numRows` and `numCols` are logical sizes, whatever `trans` says. There is no row stride. Nothing
// here compares shapes: the caller guarantees them. Storage comes uninitialised from the allocator.
class Matrix {
  public:
    // An empty matrix that owns nothing yet. A layer's activations start like this.
    Matrix() = default;

    // `rows` x `cols` floats with undefined contents; `data` stays null where the product is
    // below 1.
    Matrix(std::int32_t rows, std::int32_t cols);

    // Reads a 32-bit row count, a 32-bit column count and the elements in row-major order, all in
    // the host's byte order. What the stream does not hold stays as the allocator left it (sizes:
    // 0); the stream's state tells. Throws std::bad_alloc where the sizes give no element count.
    explicit Matrix(std::istream& stream);

    // A view of `rows` x `cols` floats that belong to somebody else.
    static Matrix view(float* foreign, std::int32_t rows, std::int32_t cols);

    Matrix(const Matrix&) = delete;
    Matrix& operator=(const Matrix&) = delete;
    Matrix(Matrix&& other) noexcept;
    Matrix& operator=(Matrix&& other) noexcept;
    ~Matrix();

    // Takes the shape `rows` x `cols` without keeping the contents. Does nothing, and leaves
    // `trans` alone, where the shape is right already; keeps the storage where the element count
    // stays. Only for matrices that own their storage.
    void resize(std::int32_t rows, std::int32_t cols);
    void resize(const Matrix& model) { resize(model.numRows, model.numCols); }

    // Gives `target` this shape and these logical values.
    void copy(Matrix& target) const;

    // The transpose in row-major order: a view of this storage where this matrix is stored
    // transposed, which must not outlive it, otherwise a matrix of its own.
    std::unique_ptr<Matrix> transpose() const;

    // target = element if element > s, else s. A NaN gives s, and -0.0 gives +0.0 for an s of +0.0.
    void maxWithScalar(float s, Matrix& target) const;

    // target = this + scale * vec, in every row where `vec` has one row, otherwise in every column.
    void addVector(const Matrix& vec, float scale, Matrix& target) const;

    // Elements by logical place. NOLINT: the analyser cannot tell that no elements means no calls.
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
