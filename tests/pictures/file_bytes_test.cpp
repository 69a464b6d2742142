// Whole files in memory: how much of them is read, and reasons that are too long.
#include "file_bytes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/temporary_folder.h"

TEST(FileBytes, limitIsTheLargestSizeThatIsRead) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a";
    // Sizes around the steps in which the buffer grows.
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 131072U, 200001U}) {
        const std::string text(size, 'z');
        std::ofstream(path, std::ios::binary) << text;
        FileBytes bytes;
        Problem problem = {};
        ASSERT_TRUE(readFile(path.c_str(), size, &bytes, &problem)) << problem.text;
        ASSERT_EQ(bytes.size, size);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data), size), text);
        freeFileBytes(&bytes);
        if (size > 0) {
            EXPECT_FALSE(readFile(path.c_str(), size - 1, &bytes, &problem));
            EXPECT_EQ(std::string(problem.text),
                      "is larger than " + std::to_string(size - 1) + " bytes");
            EXPECT_EQ(bytes.data, nullptr);
        }
    }
}

TEST(FileBytes, longReasonsAreCut) {
    Problem problem;
    EXPECT_FALSE(fail(&problem, "%s!", std::string(1000, 'a').c_str()));
    EXPECT_EQ(std::string(problem.text), std::string(sizeof problem.text - 1, 'a'));
}
