// A host application for the tests. It opens the library as any program would, goes through one
// scenario, and leaves its results in a file, because standard output belongs to the library.
//
//   zomu_host LIBRARY RESULTS SCENARIO [ARGUMENT...]
//
// RESULTS receives the scenario's floats, 502 for each template, in the host's byte order.
#include "library/host/host.h"

#include <cstdlib>
#include <string>

#include "support/model_folder.h"
#include "support/program.h"

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
    const Scenario* const lists[] = {
        kLifecycleScenarios,
        kArgumentScenarios,
        kThreadScenarios,
        kBatchScenarios,
#if !defined(_WIN32)
        kLimitScenarios,
        kProcessScenarios,
        kOutputScenarios,
        kRoundScenarios,
#endif
    };
    for (const Scenario* list : lists) {
        for (const Scenario* scenario = list; scenario->name != nullptr; ++scenario) {
            if (scenario->name == name) {
                return scenario;
            }
        }
    }
    return nullptr;
}

int main(int argc, char** argv) {
    const Scenario* scenario = argc < 4 ? nullptr : findScenario(argv[3]);
    if (scenario == nullptr) {
        return wrongUsage("zomu_host LIBRARY RESULTS SCENARIO [ARGUMENT...]");
    }
    return runProgram("zomu_host", 3, [&] {
        Host host{argv[1], {argv + 4, argv + argc}, {}};
        scenario->run(host);
        writeFloats(argv[2], host.results);
        return 0;
    });
}
