// Runs the benchmarks, and adds compiler, BLAS and thread count to their report.
#include <benchmark/benchmark.h>
#include <cblas.h>
#include <omp.h>

#include <string>

extern "C" char* openblas_get_config();
extern "C" char* openblas_get_corename();

int main(int argc, char** argv) {
    benchmark::AddCustomContext("compiler", __VERSION__);
    benchmark::AddCustomContext("blas", openblas_get_config());
    benchmark::AddCustomContext("blas_kernels", openblas_get_corename());
    benchmark::AddCustomContext("omp_threads", std::to_string(omp_get_max_threads()));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    omp_set_num_threads(1);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
