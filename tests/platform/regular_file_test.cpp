#include "platform/regular_file.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <istream>
#include <string>

#include "support/environment.h"
#include "support/model_folder.h"
#include "support/temporary_folder.h"

namespace {

std::string numbered(std::size_t bytes) {
    std::string text(bytes, '\0');
    for (std::size_t i = 0; i < bytes; ++i) {
        text[i] = static_cast<char>(i % 251);
    }
    return text;
}

}  // namespace

// Around its small buffer, by reads that fit and that do not.
TEST(RegularFile, givesItsBytesWhateverTheReadsAndThenItsEnd) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "file";
    for (const std::size_t size : {0U, 1U, 8U, 4095U, 4096U, 4097U, 12000U}) {
        const std::string bytes = numbered(size);
        writeFile(path, bytes.data(), size);
        for (const std::size_t step : {1U, 7U, 4096U, 5000U, 20000U}) {
            RegularFile file;
            ASSERT_TRUE(file.open(path.c_str()));
            std::istream stream(&file);
            std::string all;
            std::string part(step, '\0');
            while (stream.read(part.data(), static_cast<std::streamsize>(step))) {
                all += part;
            }
            all += part.substr(0, static_cast<std::size_t>(stream.gcount()));
            EXPECT_EQ(bytes, all) << size << " bytes, " << step << " at a time";
            EXPECT_TRUE(stream.eof());
        }
    }
}

TEST(RegularFile, isOpenedThroughALinkAndOnlyIfItIsOne) {
    const TemporaryFolder folder;
    writeFile(folder.prefix() + "file", "ab", 2);
    linkFile(folder.prefix() + "file", folder.prefix() + "link");
    RegularFile file;
    EXPECT_FALSE(file.open((folder.prefix() + "absent").c_str()));
    EXPECT_FALSE(file.open(folder.path().string().c_str()));
    ASSERT_TRUE(file.open((folder.prefix() + "link").c_str()));
    EXPECT_EQ(file.sgetc(), 'a');
    ASSERT_TRUE(file.open((folder.prefix() + "file").c_str()));
    EXPECT_EQ(file.sbumpc(), 'a') << "from the start again";
    EXPECT_FALSE(file.open((folder.prefix() + "absent").c_str()));
    EXPECT_EQ(file.sgetc(), std::streambuf::traits_type::eof());
}
