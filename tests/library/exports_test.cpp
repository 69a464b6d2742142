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
    std::sort(names.begin(), names.end());
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
    EXPECT_NE(std::find(names.begin(), names.end(), "malloc"), names.end());
    for (const std::string& name : names) {
        for (const char* part : {"blas", "gemm", "axpy"}) {
            EXPECT_EQ(name.find(part), std::string::npos) << name;
        }
    }
}

// The text between brackets in each line of the dynamic section that has this tag.
static std::vector<std::string> dynamicEntries(const std::string& tag) {
    std::vector<std::string> entries;
    for (const std::string& line : linesOf({ZOMU_READELF, "-d", "-W", ZOMU_LIBRARY})) {
        const std::size_t start = line.find('[');
        if (line.find("(" + tag + ")") != std::string::npos && start != std::string::npos) {
            entries.push_back(line.substr(start + 1, line.find(']') - start - 1));
        }
    }
    return entries;
}

TEST(Exports, sonameEndsInTheMajorVersion) {
    EXPECT_EQ(dynamicEntries("SONAME"), std::vector<std::string>{ZOMU_SONAME});
}

TEST(Exports, noSharedBlasIsNeeded) {
    const std::vector<std::string> needed = dynamicEntries("NEEDED");
    EXPECT_NE(std::find(needed.begin(), needed.end(), "libc.so.6"), needed.end());
    for (const std::string& library : needed) {
        EXPECT_EQ(library.find("blas"), std::string::npos) << library;
    }
}

// Closing the library leaves it, and the OpenMP runtime with its threads, where they are.
TEST(Exports, libraryIsNeverUnloaded) {
    bool isMarked = false;
    for (const std::string& line : linesOf({ZOMU_READELF, "-d", "-W", ZOMU_LIBRARY})) {
        isMarked = isMarked || (line.find("(FLAGS_1)") != std::string::npos &&
                                line.find("NODELETE") != std::string::npos);
    }
    EXPECT_TRUE(isMarked);
}
