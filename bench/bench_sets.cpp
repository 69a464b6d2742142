#include "bench_sets.h"

#include "inputs.h"

std::vector<const Floor*> runnableFloors() {
    std::vector<const Floor*> floors;
#if defined(__x86_64__)
    const Floor* const all[] = {&kAvx512Floor, &kAvx2Floor};
#else
    const Floor* const all[] = {&kNeonFloor};
#endif
    for (const Floor* floor : all) {
        if (findKernels(floor->name) != nullptr) {
            floors.push_back(floor);
        }
    }
    return floors;
}

PlainModel& plainModel() {
    static PlainModel model(modelFolder());
    return model;
}
