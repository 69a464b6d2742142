// What the benchmarks of several files share: how they are named and timed for each instruction set.
#ifndef ZOMU_BENCH_BENCH_SETS_H
#define ZOMU_BENCH_BENCH_SETS_H

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "floor.h"
#include "straightforward.h"

// By wall clock: some use several threads.
template <class Function>
benchmark::internal::Benchmark* inMilliseconds(const std::string& name, const Function& function) {
    return benchmark::RegisterBenchmark(name.c_str(), function)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

// Of those instruction sets whose kernels run on this processor and have networks.
std::vector<const Floor*> runnableFloors();

// Read once for all benchmarks.
PlainModel& plainModel();

#endif
