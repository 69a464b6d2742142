// Writing models where the disk is full.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "model/model_file_writer.h"
#include "model/model_maker.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

// No file may grow beyond 100 kB for a while, which stops the work like a full disk.
TEST(ModelMaker, failedWriteLeavesNothing) {
    const TemporaryFolder parent;
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {100000, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    ModelRequest request;
    request.folder = parent.path() / "model";
    request.weights = WeightKind::integer;
    const std::string words =
        reasonOf([&] { makeModel(request, [](int, int, const std::string&) {}); });
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, formerHandler);
    EXPECT_NE(words.find("cannot write"), std::string::npos) << words;
    EXPECT_NE(words.find("5-1-1: File too large"), std::string::npos) << words;
    EXPECT_TRUE(std::filesystem::is_empty(parent.path()));
}

// A small file fills the buffer of the stream only, and fails at the close; a large one fails
// sooner.
TEST(ModelFileWriter, fullDiskIsNoticedForSmallAndLargeFiles) {
    ASSERT_TRUE(std::filesystem::exists("/dev/full"));
    for (const std::int32_t count : {1, 100000}) {
        const ModelFile file = {"b", ModelFileKind::biases, 1, "fc", 1, count};
        const std::vector<float> values(static_cast<std::size_t>(count), 1.0F);
        EXPECT_EQ(reasonOf([&] { writeModelFile("/dev/full", file, values); }),
                  "cannot write /dev/full: No space left on device");
    }
}
