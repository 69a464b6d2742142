// The library's outside, read back from the binary.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/process.h"

static std::string outputOf(const std::vector<std::string>& command) {
    const ProcessResult result = runProcess(command, {});
    EXPECT_EQ(result.exitStatus, 0) << command[0] << ": " << result.err;
    return result.out;
}

// Names without their addresses and without the version behind an @.
static std::set<std::string> namesOf(const char* which) {
    std::istringstream lines(outputOf({ZOMU_NM, "-D", which, ZOMU_LIBRARY}));
    std::set<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(line.rfind(' ') + 1);
        names.insert(name.substr(0, name.find('@')));
    }
    return names;
}

TEST(Exports, areTheFourFunctionsByTheirPlainNames) {
    const std::set<std::string> expected = {"ZomuCompareTemplates", "ZomuCreate", "ZomuDestroy",
                                            "ZomuExtractTemplate"};
    EXPECT_EQ(namesOf("--defined-only"), expected);
}

// The BLAS is inside. Whatever the host has loaded under these names stays out.
TEST(Exports, nothingOfTheBlasIsLeftOpen) {
    const std::set<std::string> names = namesOf("--undefined-only");
    EXPECT_TRUE(names.contains("malloc"));
    for (const std::string& name : names) {
        for (const char* part : {"blas", "gemm", "axpy"}) {
            EXPECT_EQ(name.find(part), std::string::npos) << name;
        }
    }
}

// Its soname ends in the major version, it needs no shared BLAS, and it can be unloaded.
TEST(Exports, dynamicSectionNamesTheMajorVersionAndNoBlasAndAllowsUnloading) {
    const std::string section = outputOf({ZOMU_READELF, "-d", "-W", ZOMU_LIBRARY});
    const auto has = [&](const std::string& pattern) {
        return std::regex_search(section, std::regex(pattern));
    };
    EXPECT_TRUE(has("\\(SONAME\\).*\\[" ZOMU_SONAME "\\]\n")) << section;
    EXPECT_TRUE(has("\\(NEEDED\\).*\\[libc.so.6\\]")) << section;
    EXPECT_FALSE(has("\\(NEEDED\\).*blas")) << section;
    EXPECT_FALSE(has("NODELETE")) << section;
}
