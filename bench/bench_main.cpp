// Runs the benchmarks, and adds compiler, BLAS and kernels to their report.
#include <benchmark/benchmark.h>
#include <cblas.h>

#include "kernels/kernels.h"

extern "C" char* openblas_get_config();
extern "C" char* openblas_get_corename();

int main(int argc, char** argv) {
    benchmark::AddCustomContext("compiler", __VERSION__);
    benchmark::AddCustomContext("kernels", runnableKernels().front()->name);
    benchmark::AddCustomContext("blas", openblas_get_config());
    benchmark::AddCustomContext("blas_kernels", openblas_get_corename());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
