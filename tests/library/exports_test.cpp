// The outside of each library, read back from the binary.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/process.h"

namespace {

struct Outside {
    const char* name;
    const char* path;
    std::set<std::string> functions;
};

class Exports : public testing::TestWithParam<Outside> {};

std::string outputOf(const std::vector<std::string>& command) {
    const ProcessResult result = runProcess(command, {});
    EXPECT_EQ(result.exitStatus, 0) << command[0] << ": " << result.err;
    return result.out;
}

// Names without their addresses and without the version behind an @.
std::set<std::string> namesOf(const char* which, const char* path) {
    std::istringstream lines(outputOf({ZOMU_NM, "-D", which, path}));
    std::set<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(line.rfind(' ') + 1);
        names.insert(name.substr(0, name.find('@')));
    }
    return names;
}

}  // namespace

TEST_P(Exports, areItsFunctionsByTheirPlainNames) {
    EXPECT_EQ(namesOf("--defined-only", GetParam().path), GetParam().functions);
}

// The BLAS is inside. Whatever the host has loaded under these names stays out.
TEST_P(Exports, nothingOfTheBlasIsLeftOpen) {
    const std::set<std::string> names = namesOf("--undefined-only", GetParam().path);
    EXPECT_TRUE(names.contains("malloc"));
    for (const std::string& name : names) {
        for (const char* part : {"blas", "gemm", "axpy", "Zomu"}) {
            EXPECT_EQ(name.find(part), std::string::npos) << name;
        }
    }
}

// Its soname ends in the major version, it needs no shared BLAS, and it can be unloaded. Only the library for
// pictures needs others for them.
TEST_P(Exports, dynamicSectionNamesTheMajorVersionAndNoBlasAndAllowsUnloading) {
    const std::string section = outputOf({ZOMU_READELF, "-d", "-W", GetParam().path});
    const auto has = [&](const std::string& pattern) {
        return std::regex_search(section, std::regex(pattern));
    };
    const std::string soname = "lib" + std::string(GetParam().name) + ".so." ZOMU_MAJOR_VERSION;
    EXPECT_TRUE(has("\\(SONAME\\).*\\[" + soname + "\\]\n")) << section;
    EXPECT_TRUE(has("\\(NEEDED\\).*\\[libc.so.6\\]")) << section;
    EXPECT_FALSE(has("\\(NEEDED\\).*(blas|ZOMU)")) << section;
    EXPECT_FALSE(has("NODELETE")) << section;
    for (const char* part : {"png", "jpeg", "exif"}) {
        EXPECT_EQ(has("\\(NEEDED\\).*" + std::string(part)), soname.starts_with("libZOMUpictures"))
            << section;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Library, Exports,
    testing::Values(
        Outside{"ZOMU",
                ZOMU_LIBRARY,
                {"ZomuCompareTemplates", "ZomuCreate", "ZomuDestroy", "ZomuExtractTemplate"}},
        Outside{"ZOMUbatch",
                ZOMU_BATCH_LIBRARY,
                {"ZomuBatchCreate", "ZomuBatchDestroy", "ZomuBatchExtract"}},
        Outside{"ZOMUpictures", ZOMU_PICTURES_LIBRARY, {"ZomuFreePicture", "ZomuReadPicture"}}),
    [](const auto& test) { return test.param.name; });
