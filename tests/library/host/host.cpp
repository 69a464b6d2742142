// A host application for the tests. It opens the library as any program would, goes through one
// scenario, and leaves its results in a file, because standard output belongs to the library.
//
//   zomu_host LIBRARY RESULTS SCENARIO [ARGUMENT...]
//
// RESULTS receives the scenario's floats, 502 for each template, in the host's byte order.
#include "library/host/host.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>

#if !defined(_WIN32)
// A host may bring a BLAS of its own. The library must not end up in it. (On Windows it could not:
// what a library calls is settled when it is linked.)
extern "C" {
__attribute__((visibility("default"))) void cblas_sgemm() {
    std::_Exit(90);
}
__attribute__((visibility("default"))) void cblas_saxpy() {
    std::_Exit(91);
}
}
#endif

static const Scenario* findScenario(const std::string& name) {
    for (const Scenario* list :
         {kLifecycleScenarios, kArgumentScenarios, kThreadScenarios, kFloatModeScenarios}) {
        for (const Scenario* scenario = list; scenario->name != nullptr; ++scenario) {
            if (scenario->name == name) {
                return scenario;
            }
        }
    }
    return nullptr;
}

static void writeResults(const char* path, const std::vector<float>& results) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(results.data()),
               static_cast<std::streamsize>(results.size() * sizeof(float)));
}

int main(int argc, char** argv) {
    const Scenario* scenario = argc < 4 ? nullptr : findScenario(argv[3]);
    if (scenario == nullptr) {
        std::fputs("usage: zomu_host LIBRARY RESULTS SCENARIO [ARGUMENT...]\n", stderr);
        return 2;
    }
    try {
        Host host{argv[1], {argv + 4, argv + argc}, {}};
        scenario->run(host);
        writeResults(argv[2], host.results);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zomu_host: %s\n", failure.what());
        return 3;
    }
    return 0;
}
