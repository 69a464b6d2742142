// The library's outside, read back from the binary.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "support/process.h"

// The output of a program, line by line.
static std::vector<std::string> linesOf(const std::vector<std::string>& command) {
    const ProcessResult result = runProcess(command, {});
    EXPECT_EQ(result.exitStatus, 0) << command[0] << ": " << result.err;
    std::istringstream stream(result.out);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Names without their addresses and without the version behind an @.
static std::vector<std::string> namesOf(const char* which) {
    std::vector<std::string> names;
    for (const std::string& line : linesOf({ZOMU_NM, "-D", which, ZOMU_LIBRARY})) {
        const std::string name = line.substr(line.rfind(' ') + 1);
        names.push_back(name.substr(0, name.find('@')));
    }
    std::ranges::sort(names);
    return names;
}

TEST(Exports, areTheFourFunctionsByTheirPlainNames) {
    const std::vector<std::string> expected = {"ZomuCompareTemplates", "ZomuCreate", "ZomuDestroy",
                                               "ZomuExtractTemplate"};
    EXPECT_EQ(namesOf("--defined-only"), expected);
}

// The BLAS is inside. Whatever the host has loaded under these names stays out.
TEST(Exports, nothingOfTheBlasIsLeftOpen) {
    const std::vector<std::string> names = namesOf("--undefined-only");
    EXPECT_NE(std::ranges::find(names, "malloc"), names.end());
    for (const std::string& name : names) {
        for (const char* part : {"blas", "gemm", "axpy"}) {
            EXPECT_EQ(name.find(part), std::string::npos) << name;
        }
    }
}

// The lines of the dynamic section that have this tag.
static std::string dynamicEntries(const std::string& tag) {
    std::string entries;
    for (const std::string& line : linesOf({ZOMU_READELF, "-d", "-W", ZOMU_LIBRARY})) {
        entries += line.find("(" + tag + ")") != std::string::npos ? line + "\n" : "";
    }
    return entries;
}

static bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Exports, sonameEndsInTheMajorVersion) {
    EXPECT_TRUE(contains(dynamicEntries("SONAME"), std::string("[") + ZOMU_SONAME + "]\n"));
}

TEST(Exports, noSharedBlasIsNeeded) {
    EXPECT_TRUE(contains(dynamicEntries("NEEDED"), "[libc.so.6]"));
    EXPECT_FALSE(contains(dynamicEntries("NEEDED"), "blas"));
}

// Closing the library leaves it, and the OpenMP runtime with its threads, where they are.
TEST(Exports, libraryIsNeverUnloaded) {
    EXPECT_TRUE(contains(dynamicEntries("FLAGS_1"), "NODELETE"));
}
