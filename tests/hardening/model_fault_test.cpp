// Each of the 303 files of a model with each fault: the lines, the result and the process are as
// promised.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hardening/bound_by_permissions.h"
#include "hardening/common.h"
#include "hardening/expected_template.h"
#include "hardening/model_fault.h"
#include "library/host/scene.h"
#include "model/model_tables.h"

namespace {

// What one case led to.
struct Outcome {
    std::string output;  // standard output and standard error
    bool hasNoMemory = false;
    FaceTemplate result{};
};

class ModelFaults {
  public:
    ModelFaults() : model(ZOMU_EXACT_MODEL), face(scene(0)), expected(ZOMU_EXACT_MODEL, face) {
        load();
        standing = ZomuCreate();
    }
    ~ModelFaults() { ZomuDestroy(standing); }
    ModelFaults(const ModelFaults&) = delete;
    ModelFaults& operator=(const ModelFaults&) = delete;

    // The whole path with nothing damaged, to start with.
    testing::AssertionResult isSound() {
        return sameTemplates(expected.undamaged(), extractScene(standing, face));
    }

    testing::AssertionResult check(const FaultCase& faultCase) {
        inflict(faultCase, model);
        const Outcome outcome = run(faultCase.isTable());
        model.restore(faultCase.file.name);
        if (faultCase.isTable()) {
            load();
        }
        return isAsPromised(faultCase, outcome);
    }

  private:
    // As in a process that has just loaded the library.
    void load() {
        std::memset(&g_modelTables, 0, sizeof g_modelTables);
        loadTablesFrom(model.temporaryDirectory());
    }

    // A table that is damaged meets the context that stands, whose networks are good; a network that
    // is damaged meets good tables.
    Outcome run(bool isTable) {
        const BoundByPermissions bound;
        startCapture();
        Outcome outcome;
        if (isTable) {
            load();
            outcome.result = extractScene(standing, face);
        } else {
            try {
                ZomuContext* context = ZomuCreate();
                outcome.result = extractScene(context, face);
                ZomuDestroy(context);
            } catch (const std::bad_alloc&) {
                outcome.hasNoMemory = true;
            }
        }
        outcome.output = endCapture();
        return outcome;
    }

    testing::AssertionResult isAsPromised(const FaultCase& faultCase, const Outcome& outcome) {
        const char* separator = faultCase.isTable() ? "/" : "";
        const std::string lines = faultCase.isReported ? "load " + model.modelDir() + separator +
                                                             faultCase.file.name + " failed\n"
                                                       : "";
        if (outcome.output != lines) {
            return testing::AssertionFailure()
                   << "expected output \"" << lines << "\", actual \"" << outcome.output << '"';
        }
        const bool isMemoryShort = faultCase.effect == Effect::noMemory;
        if (outcome.hasNoMemory != isMemoryShort) {
            return testing::AssertionFailure() << "std::bad_alloc: " << outcome.hasNoMemory;
        }
        if (isMemoryShort) {
            return testing::AssertionSuccess();
        }
        return sameTemplates(expected.of(faultCase), outcome.result);
    }

    LinkedModel model;
    Scene face;
    ExpectedTemplates expected;
    ZomuContext* standing = nullptr;
};

// All of them, or one for each fault and effect and a sample of the rest.
std::vector<FaultCase> casesOfThisRun() {
    const std::vector<FaultCase> all = listFaultCases();
    if (isFullSweep()) {
        return all;
    }
    std::vector<FaultCase> some;
    std::set<std::pair<Fault, std::string>> seen;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const ModelFile& file = all[i].file;
        const std::string group = nameOf(file.kind) + file.layer + file.name.back();
        const bool isFirst = (file.layer.empty() || file.layer == "conv1" || file.layer == "fc") &&
                             seen.emplace(all[i].fault, group).second;
        if (isFirst || i % 55 == 0) {
            some.push_back(all[i]);
        }
    }
    return some;
}

}  // namespace

TEST(ModelFaults, giveTheirLinesAndTheirResults) {
    ModelFaults faults;
    ASSERT_TRUE(faults.isSound());
    const std::vector<FaultCase> cases = casesOfThisRun();
    long wrong = 0;
    for (const FaultCase& faultCase : cases) {
        const testing::AssertionResult result = faults.check(faultCase);
        EXPECT_TRUE(result) << faultCase.file.name << ", " << nameOf(faultCase.fault);
        wrong += result ? 0 : 1;
    }
    EXPECT_TRUE(faults.isSound());
    std::printf("model faults: %zu of %zu cases, %ld not as promised\n", cases.size(),
                listFaultCases().size(), wrong);
}

TEST(ModelFaults, areMoreThan3000InAll) {
    EXPECT_EQ(listFaultCases().size(), 28U * 14 + 275U * 15);
}
