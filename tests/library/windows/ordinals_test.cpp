// The outside of ZOMU.dll, read back from the file, and met by a host that knows numbers alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "library/host_run.h"
#include "library/windows/image_file.h"
#include "support/environment.h"
#include "support/process.h"

TEST(Ordinals, areOneToFourWithoutAName) {
    const Exports exports = ImageFile(ZOMU_LIBRARY).exports();
    EXPECT_EQ(exports.dllName, "ZOMU.dll");
    EXPECT_EQ(exports.firstOrdinal, 1U);
    EXPECT_EQ(exports.addresses.size(), 4U);
    for (const std::uint32_t address : exports.addresses) {
        EXPECT_NE(address, 0U);
    }
    EXPECT_EQ(exports.nameCount, 0U);
}

// The reader would see a name if there was one.
TEST(Ordinals, readerSeesTheNamesOfASystemLibrary) {
    const Exports exports = ImageFile("C:\\windows\\system32\\kernel32.dll").exports();
    EXPECT_EQ(exports.dllName, "KERNEL32.dll");
    EXPECT_GT(exports.nameCount, 1000U);
}

TEST(Ordinals, libraryImportsWindowsAlone) {
    for (std::string name : ImageFile(ZOMU_LIBRARY).importedLibraries()) {
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        EXPECT_TRUE(name == "kernel32.dll" || name == "msvcrt.dll") << name;
    }
}

TEST(Ordinals, serveAHostInPlainC) {
    const ProcessResult result = runProcess({ZOMU_ORDINAL_HOST, ZOMU_LIBRARY},
                                            {{kTemporaryVariable, sharedTemporaryDirectory()}});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(result.out.starts_with("0 values are NaN, both templates are the same, score "))
        << result.out;
    EXPECT_EQ(result.err, "");
}

// The import library that stands beside the DLL leads to the numbers, too.
TEST(Ordinals, importLibraryImportsByNumber) {
    std::vector<std::string> imports = ImageFile(ZOMU_HEADER_USE).importsFrom("ZOMU.dll");
    std::sort(imports.begin(), imports.end());
    EXPECT_EQ(imports, (std::vector<std::string>{"#1", "#2", "#3", "#4"}));
}
