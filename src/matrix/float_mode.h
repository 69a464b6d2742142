// The floating-point mode of a thread, for as long as the library works on it.
#ifndef ZOMU_MATRIX_FLOAT_MODE_H
#define ZOMU_MATRIX_FLOAT_MODE_H

#if defined(__SSE2__) || defined(_M_X64)
#include <immintrin.h>
#else
#include <cfenv>
#endif

// A host may round in another direction, flush small numbers to zero or let operations trap. While
// one of these lives, its thread rounds to nearest, keeps subnormal numbers and does not trap; then
// the host's mode is back, with the host's own exception flags. Threads of a team may have any mode
// too, since they take over that of the thread that started them.
//
// A compiler may move arithmetic across a change of mode that it sees. So what is to be computed in
// this mode stands in another translation unit than the object that sets it.
class DefaultFloatMode {
  public:
    DefaultFloatMode(const DefaultFloatMode&) = delete;
    DefaultFloatMode& operator=(const DefaultFloatMode&) = delete;

#if defined(__SSE2__) || defined(_M_X64)
    DefaultFloatMode() : hostMode(_mm_getcsr()) {
        constexpr unsigned kDefault = 0x1F80;  // as every x86-64 process starts: all masked
        _mm_setcsr(kDefault);
    }
    ~DefaultFloatMode() {
        _mm_setcsr(hostMode);
    }

  private:
    unsigned hostMode;
#else
    DefaultFloatMode() {
        std::fegetenv(&hostMode);
        std::fesetenv(FE_DFL_ENV);
    }
    ~DefaultFloatMode() {
        std::fesetenv(&hostMode);
    }

  private:
    std::fenv_t hostMode;
#endif
};

#endif
