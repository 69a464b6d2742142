// The floating-point mode of a thread while the library runs on it.
#ifndef ZOMU_MATRIX_FLOAT_MODE_H
#define ZOMU_MATRIX_FLOAT_MODE_H

#if defined(__SSE2__) || defined(_M_X64)
#include <immintrin.h>
#else
#include <cfenv>
#endif

// A host may round in another direction, flush subnormals to zero or enable traps. While an object
// of this class exists, its thread rounds to nearest, keeps subnormals and does not trap; then the
// host's mode is restored, exception flags included. Threads of a team may have any mode too, since
// they inherit that of the thread that started them.
//
// A compiler may move arithmetic across a mode change that it can see. So the arithmetic is in a
// different translation unit than the object that sets its mode.
class DefaultFloatMode {
  public:
    DefaultFloatMode(const DefaultFloatMode&) = delete;
    DefaultFloatMode& operator=(const DefaultFloatMode&) = delete;

#if defined(__SSE2__) || defined(_M_X64)
    DefaultFloatMode() : hostMode(_mm_getcsr()) {
        constexpr unsigned kDefault = 0x1F80;  // as in a new x86-64 process: all traps masked
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
