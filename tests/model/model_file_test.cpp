#include "model/model_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "support/forked.h"
#include "support/model_folder.h"
#include "support/temporary_folder.h"

TEST(ModelFile, opensForBinaryReadingAndClearsTheStateOfItsStream) {
    const TemporaryFolder folder;
    writeFile(folder.prefix() + "file", "a\r\n\x1A\0b", 6);
    std::ifstream stream;
    stream.setstate(std::ios::failbit | std::ios::eofbit);
    ASSERT_TRUE(openModelFile(stream, folder.prefix() + "file"));
    std::string bytes(6, 'x');
    EXPECT_TRUE(stream.read(bytes.data(), 6));
    EXPECT_EQ(bytes, std::string("a\r\n\x1A\0b", 6));
}

TEST(ModelFile, thatIsAbsentOrAFolderPrintsALineAtOnceAndStaysClosed) {
    const TemporaryFolder folder;
    const ForkedResult result = runForked([&] {
        for (const std::string& path : {folder.prefix() + "absent", folder.prefix()}) {
            std::ifstream stream;
            if (openModelFile(stream, path) || stream.is_open()) {
                std::_Exit(1);
            }
        }
        reportUnopenedFile("by a name");
    });
    const std::string absent = "load " + folder.prefix() + "absent failed\n";
    EXPECT_EQ(result.output,
              absent + "load " + folder.prefix() + " failed\nload by a name failed\n");
    EXPECT_EQ(result.status, 0);
}
