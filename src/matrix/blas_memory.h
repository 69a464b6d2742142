// The memory that OpenBLAS works in, from us: its own loader asks for some when the library is loaded,
// needed or not, and asks again for ever where there is none.
#ifndef ZOMU_MATRIX_BLAS_MEMORY_H
#define ZOMU_MATRIX_BLAS_MEMORY_H

// While an object of this class exists, a product on this thread finds memory to work in. Throws
// std::bad_alloc if there is none. Without effect where the BLAS is another one than Debian's.
class BlasMemory {
  public:
    BlasMemory();
    ~BlasMemory();
    BlasMemory(const BlasMemory&) = delete;
    BlasMemory& operator=(const BlasMemory&) = delete;

  private:
    void* memory = nullptr;
};

#endif
